#include "platform/logging.h"
#include "tests/contract/support/fixture.h"
#include "tests/contract/support/process.h"

#include <unistd.h>

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;

class LoggingNames : public contract::ContractTest {};
class LoggingLine : public contract::ContractTest {};
class LoggingConfiguration : public contract::ContractTest {};

void LogInfo(const std::string& text) {
    KRPrintf(LOG_TYPE_DEFAULT, Enum2String(LOG_CATEG_REINDEX), Enum2String(LOG_LEVEL_INFO),
             "source", 12, "Function", "%s\n", text.c_str());
}

// The configuration of this process as a text: "none", or the levels of some categories and of all
// processes.
std::string Configuration() {
    if (g_pDbgLogCfg == nullptr) {
        return "none";
    }
    std::string text = "recorder=" + std::to_string(g_pDbgLogCfg->categLevel[LOG_CATEG_RECORDER]) +
                       " reindex=" + std::to_string(g_pDbgLogCfg->categLevel[LOG_CATEG_REINDEX]) +
                       " other=" + std::to_string(g_pDbgLogCfg->categLevel[5]);
    for (const auto& [pid, level] : g_pDbgLogCfg->pidLevels) {
        text += " " + std::to_string(pid) + ":" + std::to_string(level);
    }
    return text;
}

const contract::Probe kConfiguration("log configuration", Configuration);

std::string LogWithoutALogFile() {
    LogInfo("this line is not written");
    return "survived";
}

const contract::Probe kLogWithoutALogFile("log that can't be written", LogWithoutALogFile);

TEST_F(LoggingNames, ExistForEveryCategory) {
    EXPECT_STREQ(Enum2String(LOG_CATEG_RECORDER), "recorder");
    EXPECT_STREQ(Enum2String(LOG_CATEG_REINDEX), "reindex");
}

TEST_F(LoggingNames, ExistForEveryLevel) {
    EXPECT_STREQ(Enum2String(LOG_LEVEL_ERROR), "error");
    EXPECT_STREQ(Enum2String(LOG_LEVEL_WARNING), "warning");
    EXPECT_STREQ(Enum2String(LOG_LEVEL_NOTICE), "notice");
    EXPECT_STREQ(Enum2String(LOG_LEVEL_INFO), "info");
    EXPECT_STREQ(Enum2String(LOG_LEVEL_DETAIL), "detail");
    EXPECT_STREQ(Enum2String(LOG_LEVEL_DEBUG), "debug");
    EXPECT_STREQ(Enum2String(LOG_LEVEL_TRACE), "trace");
}

TEST_F(LoggingNames, AreUnknownForOtherNumbers) {
    EXPECT_STREQ(Enum2String(static_cast<LOG_CATEG>(0)), "unknown");
    EXPECT_STREQ(Enum2String(static_cast<LOG_CATEG>(63)), "unknown");
    EXPECT_STREQ(Enum2String(static_cast<LOG_LEVEL>(0)), "unknown");
    EXPECT_STREQ(Enum2String(static_cast<LOG_LEVEL>(7 + 1)), "unknown");
}

TEST_F(LoggingLine, ContainsCategoryLevelSourceAndMessage) {
    LogInfo("the message");

    ASSERT_EQ(world::Log().size(), 1U);
    EXPECT_THAT(world::Log().front(),
                AllOf(HasSubstr("reindex"), HasSubstr("info"), HasSubstr("source"), HasSubstr("12"),
                      HasSubstr("Function"), HasSubstr("the message")));
}

TEST_F(LoggingLine, IsFormattedLikePrintf) {
    KRPrintf(LOG_TYPE_DEFAULT, "a", "b", "source", 1, "Function", "%d %s %03u\n", -1, "x", 7U);

    EXPECT_THAT(world::Log(), ElementsAre(HasSubstr("-1 x 007")));
}

TEST_F(LoggingLine, NeedsNeitherCategoryNorLevel) {
    KRPrintf(LOG_TYPE_DEFAULT, nullptr, nullptr, "source", 1, "Function", "plain\n");

    EXPECT_THAT(world::Log(), ElementsAre(HasSubstr("plain")));
}

TEST_F(LoggingLine, StaysOneLineIfAnArgumentContainsNewlines) {
    LogInfo("first\nsecond\r\nthird");

    ASSERT_EQ(world::Log().size(), 1U);
    EXPECT_THAT(world::Log().front(), AllOf(HasSubstr("first"), HasSubstr("third")));
}

TEST_F(LoggingLine, ContainsNoControlCharacters) {
    std::string controls = "\x7f";
    for (char c = 1; c < 0x20; ++c) {
        controls += c;
    }

    LogInfo("<" + controls + ">");

    ASSERT_EQ(world::Log().size(), 1U);
    for (const char c : controls) {
        EXPECT_EQ(world::Log().front().find(c), std::string::npos) << static_cast<int>(c);
    }
}

TEST_F(LoggingLine, CanBeOfAnyLength) {
    const std::string text(100'000, 'x');

    LogInfo(text);

    EXPECT_THAT(world::Log(), ElementsAre(HasSubstr(text)));
}

TEST_F(LoggingLine, DoesNotFormatItsArgumentsAgain) {
    LogInfo("100%s {} %n");

    EXPECT_THAT(world::Log(), ElementsAre(HasSubstr("100%s {} %n")));
}

TEST_F(LoggingLine, SurvivesTheDeathOfItsProcess) {
    contract::Gate logged;
    contract::Child child([&] {
        LogInfo("the last line");
        logged.Open();
        return pause();
    });
    ASSERT_TRUE(logged.Await());

    child.Kill();

    EXPECT_THAT(world::Log(), ElementsAre(HasSubstr("the last line")));
}

TEST_F(LoggingLine, IsNotPrintedOnTheTerminal) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();

    LogInfo("quiet");

    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(LoggingLine, DoesNotFailTheCallerIfItCantBeWritten) {
    world::MakeLogUnwritable();

    EXPECT_EQ(kLogWithoutALogFile.Run(), "survived");
}

TEST_F(LoggingConfiguration, IsNullUnlessTheSettingsContainOne) {
    EXPECT_EQ(kConfiguration.Run(), "none");
    world::PutSettings("[log]\nold_files = 1\n");
    EXPECT_EQ(kConfiguration.Run(), "none");
}

TEST_F(LoggingConfiguration, ContainsTheLevelsOfTheSettings) {
    world::PutSettings("[debug_log]\nreindex = 6\nprocesses = [{pid = 42, level = 7}, "
                       "{pid = 42, level = 1}]\n");

    EXPECT_EQ(kConfiguration.Run(), "recorder=0 reindex=6 other=0 42:7 42:1");
}

TEST_F(LoggingConfiguration, ExistsEvenIfItIsEmpty) {
    world::PutSettings("[debug_log]\n");

    EXPECT_EQ(kConfiguration.Run(), "recorder=0 reindex=0 other=0");
}

TEST_F(LoggingConfiguration, HasNoProcessIdAtFirst) {
    EXPECT_EQ(g_DbgLogPid, 0);
}

} // namespace
