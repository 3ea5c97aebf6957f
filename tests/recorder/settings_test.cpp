#include "recorder/settings/settings.h"

#include "tests/recorder/support/failure.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Pair;
using testing::StartsWith;

recorder::Settings Parse(const std::string& toml) {
    return recorder::ParseSettings(toml, "/etc/some.toml");
}

std::string Refusal(const std::string& toml) {
    return support::FailureOf([&] { (void)Parse(toml); });
}

TEST(Settings, HaveAllTheirProblemsReportedInTheOrderOfTheLines) {
    EXPECT_THAT(recorder::ProblemsInSettings("typo = 1\n"
                                             "[notifications]\n"
                                             "host = 'a b'\n"
                                             "tls = 7\n"
                                             "user = 'u'\n"
                                             "timeout_ms = 'soon'\n"
                                             "[database]\n"
                                             "dsn = 'mysql://x'\n"
                                             "schema = 'UPPER'\n"
                                             "[log]\n"
                                             "old_files = 1000\n"
                                             "size = 3\n",
                                             "f"),
                ElementsAre(StartsWith("f:1: unknown key typo; expected one of "),
                            StartsWith("f:3: notifications.host: expected "),
                            StartsWith("f:4: notifications.tls: expected true or false"),
                            StartsWith("f:6: notifications.timeout_ms: expected an integer"),
                            StartsWith("f:8: database.dsn: expected "),
                            StartsWith("f:9: database.schema: expected "),
                            StartsWith("f:11: log.old_files: expected an integer"),
                            StartsWith("f:12: unknown key log.size; expected one of ")));
    EXPECT_THAT(recorder::ProblemsInSettings("[log\n", "f"), ElementsAre(StartsWith("f:1: ")));
    EXPECT_THAT(recorder::ProblemsInSettings("", "f"), testing::IsEmpty());
}

TEST(Settings, HaveDefaults) {
    const recorder::Settings settings = Parse("");

    EXPECT_EQ(settings.log.maxSizeMib, 10U);
    EXPECT_EQ(settings.log.oldFiles, 5U);
    EXPECT_EQ(settings.database.lockTimeoutMs, 10000);
    EXPECT_FALSE(settings.database.postgres.has_value());
    EXPECT_EQ(settings.ledger.keepDays, 90);
    EXPECT_FALSE(settings.notifications.broker.has_value());
    EXPECT_EQ(settings.snapshot.folder, "/var/packages/Kestora/var/snapshot");
    EXPECT_TRUE(settings.backup.folders.empty());
    EXPECT_EQ(settings.backup.keep, 7U);
    EXPECT_FALSE(settings.backup.afterRun);
    EXPECT_FALSE(settings.ahead.helpers.has_value());
    EXPECT_FALSE(settings.debugLog.has_value());
}

TEST(Settings, NameOneFolderForBackupsOrSeveral) {
    EXPECT_THAT(Parse("[backup]\nfolder = '/a/'\n").backup.folders, ElementsAre("/a"));
    EXPECT_THAT(Parse("[backup]\nfolder = ['/a', '/b']\n").backup.folders, ElementsAre("/a", "/b"));
    EXPECT_THAT(Refusal("[backup]\nfolder = ['/a', 'b']\n"), HasSubstr("absolute paths"));
    EXPECT_THAT(Refusal("[backup]\nfolder = ['/a', 7]\n"), HasSubstr("absolute paths"));
    EXPECT_THAT(Refusal("[backup]\nfolder = 'b'\n"), HasSubstr("absolute path"));
}

TEST(Settings, KeepAtLeastOneBackup) {
    const recorder::Settings settings = Parse("[backup]\nkeep = 1\nafter_run = true\n");

    EXPECT_EQ(settings.backup.keep, 1U);
    EXPECT_TRUE(settings.backup.afterRun);
    EXPECT_THAT(Refusal("[backup]\nkeep = 0\n"), HasSubstr("1 to 10000"));
}

TEST(Settings, LetHelpersBeAutomaticOrANumberOfThem) {
    EXPECT_EQ(Parse("[ahead]\nhelpers = 'auto'\n").ahead.helpers, std::nullopt);
    EXPECT_EQ(Parse("[ahead]\nhelpers = 0\n").ahead.helpers, 0);
    EXPECT_EQ(Parse("[ahead]\nhelpers = 64\n").ahead.helpers, 64);
    for (const char* const value : {"65", "-1", "'automatic'", "''", "true", "1.5", "['auto']"}) {
        EXPECT_THAT(Refusal(std::string("[ahead]\nhelpers = ") + value + "\n"),
                    HasSubstr("ahead.helpers: expected \"auto\" or a whole number from 0 to 64"))
            << value;
    }
}

TEST(Settings, AcceptEveryKey) {
    const recorder::Settings settings = Parse("[log]\n"
                                              "max_size_mib = 7\n"
                                              "old_files = 0\n"
                                              "[database]\n"
                                              "lock_timeout_ms = 250\n"
                                              "dsn = 'postgresql://a,b/kestora'\n"
                                              "schema = 'recorder_7'\n"
                                              "password_file = '/etc/secret'\n"
                                              "connect_timeout_s = 9\n"
                                              "statement_timeout_ms = 800\n"
                                              "[ledger]\n"
                                              "keep_days = 30\n"
                                              "[snapshot]\n"
                                              "folder = '/volume2/snap'\n"
                                              "[debug_log]\n"
                                              "reindex = 7\n"
                                              "[[debug_log.processes]]\n"
                                              "pid = 12\n"
                                              "level = 0\n");

    EXPECT_EQ(settings.log.maxSizeMib, 7U);
    EXPECT_EQ(settings.log.oldFiles, 0U);
    EXPECT_EQ(settings.database.lockTimeoutMs, 250);
    ASSERT_TRUE(settings.database.postgres.has_value());
    EXPECT_EQ(settings.database.postgres->dsn, "postgresql://a,b/kestora");
    EXPECT_EQ(settings.database.postgres->schema, "recorder_7");
    EXPECT_EQ(settings.database.postgres->passwordFile, "/etc/secret");
    EXPECT_EQ(settings.database.postgres->connectTimeoutS, 9);
    EXPECT_EQ(settings.database.postgres->statementTimeoutMs, 800);
    EXPECT_EQ(settings.ledger.keepDays, 30);
    EXPECT_EQ(settings.snapshot.folder, "/volume2/snap");
    ASSERT_TRUE(settings.debugLog.has_value());
    EXPECT_EQ(settings.debugLog->categLevel.at(LOG_CATEG_RECORDER), 0);
    EXPECT_EQ(settings.debugLog->categLevel.at(LOG_CATEG_REINDEX), 7);
    EXPECT_THAT(settings.debugLog->pidLevels, ElementsAre(Pair(12, 0)));
}

TEST(Settings, AcceptEveryKeyOfABroker) {
    const recorder::Settings settings = Parse("[notifications]\n"
                                              "host = 'broker.example'\n"
                                              "port = 8884\n"
                                              "tls = true\n"
                                              "ca_file = '/etc/ca.crt'\n"
                                              "user = 'recorder'\n"
                                              "password_file = '/etc/secret'\n"
                                              "client_id = 'nvr 7'\n"
                                              "topic_prefix = 'house/nvr'\n"
                                              "timeout_ms = 700\n"
                                              "publish_timeout_ms = 9000\n");

    ASSERT_TRUE(settings.notifications.broker.has_value());
    const recorder::BrokerSettings& broker = *settings.notifications.broker;
    EXPECT_EQ(broker.host, "broker.example");
    EXPECT_EQ(broker.port, 8884);
    EXPECT_TRUE(broker.tls);
    EXPECT_EQ(broker.caFile, "/etc/ca.crt");
    EXPECT_EQ(broker.user, "recorder");
    EXPECT_EQ(broker.passwordFile, "/etc/secret");
    EXPECT_EQ(broker.clientId, "nvr 7");
    EXPECT_EQ(broker.topicPrefix, "house/nvr");
    EXPECT_EQ(broker.timeoutMs, 700);
    EXPECT_EQ(broker.publishTimeoutMs, 9000);
}

TEST(Settings, OfABrokerRequireOnlyItsHost) {
    const recorder::Settings settings = Parse("notifications.host = '::1'");

    ASSERT_TRUE(settings.notifications.broker.has_value());
    const recorder::BrokerSettings& broker = *settings.notifications.broker;
    EXPECT_EQ(broker.host, "::1");
    EXPECT_EQ(broker.port, 1883);
    EXPECT_FALSE(broker.tls);
    EXPECT_FALSE(broker.caFile.has_value());
    EXPECT_FALSE(broker.user.has_value());
    EXPECT_FALSE(broker.passwordFile.has_value());
    EXPECT_FALSE(broker.clientId.has_value());
    EXPECT_EQ(broker.topicPrefix, "kestora");
    EXPECT_EQ(broker.timeoutMs, 5000);
    EXPECT_EQ(broker.publishTimeoutMs, 15000);
}

TEST(Settings, OfABrokerAllowPublishingForThreeTimeOutsByDefault) {
    EXPECT_EQ(Parse("notifications = { host = 'a', timeout_ms = 700 }")
                  .notifications.broker->publishTimeoutMs,
              2100);
    EXPECT_EQ(Parse("notifications = { host = 'a', timeout_ms = 600000 }")
                  .notifications.broker->publishTimeoutMs,
              1800000);
}

TEST(Settings, OfABrokerWithTlsDefaultToThePortOfTls) {
    EXPECT_EQ(Parse("notifications = { host = 'a', tls = true }").notifications.broker->port, 8883);
}

// MQTT has users without a password.
TEST(Settings, AcceptAUserWithoutAPassword) {
    EXPECT_EQ(Parse("notifications = { host = 'a', user = 'b' }").notifications.broker->user, "b");
}

TEST(Settings, RemoveTrailingSlashesFromAFolder) {
    EXPECT_EQ(Parse("snapshot.folder = '/a/b//'").snapshot.folder, "/a/b");
    EXPECT_EQ(Parse("snapshot.folder = '/'").snapshot.folder, "/");
}

TEST(Settings, AcceptTheLimitsOfEveryNumber) {
    EXPECT_EQ(Parse("log.max_size_mib = 1").log.maxSizeMib, 1U);
    EXPECT_EQ(Parse("log.max_size_mib = 1024").log.maxSizeMib, 1024U);
    EXPECT_EQ(Parse("log.old_files = 100").log.oldFiles, 100U);
    EXPECT_EQ(Parse("database.lock_timeout_ms = 0").database.lockTimeoutMs, 0);
    EXPECT_EQ(Parse("database.lock_timeout_ms = 600000").database.lockTimeoutMs, 600000);
    EXPECT_EQ(Parse("debug_log.processes = [{pid = 2147483647, level = 7}]")
                  .debugLog->pidLevels.front()
                  .first,
              2147483647);
}

struct Refused {
    const char* toml;
    int line;
    const char* key;
    const char* expectation;

    friend void PrintTo(const Refused& refused, std::ostream* out) {
        *out << testing::PrintToString(std::string(refused.toml));
    }
};

class SettingsRefusal : public testing::TestWithParam<Refused> {};

TEST_P(SettingsRefusal, NamesFileLineKeyAndExpectation) {
    EXPECT_THAT(Refusal(GetParam().toml),
                AllOf(StartsWith("/etc/some.toml:" + std::to_string(GetParam().line) + ": "),
                      HasSubstr(GetParam().key), HasSubstr(GetParam().expectation)));
}

INSTANTIATE_TEST_SUITE_P(
    OfNumbers, SettingsRefusal,
    testing::Values(
        Refused{"[log]\nmax_size_mib = 0\n", 2, "log.max_size_mib", "an integer from 1 to 1024"},
        Refused{"[log]\n\nmax_size_mib = 1025\n", 3, "log.max_size_mib", "from 1 to 1024"},
        Refused{"[log]\nmax_size_mib = '7'\n", 2, "log.max_size_mib", "from 1 to 1024"},
        Refused{"[log]\nmax_size_mib = 7.0\n", 2, "log.max_size_mib", "from 1 to 1024"},
        Refused{"[log]\nold_files = -1\n", 2, "log.old_files", "an integer from 0 to 100"},
        Refused{"[log]\nold_files = 101\n", 2, "log.old_files", "from 0 to 100"},
        Refused{"[log]\nold_files = true\n", 2, "log.old_files", "from 0 to 100"},
        Refused{"[database]\nlock_timeout_ms = -1\n", 2, "database.lock_timeout_ms",
                "an integer from 0 to 600000"},
        Refused{"[database]\nlock_timeout_ms = 600001\n", 2, "database.lock_timeout_ms",
                "from 0 to 600000"},
        Refused{"# comment\n[database]\n\nlock_timeout_ms = \"10\"\n", 4,
                "database.lock_timeout_ms", "an integer from 0 to 600000"},
        Refused{"[debug_log]\nreindex = 8\n", 2, "debug_log.reindex", "an integer from 0 to 7"},
        Refused{"[debug_log]\nreindex = 'debug'\n", 2, "debug_log.reindex", "from 0 to 7"}));

// libpq would treat a part of the password as a port, a host or a database, and quote it.
TEST(Settings, RefuseADsnThatMayContainAPasswordWithoutQuotingIt) {
    for (const char* const dsn : {"postgresql://u:sesame@h/d",
                                  "postgresql://u:@h/d",
                                  "postgresql://u%3asesame@h/d",
                                  "postgresql://u%3Asesame@h/d",
                                  "postgresql://u:sesame",
                                  "postgresql://u:ses/ame@h/d",
                                  "postgresql://u:/sesame@h/d",
                                  "postgresql://u:sesame?@h/d",
                                  "postgresql://u:s@same@h/d",
                                  "postgresql://u:%zzsesame@h/d",
                                  "postgresql://u:sesame%0@h/d",
                                  "postgresql://%00sesame@h",
                                  "postgresql://u@[sesame/d",
                                  "postgresql://u@[::1:sesame]/d",
                                  "postgresql://u%3asesame/d",
                                  "postgresql://u%3Asesame/d",
                                  "postgresql://u@[::1]sesame/d",
                                  "postgresql://u@h:1,h:sesame",
                                  "postgresql://u@h/d:sesame",
                                  "postgresql://u@h/d password=sesame",
                                  "postgresql://u@h/d\tsesame",
                                  "postgresql://h/d?sesame",
                                  "postgresql://h/d?a=b=sesame",
                                  "postgresql://h/d?password=sesame",
                                  "postgresql://h/d?%70assword=sesame",
                                  "postgresql://h/d?sslpassword=sesame",
                                  "postgresql://h/d?oauth_client_secret=sesame",
                                  "postgresql://h/d?passfile=/sesame",
                                  "postgresql://h/d?service=sesame",
                                  "postgresql://h/d?port=sesame",
                                  "postgresql://h/d?user=u@sesame",
                                  "postgresql:sesame"}) {
        EXPECT_THAT(Refusal("[database]\ndsn = \"" + std::string(dsn) + "\"\n"),
                    AllOf(StartsWith("/etc/some.toml:2: database.dsn: expected postgresql://"),
                          HasSubstr("password_file"), Not(HasSubstr("ses"))))
            << dsn;
    }
}

TEST(Settings, AcceptEveryOtherDsn) {
    for (const char* const dsn :
         {"postgresql://", "postgres://u@", "postgresql://u@h:5432/d?sslmode=verify-full",
          "postgresql://u%40a@h1,h2:1/d%2f1", "postgresql://[::1]:5432,[fe80::2]/d",
          "postgresql:///d?host=/run/a,/run/b&port=1,2&options=-c%20jit%3doff", "postgresql://h/d?",
          "postgresql://h?sslrootcert=/etc/ssl/ca.pem&sslkey=/etc/ssl/k.pem"}) {
        EXPECT_EQ(Parse("[database]\ndsn = '" + std::string(dsn) + "'\n").database.postgres->dsn,
                  dsn);
    }
}

INSTANTIATE_TEST_SUITE_P(
    OfFolders, SettingsRefusal,
    testing::Values(Refused{"[snapshot]\nfolder = 'a/b'\n", 2, "snapshot.folder",
                            "an absolute path"},
                    Refused{"[snapshot]\nfolder = ''\n", 2, "snapshot.folder", "an absolute path"},
                    Refused{"[snapshot]\nfolder = 7\n", 2, "snapshot.folder", "an absolute path"},
                    Refused{"[snapshot]\nfolder = \"/a\\u0000b\"\n", 2, "snapshot.folder",
                            "an absolute path"}));

INSTANTIATE_TEST_SUITE_P(
    OfPostgres, SettingsRefusal,
    testing::Values(Refused{"[database]\ndsn = 'mysql://a'\n", 2, "database.dsn", "postgresql://"},
                    Refused{"[database]\ndsn = 7\n", 2, "database.dsn", "postgresql://"},
                    Refused{"[database]\nschema = 'a'\n", 2, "unknown key database.schema",
                            "expected one of dsn, lock_timeout_ms"},
                    Refused{"[database]\ndsn = 'postgresql://'\nschema = 'A'\n", 3,
                            "database.schema", "a lower-case letter"},
                    Refused{"[database]\ndsn = 'postgresql://'\nschema = 'a;b'\n", 3,
                            "database.schema", "a lower-case letter"},
                    Refused{"[database]\ndsn = 'postgresql://'\nschema = 'pg_a'\n", 3,
                            "database.schema", "not pg_"},
                    Refused{"[database]\ndsn = 'postgresql://'\npassword_file = 'a'\n", 3,
                            "database.password_file", "an absolute path"},
                    Refused{"[database]\ndsn = 'postgresql://'\nconnect_timeout_s = 1\n", 3,
                            "database.connect_timeout_s", "an integer from 2 to 60"},
                    Refused{"[database]\ndsn = 'postgresql://'\nstatement_timeout_ms = 0\n", 3,
                            "database.statement_timeout_ms", "an integer from 1 to 3600000"},
                    Refused{"[ledger]\nkeep_days = 0\n", 2, "ledger.keep_days",
                            "an integer from 1 to 36500"}));

INSTANTIATE_TEST_SUITE_P(
    OfBrokers, SettingsRefusal,
    testing::Values(
        Refused{"[notifications]\nhost = 'mqtt://a'\n", 2, "notifications.host", "of a host"},
        Refused{"[notifications]\nhost = 'a b'\n", 2, "notifications.host", "of a host"},
        Refused{"[notifications]\nhost = ''\n", 2, "notifications.host", "of a host"},
        Refused{"[notifications]\nport = 1883\n", 2, "unknown key notifications.port",
                "expected one of host"},
        Refused{"[notifications]\nhost = 'a'\nport = 0\n", 3, "notifications.port",
                "an integer from 1 to 65535"},
        Refused{"[notifications]\nhost = 'a'\nport = 65536\n", 3, "notifications.port",
                "an integer from 1 to 65535"},
        Refused{"[notifications]\nhost = 'a'\ntls = 1\n", 3, "notifications.tls", "true or false"},
        Refused{"[notifications]\nhost = 'a'\nca_file = '/b'\n", 3,
                "unknown key notifications.ca_file", "expected one of"},
        Refused{"[notifications]\nhost = 'a'\ntls = true\nca_file = 'b'\n", 4,
                "notifications.ca_file", "an absolute path"},
        Refused{"[notifications]\nhost = 'a'\npassword_file = '/b'\n", 3,
                "unknown key notifications.password_file", "expected one of"},
        Refused{"[notifications]\nhost = 'a'\nuser = 'b'\npassword_file = 'c'\n", 4,
                "notifications.password_file", "an absolute path"},
        Refused{"[notifications]\nhost = 'a'\nuser = 'b'\npassword = 'c'\n", 4,
                "unknown key notifications.password", "expected one of"},
        Refused{"[notifications]\nhost = 'a'\nuser = \"b\\nc\"\n", 3, "notifications.user",
                "one line"},
        Refused{"[notifications]\nhost = 'a'\nclient_id = ''\n", 3, "notifications.client_id",
                "one line"},
        Refused{"[notifications]\nhost = 'a'\ntimeout_ms = 0\n", 3, "notifications.timeout_ms",
                "an integer from 1 to 600000"},
        Refused{"[notifications]\nhost = 'a'\ntimeout_ms = 600001\n", 3, "notifications.timeout_ms",
                "an integer from 1 to 600000"},
        Refused{"[notifications]\nhost = 'a'\npublish_timeout_ms = 0\n", 3,
                "notifications.publish_timeout_ms", "an integer from 1 to 1800000"},
        Refused{"[notifications]\nhost = 'a'\npublish_timeout_ms = 1800001\n", 3,
                "notifications.publish_timeout_ms", "an integer from 1 to 1800000"}));

class SettingsTopicPrefix : public testing::TestWithParam<const char*> {};

TEST_P(SettingsTopicPrefix, IsRefusedIfItIsInvalid) {
    const std::string refusal = Refusal("[notifications]\nhost = 'a'\ntopic_prefix = \"" +
                                        std::string(GetParam()) + "\"\n");

    EXPECT_THAT(refusal, AllOf(StartsWith("/etc/some.toml:3: notifications.topic_prefix: "),
                               HasSubstr("a topic without")));
}

INSTANTIATE_TEST_SUITE_P(Texts, SettingsTopicPrefix,
                         testing::Values("", "a/+", "#", "/a", "a/", "$SYS", "a\\nb"));

INSTANTIATE_TEST_SUITE_P(
    OfProcesses, SettingsRefusal,
    testing::Values(
        Refused{"[debug_log]\nprocesses = 7\n", 2, "debug_log.processes", "an array of sections"},
        Refused{"[debug_log]\nprocesses = [7]\n", 2, "debug_log.processes", "an array of sections"},
        Refused{"[[debug_log.processes]]\nlevel = 1\n", 1, "debug_log.processes.pid",
                "an integer from 1 to 2147483647, but it is missing"},
        Refused{"[[debug_log.processes]]\npid = 1\n", 1, "debug_log.processes.level",
                "an integer from 0 to 7, but it is missing"},
        Refused{"[[debug_log.processes]]\npid = 0\nlevel = 1\n", 2, "debug_log.processes.pid",
                "an integer from 1 to 2147483647"},
        Refused{"[[debug_log.processes]]\npid = 1\nlevel = 1\nname = 'x'\n", 4,
                "debug_log.processes.name", "expected one of level, pid"}));

INSTANTIATE_TEST_SUITE_P(
    OfTheForm, SettingsRefusal,
    testing::Values(Refused{"\ncolour = 1\n", 2, "unknown key colour",
                            "expected one of ahead, backup, database, debug_log, ledger, log, "
                            "notifications, snapshot"},
                    Refused{"[logg]\nold_files = 3\n", 1, "unknown key logg",
                            "expected one of ahead, backup, database, debug_log, ledger, log, "
                            "notifications, snapshot"},
                    Refused{"[log]\nmax_size = 1\n", 2, "unknown key log.max_size",
                            "expected one of max_size_mib, old_files"},
                    Refused{"[database]\ntimeout = 1\n", 2, "unknown key database.timeout",
                            "expected one of dsn, lock_timeout_ms"},
                    Refused{"[snapshot]\ndir = '/a'\n", 2, "unknown key snapshot.dir",
                            "expected one of folder"},
                    Refused{"[debug_log]\nunknown = 1\n", 2, "unknown key debug_log.unknown",
                            "expected one of processes, reindex"},
                    Refused{"log = 7\n", 1, "log", "a section"},
                    Refused{"database = []\n", 1, "database", "a section"},
                    Refused{"notifications = true\n", 1, "notifications", "a section"},
                    Refused{"snapshot = 'x'\n", 1, "snapshot", "a section"},
                    Refused{"debug_log = 1.5\n", 1, "debug_log", "a section"},
                    // The recorder's own lines are always written, so its category has no level.
                    Refused{"[debug_log]\nrecorder = 1\n", 2, "unknown key debug_log.recorder",
                            "expected one of processes, reindex"}));

struct SyntaxError {
    const char* text;
    int line;
};

class SettingsSyntaxError : public testing::TestWithParam<SyntaxError> {};

TEST_P(SettingsSyntaxError, IsReportedWithFileLineAndReason) {
    const std::string where = "/etc/some.toml:" + std::to_string(GetParam().line) + ": ";

    const std::string refusal = Refusal(GetParam().text);

    EXPECT_THAT(refusal, StartsWith(where));
    EXPECT_GT(refusal.size(), where.size());
}

INSTANTIATE_TEST_SUITE_P(Texts, SettingsSyntaxError,
                         testing::Values(SyntaxError{"[log]\n[log]\n", 2}, SyntaxError{"a = \n", 1},
                                         SyntaxError{"[log]\nold_files = = 3\n", 2},
                                         SyntaxError{"\n\n[log\n", 3},
                                         SyntaxError{"[log]\nold_files = 1\nold_files = 2\n", 3}));

// toml++ reads ahead of its parser, so the line is not reliable for invalid UTF-8.
TEST(Settings, NameTheFileIfTheTextIsNotUtf8) {
    EXPECT_THAT(Refusal("[log]\n\xff\xfe\n"),
                AllOf(StartsWith("/etc/some.toml:"), HasSubstr("utf-8")));
}

} // namespace
