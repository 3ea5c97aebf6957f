#include "recorder/database/postgres.h"

#include "recorder/database/age.h"
#include "recorder/database/sqltext.h"
#include "recorder/logging/recorderlog.h"
#include "recorder/settings/dsn.h"
#include "recorder/support/deadline.h"
#include "recorder/support/error.h"
#include "recorder/support/format.h"
#include "recorder/support/textfile.h"
#include "recorder/support/uninterrupted.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <exception>
#include <map>
#include <sstream>
#include <string_view>

#include <libpq-fe.h>
#include <poll.h>
#include <pwd.h>
#include <unistd.h>

namespace recorder {

namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* kNoFile = "/dev/null/none"; // no file can have this name

// libpq searches HOME for certificates. It must be the user's own folder, not the caller's choice.
void GoHome() {
    constexpr std::size_t kMaxEntry = 4096;
    std::array<char, kMaxEntry> buffer{};
    struct passwd entry = {};
    struct passwd* found = nullptr;
    getpwuid_r(geteuid(), &entry, buffer.data(), buffer.size(), &found);
    setenv("HOME", found != nullptr ? found->pw_dir : kNoFile, 1);
}

// libpq would take hosts, options and password files from the caller's environment.
void ForgetEnvironment() {
    GoHome();
    std::vector<std::string> names;
    for (char** variable = environ; variable != nullptr && *variable != nullptr; ++variable) {
        const std::string_view text(*variable);
        if (text.starts_with("PG")) {
            names.emplace_back(text.substr(0, text.find('=')));
        }
    }
    for (const std::string& name : names) {
        unsetenv(name.c_str());
    }
}

// libpq's messages have several lines, some of them indented.
std::string OneLine(const std::string& text) {
    std::istringstream words(text);
    std::string line;
    for (std::string word; words >> word;) {
        line += (line.empty() ? "" : " ") + word;
    }
    return line;
}

std::string Replaced(std::string text, std::string_view from, std::string_view to) {
    for (std::size_t at = text.find(from); at != std::string::npos;
         at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
    return text;
}

struct FreeOptions {
    void operator()(PQconninfoOption* options) const { PQconninfoFree(options); }
};
using DsnOptions = std::unique_ptr<PQconninfoOption, FreeOptions>;

// Throws Error without libpq's message, which would quote the dsn, and with it a password.
void RequireSoundDsn(const std::string& dsn) {
    const DsnOptions options(PQconninfoParse(dsn.c_str(), nullptr));
    if (!options) {
        throw Error(std::string("the setting database.dsn can't be read; expected ") +
                    kExpectedDsn);
    }
    for (const PQconninfoOption* option = options.get(); option->keyword != nullptr; ++option) {
        const bool isSecret = IsOptionOfSecret(option->keyword) || *option->dispchar == '*';
        if (isSecret && option->val != nullptr) {
            throw Error("the setting database.dsn holds a password or names a file that may; name "
                        "one by database.password_file");
        }
    }
}

// Returns true if a message may quote the value, which names the server or a file.
bool MayBeQuoted(const PQconninfoOption& option) {
    constexpr std::array<std::string_view, 5> kServer{"host", "hostaddr", "port", "dbname", "user"};
    constexpr std::array<std::string_view, 4> kFiles{"sslcert", "sslkey", "sslrootcert", "sslcrl"};
    const std::string_view name(option.keyword);
    return std::find(kServer.begin(), kServer.end(), name) != kServer.end() ||
           (*option.val == '/' && std::find(kFiles.begin(), kFiles.end(), name) != kFiles.end());
}

// libpq quotes the value of an option that it refuses, and the value may be a misplaced password.
std::string WithoutOptionValues(std::string message, const std::string& dsn) {
    const DsnOptions options(PQconninfoParse(dsn.c_str(), nullptr));
    for (const PQconninfoOption* option = options.get();
         option != nullptr && option->keyword != nullptr; ++option) {
        const bool isGiven = option->val != nullptr && *option->val != '\0';
        if (isGiven && !MayBeQuoted(*option)) {
            message = Replaced(std::move(message), '"' + std::string(option->val) + '"',
                               "(the dsn's " + std::string(option->keyword) + ")");
        }
    }
    return message;
}

void LogNotice(void* name, const PGresult* notice) {
    const char* const severity = PQresultErrorField(notice, PG_DIAG_SEVERITY_NONLOCALIZED);
    const char* const text = PQresultErrorField(notice, PG_DIAG_MESSAGE_PRIMARY);
    if (severity != nullptr && text != nullptr && std::string_view(severity) == "WARNING") {
        LogWarning(*static_cast<const std::string*>(name) + ": " + text);
    }
}

// "duplicate key ... (code 23505)"
std::string Reason(const PGresult* result) {
    const char* const text = PQresultErrorField(result, PG_DIAG_MESSAGE_PRIMARY);
    const char* const code = PQresultErrorField(result, PG_DIAG_SQLSTATE);
    if (text == nullptr) {
        return OneLine(PQresultErrorMessage(result));
    }
    return std::string(text) + (code == nullptr ? "" : " (code " + std::string(code) + ")");
}

std::vector<std::string> ColumnNames(const PGresult* result) {
    std::vector<std::string> names(static_cast<std::size_t>(PQnfields(result)));
    int column = 0;
    for (std::string& name : names) {
        name = PQfname(result, column++);
    }
    return names;
}

void AppendRow(const PGresult* result, DBResult_tag& rows) {
    for (int column = 0; column < PQnfields(result); ++column) {
        if (PQgetisnull(result, 0, column) != 0) {
            rows.AppendNull();
        } else {
            rows.AppendField({PQgetvalue(result, 0, column),
                              static_cast<std::size_t>(PQgetlength(result, 0, column))});
        }
    }
}

// Replaces SQLite's types by those of PostgreSQL.
std::string ToPostgresSql(const std::string& sql) {
    return Replaced(Replaced(Replaced(sql, " AUTOINCREMENT", ""), "INTEGER PRIMARY KEY",
                             "BIGINT GENERATED BY DEFAULT AS IDENTITY PRIMARY KEY"),
                    "INTEGER", "BIGINT");
}

// The time before which a server that was not reached, or gave no response, is not tried again; by
// dsn. It is kept for the whole process, because a database object is destroyed when its opening
// fails and when the process forks.
Clock::time_point& NextAttempt(const std::string& dsn) {
    static std::map<std::string, Clock::time_point> attempts;
    return attempts[dsn];
}

// Limits the waiting to a tenth of the time: without a server, each batch of a run fails with a
// line in the log, but not each of them waits.
void LeaveAlone(const std::string& dsn, Clock::duration waited) {
    constexpr int kTimesTheWait = 10;
    NextAttempt(dsn) = Clock::now() + kTimesTheWait * waited;
}

void RequireNextAttemptIsDue(const std::string& dsn, const std::string& name) {
    using std::chrono::duration_cast;
    const auto leftMs =
        duration_cast<std::chrono::milliseconds>(NextAttempt(dsn) - Clock::now()).count();
    if (leftMs > 0) {
        throw Error(name + Format(": not tried, as the server was not reached or gave no response "
                                  "before; next attempt in %.1f s",
                                  static_cast<double>(leftMs) / 1000));
    }
}

// Counts the rows that the transaction added and therefore noted as unannounced, by day. A trigger
// would update the same row of run_day for each recording, each time a little slower.
std::string DaysAddedSql(long run) {
    return Format("INSERT INTO run_day (run, camera_id, day, added, removed) "
                  "SELECT %ld, event.camera_id, %s, count(*), 0 "
                  "FROM unannounced JOIN event ON event.id = unannounced.id "
                  "WHERE (SELECT has_added('event')) "
                  "AND unannounced.xmin = pg_current_xact_id_if_assigned()::xid GROUP BY 2, 3 "
                  "ON CONFLICT (run, camera_id, day) "
                  "DO UPDATE SET added = run_day.added + excluded.added;",
                  run, DayOfSql("event.start_tm").c_str()) +
           ForgetDaysSql(run, "(SELECT has_added('event') OR removed_rows('event') > 0)");
}

} // namespace

PostgresDatabase::PostgresDatabase(PostgresSettings settings, int lockTimeoutMs,
                                   PostgresAccess access)
    : m_name("PostgreSQL schema " + settings.schema), m_settings(std::move(settings)),
      m_lockTimeoutMs(lockTimeoutMs), m_access(access) {
    ForgetEnvironment();
    RequireSoundDsn(m_settings.dsn);
    Connect();
    if (m_access == PostgresAccess::Create) {
        CreateSchema();
    }
}

void PostgresDatabase::CreateSchema() {
    const std::string exists =
        "SELECT 1 FROM pg_namespace WHERE nspname = '" + m_settings.schema + "';";
    if (Execute(exists).RowCount() == 0) {
        Execute("CREATE SCHEMA " + m_settings.schema + ";");
    }
}

DBResult_tag PostgresDatabase::Execute(const std::string& sql, const ExecuteOptions& options) {
    RequireConnection();
    DBResult_tag rows;
    if (options.transaction) {
        RunTransaction(sql, options, rows);
        return rows;
    }
    for (const std::string& statement : SplitStatements(sql)) {
        RunTransaction(statement, options, rows);
    }
    return rows;
}

std::string PostgresDatabase::HasIdOf(const std::string& ids) const {
    return "id = ANY ('{" + ids + "}')";
}

// The table is locked, because other processes could add a row between the check of the sequence
// and its change.
std::string PostgresDatabase::RaiseIdsSql(const std::string& table, long highest) const {
    const char* const name = table.c_str();
    if (highest < 1) {
        return {};
    }
    return Format("DO $$ BEGIN IF (SELECT last_value < %ld OR NOT is_called FROM %s_id_seq) THEN "
                  "LOCK TABLE %s IN SHARE ROW EXCLUSIVE MODE; "
                  "PERFORM setval('%s_id_seq', greatest(last_value, %ld)) FROM %s_id_seq; "
                  "END IF; END $$;",
                  highest, name, name, name, highest, name);
}

long PostgresDatabase::SchemaVersion() {
    constexpr ExecuteOptions kReads{.readOnly = true};
    try { // the table is missing only until the first "krctl init"
        const DBResult_tag version =
            Execute("SELECT max(version) AS version FROM schema_version;", kReads);
        return version.Long(0, "version");
    } catch (const Error&) {
        const DBResult_tag there = Execute(
            "SELECT to_regclass('" + m_settings.schema + ".schema_version') AS found;", kReads);
        if (there.TextIfAny(0, "found")) {
            throw;
        }
        return 0;
    }
}

void PostgresDatabase::ApplySchema(const std::string& sql, long version) {
    Execute("CREATE TABLE IF NOT EXISTS schema_version (version BIGINT NOT NULL);"
            "DELETE FROM schema_version;" +
            ToPostgresSql(sql) + Format("INSERT INTO schema_version VALUES (%ld);", version));
}

void PostgresDatabase::AttributeTo(const RunIdentity& run, const std::vector<MediaTable>& tables) {
    m_run = run;
    m_tables.clear();
    for (const MediaTable& table : tables) {
        m_tables.push_back(table.name);
    }
    RequireConnection();
    RunPlain(SessionSql());
}

void PostgresDatabase::RequireConnection() {
    if (m_connection && IsConnected()) {
        return;
    }
    m_connection.reset();
    Connect();
}

// Reads twice: the first call may read a last message of the server, the second the end of file.
bool PostgresDatabase::IsConnected() {
    return PQstatus(m_connection.get()) == CONNECTION_OK &&
           PQconsumeInput(m_connection.get()) != 0 && PQconsumeInput(m_connection.get()) != 0;
}

void PostgresDatabase::Connect() {
    try {
        RequireNextAttemptIsDue(m_settings.dsn, m_name);
        OpenConnection();
        SetUpSession();
    } catch (const Error& error) {
        m_connection.reset(); // without the session's settings it would use other tables
        throw DatabaseUnusable(error.what());
    }
}

void PostgresDatabase::OpenConnection() {
    const Clock::time_point start = Clock::now();
    const std::string timeout = std::to_string(m_settings.connectTimeoutS);
    const std::string password =
        m_settings.passwordFile ? ReadSecretFile(*m_settings.passwordFile) : std::string();
    // The dsn can override the parameters before it, but not those after it: it could set an
    // unlimited time-out.
    constexpr int kParameters = 11;
    const std::array<const char*, kParameters> names{"fallback_application_name",
                                                     "target_session_attrs",
                                                     "tcp_user_timeout",
                                                     "keepalives_idle",
                                                     "keepalives_interval",
                                                     "dbname",
                                                     "connect_timeout",
                                                     "client_encoding",
                                                     "passfile",
                                                     m_settings.passwordFile ? "password" : nullptr,
                                                     nullptr};
    const std::array<const char*, kParameters> values{
        "kestora", "read-write",           "30000",         "10",
        "5",       m_settings.dsn.c_str(), timeout.c_str(), "SQL_ASCII",
        kNoFile,   password.c_str(),       nullptr};
    m_connection.reset(PQconnectdbParams(names.data(), values.data(), 1));
    if (PQstatus(m_connection.get()) != CONNECTION_OK) {
        LeaveAlone(m_settings.dsn, Clock::now() - start);
        FailConnection("connect");
    }
}

void PostgresDatabase::SetUpSession() {
    PQsetNoticeReceiver(m_connection.get(), LogNotice, &m_name);
    PQsetErrorVerbosity(m_connection.get(), PQERRORS_TERSE); // without the statement
    PQsetnonblocking(m_connection.get(), 1);
    CheckEncoding();
    m_answerTimeout = std::chrono::seconds(m_settings.connectTimeoutS);
    RunPlain(SessionSql());
    EndStatementsWithClient();
    m_answerTimeout =
        std::chrono::milliseconds(m_settings.statementTimeoutMs + m_settings.silenceMs);
}

// The server checks every second whether the client still exists, so that the statement of a killed
// client ends and releases its locks. Servers before version 14 don't have the setting, and on some
// platforms it is refused; it is then left out. A block of PL/pgSQL could handle the refusal too,
// but loading that language takes the server 1 ms.
void PostgresDatabase::EndStatementsWithClient() {
    constexpr int kFirstVersion = 140000;
    if (PQserverVersion(m_connection.get()) < kFirstVersion) {
        return;
    }
    try {
        RunPlain("SET client_connection_check_interval TO 1000;");
    } catch (const Error&) {
        if (!m_connection) { // not a refusal
            throw;
        }
    }
}

void PostgresDatabase::CheckEncoding() {
    const char* const reported = PQparameterStatus(m_connection.get(), "server_encoding");
    const std::string encoding = reported == nullptr ? "unknown" : reported;
    if (encoding != "SQL_ASCII") {
        throw Error(m_name + ": the database's encoding is " + encoding +
                    "; expected SQL_ASCII, as names of files are bytes");
    }
}

std::string PostgresDatabase::SessionSql() const {
    return Format(
        "SET search_path TO %s; SET standard_conforming_strings TO on; "
        "SET jit TO off; SET lock_timeout TO %d; SET statement_timeout TO %d; SET "
        "kestora.run TO '%s'; SET kestora.token TO '%ld';%s",
        m_settings.schema.c_str(), std::max(m_lockTimeoutMs, 1), m_settings.statementTimeoutMs,
        m_run.number == 0 ? "" : std::to_string(m_run.number).c_str(), m_run.token,
        m_access == PostgresAccess::ReadOnly ? " SET default_transaction_read_only TO on;" : "");
}

// Writes what the triggers counted in this transaction. keep_removed has already counted removed
// rows in run_count and run_day.
std::string PostgresDatabase::RunCountsSql() const {
    std::string tables;
    std::string removed;
    for (const std::string& table : m_tables) {
        tables += (tables.empty() ? "('" : ", ('") + table + "')";
        removed += (removed.empty() ? "" : " + ") + Format("removed_rows('%s')", table.c_str());
    }
    return Format("INSERT INTO run_count (run, token, kind, camera_id, added, removed) "
                  "SELECT %ld, %ld, kind, camera::BIGINT, added::BIGINT, 0 "
                  "FROM (VALUES %s) AS tables (kind), "
                  "jsonb_each_text(added_by_camera(kind)) AS counted (camera, added) "
                  "WHERE true ",
                  m_run.number, m_run.token, tables.c_str()) +
           kAddRunCountsSql + "INSERT INTO added SELECT * FROM added_ranges();" +
           NoteRemovalAgeSql(m_run.number, ReadMoment(), removed + " > 0") +
           DaysAddedSql(m_run.number);
}

// With awaitDisk, the commit is sent separately, after the rows were received, and only if they
// could be taken. Other transactions take one round trip.
void PostgresDatabase::RunTransaction(const std::string& sql, const ExecuteOptions& options,
                                      DBResult_tag& rows) {
    const bool reads = options.readOnly || m_access == PostgresAccess::ReadOnly;
    std::string text = reads ? "BEGIN READ ONLY;" : "BEGIN;";
    if (!options.waitForLock) {
        text += "SET LOCAL lock_timeout TO 1;";
    }
    if (!options.awaitDisk) {
        text += "SET LOCAL synchronous_commit TO off;";
    }
    const std::string end = (reads || m_run.number == 0 ? "" : RunCountsSql()) + "COMMIT;";
    const bool isOneText = reads || !options.awaitDisk;
    try {
        Send(text + sql + (isOneText ? ";" + end : ""));
        Collect(sql, rows);
        if (!isOneText) {
            RunPlain(end);
        }
    } catch (const std::exception&) {
        Rollback();
        throw;
    }
}

void PostgresDatabase::RunPlain(const std::string& sql) {
    DBResult_tag none;
    Send(sql);
    Collect(sql, none);
}

// Closes the connection if the transaction can't be rolled back, which ends it.
void PostgresDatabase::Rollback() {
    if (!m_connection || PQtransactionStatus(m_connection.get()) == PQTRANS_IDLE) {
        return;
    }
    try {
        RunPlain("ROLLBACK;");
    } catch (const std::exception&) {
        m_connection.reset();
    }
}

void PostgresDatabase::Send(const std::string& sql) {
    if (PQsendQuery(m_connection.get(), sql.c_str()) == 0) {
        FailConnection("run " + Excerpt(sql.c_str()));
    }
    PQsetSingleRowMode(m_connection.get());
    int left = PQflush(m_connection.get());
    while (left > 0) {
        AwaitServer(POLLIN | POLLOUT);
        if (PQconsumeInput(m_connection.get()) == 0) {
            FailConnection("run " + Excerpt(sql.c_str()));
        }
        left = PQflush(m_connection.get());
    }
    if (left < 0) {
        FailConnection("run " + Excerpt(sql.c_str()));
    }
}

// Takes the rows of all statements. After a failure the remaining results are still read, so that
// the connection can be used again.
void PostgresDatabase::Collect(const std::string& sql, DBResult_tag& rows) {
    std::string failure;
    bool newStatement = true;
    while (const Result result = NextResult()) {
        const ExecStatusType status = PQresultStatus(result.get());
        if (status == PGRES_SINGLE_TUPLE || status == PGRES_TUPLES_OK) {
            try {
                if (newStatement && failure.empty()) {
                    rows.TakeColumns(ColumnNames(result.get()));
                }
                if (status == PGRES_SINGLE_TUPLE && failure.empty()) {
                    AppendRow(result.get(), rows);
                }
            } catch (const std::exception& error) {
                failure = error.what();
            }
            newStatement = status == PGRES_TUPLES_OK;
        } else if (status != PGRES_COMMAND_OK && status != PGRES_EMPTY_QUERY && failure.empty()) {
            failure = Reason(result.get());
        }
    }
    if (PQstatus(m_connection.get()) != CONNECTION_OK) {
        FailConnection("run " + Excerpt(sql.c_str()));
    }
    if (!failure.empty()) {
        throw Error(m_name + ": can't run " + Excerpt(sql.c_str()) + ": " + failure);
    }
}

// Returns null after the last result.
PostgresDatabase::Result PostgresDatabase::NextResult() {
    while (PQisBusy(m_connection.get()) != 0) {
        AwaitServer(POLLIN);
        if (PQconsumeInput(m_connection.get()) == 0) {
            FailConnection("read its answer");
        }
    }
    return Result(PQgetResult(m_connection.get()));
}

void PostgresDatabase::AwaitServer(short events) {
    const Deadline deadline = Deadline::In(m_answerTimeout);
    struct pollfd server = {PQsocket(m_connection.get()), events, 0};
    const int ready = Uninterrupted([&] { return poll(&server, 1, deadline.LeftMs()); });
    if (ready == 0) {
        m_connection.reset();
        LeaveAlone(m_settings.dsn, m_answerTimeout);
        throw Error(m_name + ": no response from the server");
    }
    if (ready < 0) {
        FailConnection("wait for its answer");
    }
}

// Closes the connection.
void PostgresDatabase::FailConnection(const std::string& attempted) {
    const std::string reason =
        OneLine(WithoutOptionValues(PQerrorMessage(m_connection.get()), m_settings.dsn));
    m_connection.reset();
    throw Error(m_name + ": can't " + attempted + ": " + reason);
}

void PostgresDatabase::Close::operator()(pg_conn* connection) const {
    PQfinish(connection);
}

void PostgresDatabase::Clear::operator()(pg_result* result) const {
    PQclear(result);
}

} // namespace recorder
