#include "recorder/database/databases.h"
#include "recorder/database/postgres.h"
#include "recorder/database/schema.h"
#include "recorder/run/taps.h"
#include "tests/contract/support/files.h"
#include "tests/contract/support/fixture.h"
#include "tests/contract/support/postgresql.h"
#include "tests/contract/support/process.h"
#include "tests/recorder/support/failure.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <future>
#include <system_error>

#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using contract::PostgresConnection;
using contract::ServerDsn;
using contract::ServerFolder;
using recorder::PostgresDatabase;
using recorder::PostgresSettings;
using support::FailureOf;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

constexpr int kLockTimeoutMs = 60000;
constexpr useconds_t kPollUs = 1000;
constexpr const char* kInsert = "INSERT INTO emap (filename) VALUES ('a');";

PostgresSettings SettingsWith(const std::string& dsn) {
    PostgresSettings settings;
    settings.dsn = dsn;
    return settings;
}

PostgresSettings ServerSettings() {
    return SettingsWith(ServerDsn());
}

std::vector<world::Row> Emaps() {
    return world::Read(KRDB::DB_SYSTEM, "SELECT filename FROM emap ORDER BY id;");
}

// Repeats the action until the server is asked: after a failure the recorder does not ask it for a
// while.
template <typename Action> std::string FailureWhenAsked(const Action& action) {
    for (;;) {
        std::string failure = FailureOf(action);
        if (failure.find("next attempt in") == std::string::npos) {
            return failure;
        }
        usleep(kPollUs);
    }
}

std::string FailureToOpen(const PostgresSettings& settings) {
    return FailureWhenAsked([&] { const PostgresDatabase database(settings, kLockTimeoutMs); });
}

std::string FailureToRun(PostgresDatabase& database, const std::string& sql) {
    return FailureOf([&] { database.Execute(sql); });
}

// The id of the server's process for this connection.
pid_t ServerPid(PostgresDatabase& database) {
    return std::stoi(database.Execute("SELECT pg_backend_pid();").Field(0, 0));
}

void AwaitRows(const std::string& select) {
    PostgresConnection observer(ServerDsn());
    while (observer.Run(select).empty()) {
        usleep(kPollUs);
    }
}

// True if the SELECT returns no rows before the deadline.
bool RowsDisappearWithin(int ms, const std::string& select) {
    using Clock = std::chrono::steady_clock;
    PostgresConnection observer(ServerDsn());
    const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(ms);
    while (!observer.Run(select).empty()) {
        if (Clock::now() > deadline) {
            return false;
        }
        usleep(kPollUs);
    }
    return true;
}

// Returns when this process of the server waits for a lock.
void AwaitLockWaiter(pid_t pid) {
    AwaitRows("SELECT 1 WHERE cardinality(pg_blocking_pids(" + std::to_string(pid) + ")) > 0;");
}

// Ends a process of the server, and returns when it has ended and closed its connection.
void EndConnection(pid_t pid) {
    PostgresConnection(ServerDsn())
        .Run("SELECT pg_terminate_backend(" + std::to_string(pid) + ");");
    while (kill(pid, 0) == 0 || errno != ESRCH) {
        usleep(kPollUs);
    }
}

class Postgres : public contract::ContractTest {};
class PostgresConnecting : public contract::ContractTest {};
class PostgresPassword : public contract::ContractTest {
protected:
    PostgresPassword() {
        PostgresConnection server(ServerDsn());
        server.Run("DO $$ BEGIN CREATE ROLE guarded LOGIN; EXCEPTION WHEN duplicate_object THEN "
                   "NULL; END $$;"
                   "ALTER ROLE guarded PASSWORD 'open sesame';"
                   "GRANT USAGE ON SCHEMA kestora TO guarded;"
                   "GRANT SELECT ON ALL TABLES IN SCHEMA kestora TO guarded;");
    }

    static PostgresSettings Guarded(const std::string& password, mode_t mode = 0600) {
        PostgresSettings settings =
            SettingsWith("postgresql://guarded@/kestora?host=" + ServerFolder());
        settings.passwordFile = Scratch("password");
        contract::PutFile(*settings.passwordFile, password + "\n");
        chmod(settings.passwordFile->c_str(), mode);
        return settings;
    }
};
class PostgresSchema : public contract::ContractTest {
protected:
    // The database of another recorder on the same server, with one table.
    static PostgresDatabase AnotherRecorder() {
        PostgresSettings settings = ServerSettings();
        settings.schema = "another";
        PostgresDatabase another(settings, kLockTimeoutMs, recorder::PostgresAccess::Create);
        another.ApplySchema("CREATE TABLE emap (id INTEGER PRIMARY KEY, filename TEXT);", 1);
        return another;
    }
};

// A server that never responds; the kernel accepts its connections.
class SilentServer {
public:
    SilentServer() {
        struct sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof(address);
        auto* const any = reinterpret_cast<struct sockaddr*>(&address);
        if (bind(m_socket, any, length) != 0 || listen(m_socket, SOMAXCONN) != 0 ||
            getsockname(m_socket, any, &length) != 0) {
            throw std::system_error(errno, std::generic_category(), "listen");
        }
        m_port = ntohs(address.sin_port);
    }
    ~SilentServer() { close(m_socket); }
    SilentServer(const SilentServer&) = delete;
    SilentServer& operator=(const SilentServer&) = delete;
    SilentServer(SilentServer&&) = delete;
    SilentServer& operator=(SilentServer&&) = delete;

    [[nodiscard]] std::string Dsn() const {
        return "postgresql://kestora@127.0.0.1:" + std::to_string(m_port) + "/kestora";
    }

    // The number of connections since the last count.
    [[nodiscard]] int CountAttempts() const {
        int count = 0;
        for (int fd = 0; (fd = accept4(m_socket, nullptr, nullptr, SOCK_CLOEXEC)) >= 0; ++count) {
            close(fd);
        }
        return count;
    }

private:
    int m_socket = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    int m_port = 0;
};

TEST_F(Postgres, ReconnectsAfterALostConnection) {
    PostgresDatabase database(ServerSettings(), kLockTimeoutMs);
    const pid_t before = ServerPid(database);
    EndConnection(before);

    database.Execute(kInsert);

    EXPECT_THAT(Emaps(), ElementsAre(world::Row{"a"}));
    EXPECT_NE(ServerPid(database), before);
}

TEST_F(Postgres, ReconnectsAfterARestartOfTheServer) {
    PostgresDatabase database(ServerSettings(), kLockTimeoutMs);
    database.Execute(kInsert);
    contract::StopServer();
    contract::StartServer();

    database.Execute(kInsert);

    EXPECT_THAT(Emaps(), ElementsAre(world::Row{"a"}, world::Row{"a"}));
}

TEST_F(Postgres, FailsWhileTheServerIsDown) {
    PostgresDatabase database(ServerSettings(), kLockTimeoutMs);
    contract::StopServer();

    const std::string failure = FailureToRun(database, kInsert);
    contract::StartServer();

    EXPECT_THAT(failure, AllOf(HasSubstr("PostgreSQL schema kestora"), HasSubstr("can't connect")));
}

TEST_F(Postgres, FailsAndRepeatsNothingIfTheConnectionIsLostDuringACall) {
    PostgresDatabase database(ServerSettings(), kLockTimeoutMs);
    const pid_t pid = ServerPid(database);
    world::ConcurrentWriter writer(KRDB::DB_SYSTEM);
    std::future<std::string> failure =
        std::async(std::launch::async, [&] { return FailureToRun(database, kInsert); });
    AwaitLockWaiter(pid);

    EndConnection(pid);
    EXPECT_THAT(failure.get(), HasSubstr("terminating connection"));
    writer.Finish();

    EXPECT_THAT(Emaps(), IsEmpty());
    database.Execute(kInsert);
    EXPECT_THAT(Emaps(), ElementsAre(world::Row{"a"}));
}

TEST_F(Postgres, CancelsACallThatTakesTooLong) {
    PostgresSettings settings = ServerSettings();
    settings.statementTimeoutMs = 50;
    PostgresDatabase database(settings, kLockTimeoutMs);

    EXPECT_THAT(FailureToRun(database, std::string(kInsert) + "SELECT pg_sleep(3600);"),
                HasSubstr("statement timeout"));

    EXPECT_THAT(Emaps(), IsEmpty());
    database.Execute(kInsert);
}

TEST_F(Postgres, CancelsACallThatWaitsTooLongForALock) {
    PostgresDatabase database(ServerSettings(), 50);
    {
        const world::ConcurrentWriter writer(KRDB::DB_SYSTEM);

        EXPECT_THAT(FailureToRun(database, kInsert), HasSubstr("lock timeout"));
    }

    database.Execute(kInsert);
    EXPECT_THAT(Emaps(), ElementsAre(world::Row{"a"}));
}

TEST_F(Postgres, RefusesToWriteInAReadOnlySession) {
    PostgresDatabase database(ServerSettings(), kLockTimeoutMs, recorder::PostgresAccess::ReadOnly);

    for (const char* sql : {kInsert, "DELETE FROM emap;", "CREATE TABLE other (a INTEGER);",
                            "SELECT nextval('emap_id_seq');"}) {
        EXPECT_THAT(FailureToRun(database, sql), HasSubstr("in a read-only transaction")) << sql;
    }

    EXPECT_STREQ(database.Execute("SELECT count(*) FROM emap;").Field(0, 0), "0");
    EXPECT_THAT(Emaps(), IsEmpty());
}

TEST_F(Postgres, DoesNotAskAServerAgainThatGaveNoResponse) {
    PostgresSettings settings = ServerSettings();
    settings.statementTimeoutMs = 50;
    settings.silenceMs = 200;
    PostgresDatabase database(settings, kLockTimeoutMs);
    const pid_t pid = ServerPid(database);
    ASSERT_EQ(kill(pid, SIGSTOP), 0);

    const std::string failure = FailureToRun(database, kInsert);
    const std::string next = FailureToRun(database, "SELECT 1;");
    const std::string ofAnotherObject =
        FailureOf([&] { const PostgresDatabase another(settings, kLockTimeoutMs); });
    kill(pid, SIGCONT);

    EXPECT_THAT(failure, HasSubstr("no response from the server"));
    EXPECT_THAT(next, HasSubstr("next attempt in"));
    EXPECT_THAT(ofAnotherObject, HasSubstr("next attempt in"));
    EXPECT_EQ(FailureWhenAsked([&] { database.Execute("SELECT 1;"); }), "none");
}

TEST_F(Postgres, EndsTheStatementOfAKilledClient) {
    world::ConcurrentWriter writer(KRDB::DB_SYSTEM);
    contract::Child child([] {
        PostgresDatabase(ServerSettings(), kLockTimeoutMs).Execute(kInsert);
        return 0;
    });
    writer.AwaitWaiting(child);

    child.Kill();

    EXPECT_TRUE(RowsDisappearWithin(kLockTimeoutMs / 3,
                                    "SELECT 1 FROM pg_stat_activity WHERE "
                                    "application_name = 'kestora' AND state = 'active';"));
    writer.Finish();
    EXPECT_THAT(Emaps(), IsEmpty());
}

TEST_F(Postgres, ChangesNothingIfAStatementInTheMiddleIsInvalid) {
    PostgresDatabase database(ServerSettings(), kLockTimeoutMs);

    EXPECT_THAT(FailureToRun(database, std::string(kInsert) + "SELEKT 1;" + kInsert),
                HasSubstr("syntax error"));

    EXPECT_THAT(Emaps(), IsEmpty());
    database.Execute(kInsert);
    EXPECT_THAT(Emaps(), ElementsAre(world::Row{"a"}));
}

TEST_F(Postgres, ReportsAFailureInOneLineWithItsCode) {
    PostgresDatabase database(ServerSettings(), kLockTimeoutMs);

    const std::string failure = FailureToRun(database, "SELECT x FROM nowhere;");

    EXPECT_THAT(failure, HasSubstr("relation \"nowhere\" does not exist (code 42P01)"));
    EXPECT_THAT(failure, Not(HasSubstr("\n")));
}

TEST_F(PostgresConnecting, RequiresADatabaseThatAcceptsEveryByte) {
    PostgresConnection(ServerDsn())
        .Run("CREATE DATABASE letters ENCODING 'UTF8' "
             "TEMPLATE template0;");

    EXPECT_THAT(FailureToOpen(SettingsWith("postgresql://kestora@/letters?host=" + ServerFolder())),
                HasSubstr("encoding is UTF8; expected SQL_ASCII"));

    PostgresConnection(ServerDsn()).Run("DROP DATABASE letters WITH (FORCE);");
}

TEST_F(PostgresConnecting, IsAttemptedOnceIfTheServerAcceptsTheConnectionButDoesNotRespond) {
    constexpr int kCalls = 50;
    const SilentServer server;
    PostgresSettings settings = SettingsWith(server.Dsn());
    settings.connectTimeoutS = 2; // the shortest that libpq supports
    const auto open = [&] { const PostgresDatabase database(settings, kLockTimeoutMs); };

    const std::string first = FailureOf(open);
    for (int call = 1; call < kCalls; ++call) {
        EXPECT_THAT(FailureOf(open), HasSubstr("next attempt in"));
    }
    contract::Child forked(
        [&] { return FailureOf(open).find("next attempt in") == std::string::npos ? 1 : 0; });

    EXPECT_THAT(first, HasSubstr("timeout expired"));
    EXPECT_EQ(forked.Wait(), 0);
    EXPECT_EQ(server.CountAttempts(), 1);
}

TEST_F(PostgresConnecting, HasADeadlineEvenIfTheDsnDisablesIt) {
    const SilentServer server;
    PostgresSettings settings = SettingsWith(server.Dsn() + "?connect_timeout=0");
    settings.connectTimeoutS = 2;

    EXPECT_THAT(FailureToOpen(settings), HasSubstr("timeout expired"));
}

// The settings refuse such a dsn first; this is the second check.
TEST_F(PostgresConnecting, RefusesAPasswordInTheDsnWithoutQuotingIt) {
    for (const std::string& dsn :
         {"postgresql://kestora:sesame@/kestora?host=" + ServerFolder(),
          ServerDsn() + "&password=sesame", ServerDsn() + "&sslpassword=sesame",
          ServerDsn() + "&passfile=/sesame", ServerDsn() + "&service=sesame"}) {
        EXPECT_THAT(FailureToOpen(SettingsWith(dsn)),
                    AllOf(HasSubstr("database.password_file"), Not(HasSubstr("sesame"))));
    }
}

TEST_F(PostgresConnecting, DoesNotQuoteTheValueOfARefusedOption) {
    for (const std::string option :
         {"sslmode=sesame", "sslmode=open%20sesame", "channel_binding=sesame", "gssencmode=sesame",
          "target_session_attrs=sesame", "requirepeer=sesame", "replication=sesame",
          "connect_timeout=4&ssl_min_protocol_version=sesame"}) {
        EXPECT_THAT(FailureToOpen(SettingsWith(ServerDsn() + "&" + option)),
                    AllOf(HasSubstr("can't connect: "), Not(HasSubstr("sesame"))))
            << option;
    }
    EXPECT_THAT(FailureToOpen(SettingsWith(ServerDsn() + "&sslmode=sesame")),
                HasSubstr("invalid sslmode value: (the dsn's sslmode)"));
}

TEST_F(PostgresConnecting, RefusesAnInvalidDsnWithoutQuotingIt) {
    for (const char* const dsn :
         {"postgresql://u:sesame@[", "postgresql://u:%zzsesame@h/d", "postgresql://h/d?sesame=1",
          "postgresql://h/d?password=a=sesame", "postgresql://u:sesame@[::1]x/d"}) {
        EXPECT_THAT(FailureToOpen(SettingsWith(dsn)),
                    AllOf(HasSubstr("the setting database.dsn can't be read; expected postgres"),
                          Not(HasSubstr("sesame"))));
    }
}

TEST_F(PostgresConnecting, SkipsAHostThatIsDown) {
    PostgresDatabase database(SettingsWith("postgresql://kestora@/kestora?host=" +
                                           Scratch("nobody") + "," + ServerFolder()),
                              kLockTimeoutMs);

    database.Execute(kInsert);

    EXPECT_THAT(Emaps(), ElementsAre(world::Row{"a"}));
}

TEST_F(PostgresConnecting, SkipsAReadOnlyHost) {
    const std::string other = std::getenv("KESTORA_TEST_OTHER_DSN");
    PostgresConnection(other).Run("ALTER DATABASE kestora SET default_transaction_read_only = on;");
    const std::string otherFolder = other.substr(other.find("host=") + 5);

    PostgresDatabase database(
        SettingsWith("postgresql://kestora@/kestora?host=" + otherFolder + "," + ServerFolder()),
        kLockTimeoutMs);
    database.Execute(kInsert);

    EXPECT_THAT(Emaps(), ElementsAre(world::Row{"a"}));
    EXPECT_THAT(FailureToOpen(SettingsWith(other)), HasSubstr("read-only"));
}

TEST_F(PostgresConnecting, IgnoresTheCallersEnvironment) {
    contract::Child child([] {
        for (const auto& [name, value] : {std::pair{"PGHOST", "/nowhere"},
                                          {"PGPORT", "1"},
                                          {"PGUSER", "nobody"},
                                          {"PGSERVICE", "nowhere"},
                                          {"PGPASSWORD", "x"},
                                          {"PGOPTIONS", "-c default_transaction_read_only=on"}}) {
            setenv(name, value, 1);
        }
        PostgresDatabase database(ServerSettings(), kLockTimeoutMs);
        database.Execute(kInsert);
        return std::getenv("PGHOST") == nullptr ? 0 : 1;
    });

    EXPECT_EQ(child.Wait(), 0);
    EXPECT_THAT(Emaps(), ElementsAre(world::Row{"a"}));
}

TEST_F(PostgresPassword, IsReadFromItsFile) {
    PostgresDatabase database(Guarded("open sesame"), kLockTimeoutMs);

    EXPECT_STREQ(database.Execute("SELECT current_user;").Field(0, 0), "guarded");
}

TEST_F(PostgresPassword, IsRequiredByTheServer) {
    PostgresSettings settings = Guarded("open sesame");
    settings.passwordFile.reset();

    EXPECT_THAT(FailureToOpen(settings), HasSubstr("no password supplied"));
}

TEST_F(PostgresPassword, IsNotReadFromTheCallersHomeFolder) {
    PostgresSettings settings = Guarded("open sesame");
    settings.passwordFile.reset();
    contract::PutFile(Scratch(".pgpass"), "*:*:*:*:open sesame\n");
    chmod(Scratch(".pgpass").c_str(), 0600);

    contract::Child child([&] {
        setenv("HOME", Scratch("").c_str(), 1);
        const bool isDenied =
            FailureToOpen(settings).find("no password supplied") != std::string::npos;
        return isDenied && std::getenv("HOME") != Scratch("") ? 0 : 1;
    });

    EXPECT_EQ(child.Wait(), 0);
}

TEST_F(PostgresPassword, IsNotQuotedIfItIsWrong) {
    EXPECT_THAT(FailureToOpen(Guarded("open barley")),
                AllOf(HasSubstr("authentication failed"), Not(HasSubstr("barley"))));
}

TEST_F(PostgresPassword, IsNotReadFromAFileThatOthersCanRead) {
    EXPECT_THAT(FailureToOpen(Guarded("open sesame", 0644)), HasSubstr("open to others"));
}

TEST_F(PostgresSchema, IsReportedAsMissingWithTheCommandThatCreatesIt) {
    world::Write(KRDB::DB_SYSTEM, "DROP SCHEMA kestora CASCADE;");

    EXPECT_THAT(FailureOf([] { recorder::Execute(KRDB::DB_SYSTEM, "SELECT 1;"); }),
                HasSubstr("expected 1; run \"krctl init\""));
}

TEST_F(PostgresSchema, KeepsExistingRows) {
    world::Write(KRDB::DB_SYSTEM, kInsert);

    recorder::InitDatabases();

    EXPECT_THAT(Emaps(), ElementsAre(world::Row{"a"}));
}

TEST_F(PostgresSchema, AwaitsTheDiskUnlessAskedNotTo) {
    const std::string asked = "SELECT current_setting('synchronous_commit');";

    EXPECT_STREQ(recorder::Execute(KRDB::DB_SYSTEM, asked).Field(0, 0), "on");
    EXPECT_STREQ(recorder::Execute(KRDB::DB_SYSTEM, asked, {.awaitDisk = false}).Field(0, 0),
                 "off");
    EXPECT_STREQ(recorder::Execute(KRDB::DB_SYSTEM, asked).Field(0, 0), "on");
}

TEST_F(PostgresSchema, OfAnotherVersionIsRefused) {
    world::Write(KRDB::DB_SYSTEM, "UPDATE schema_version SET version = 2;");

    EXPECT_THAT(FailureOf([] { recorder::Execute(KRDB::DB_SYSTEM, "SELECT 1;"); }),
                HasSubstr("PostgreSQL schema kestora has schema version 2; expected 1"));
    EXPECT_THROW(recorder::InitDatabases(), recorder::Error);
}

TEST_F(PostgresSchema, IsUpgradedForAllItsDatabasesAtOnce) {
    const std::array steps{
        recorder::SchemaStep{2, KRDB::DB_SNAPSHOT, "CREATE TABLE later (id INTEGER PRIMARY KEY);"},
        recorder::SchemaStep{2, KRDB::DB_SYSTEM, "INSERT INTO later (id) VALUES (1);"},
        recorder::SchemaStep{2, std::nullopt, "INSERT INTO later (id) VALUES (2);"},
        recorder::SchemaStep{2, std::nullopt, "INSERT INTO later (id) VALUES (3::BIGINT);", true},
    };
    PostgresDatabase another = AnotherRecorder();

    recorder::ApplySchemaSteps(another, recorder::InstancesBeside(KRDB::DB_SYSTEM), steps, 2);

    EXPECT_EQ(another.SchemaVersion(), 2);
    EXPECT_STREQ(another.Execute("SELECT count(*) FROM later;").Field(0, 0), "3");
    another.Execute("DROP SCHEMA another CASCADE;");
}

TEST_F(PostgresSchema, WithoutAVersionIsRefused) {
    world::Write(KRDB::DB_SYSTEM, "DELETE FROM schema_version;");

    EXPECT_THAT(FailureOf([] { recorder::Execute(KRDB::DB_SYSTEM, "SELECT 1;"); }),
                HasSubstr("PostgreSQL schema kestora has schema version 0; expected 1"));
    EXPECT_THROW(recorder::InitDatabases(), recorder::Error);
}

TEST_F(PostgresSchema, IsSeparateForEachRecorder) {
    PostgresDatabase another = AnotherRecorder();

    PostgresDatabase(ServerSettings(), kLockTimeoutMs).Execute(kInsert);
    another.Execute("INSERT INTO emap (id, filename) VALUES (1, 'another');");

    EXPECT_THAT(Emaps(), ElementsAre(world::Row{"a"}));
    EXPECT_STREQ(another.Execute("SELECT filename FROM emap;").Field(0, 0), "another");
    another.Execute("DROP SCHEMA another CASCADE;");
}

TEST_F(PostgresSchema, KeepsTheRowsThatTheRunRemovesAndNoOthers) {
    world::Write(KRDB::DB_SYSTEM, std::string(kInsert) + kInsert + kInsert);

    recorder::ExecuteInRun(KRDB::DB_SYSTEM, "DELETE FROM emap WHERE id = 1;");
    recorder::Execute(KRDB::DB_SYSTEM, "SELECT 1;");
    world::Write(KRDB::DB_SYSTEM, "DELETE FROM emap WHERE id = 2;");

    EXPECT_THAT(world::Read(KRDB::DB_SYSTEM, "SELECT kind, row_id, filename FROM removed;"),
                ElementsAre(world::Row{"emap", "1", "a"}));
    EXPECT_THAT(world::Read(KRDB::DB_SYSTEM, "SELECT kind, added, removed FROM run_count;"),
                ElementsAre(world::Row{"emap", "0", "1"}));
}

} // namespace
