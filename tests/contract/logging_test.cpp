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

void Say(const std::string& text) {
    KRPrintf(LOG_TYPE_DEFAULT, Enum2String(LOG_CATEG_REINDEX), Enum2String(LOG_LEVEL_INFO),
             "source", 12, "Function", "%s\n", text.c_str());
}

// The configuration as the process has it: "none", or levels that the tests ask for.
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

std::string SayNowhere() {
    Say("nobody hears this");
    return "survived";
}

const contract::Probe kSayNowhere("log that can't be written", SayNowhere);

TEST_F(LoggingNames, NamesEveryCategory) {
    EXPECT_STREQ(Enum2String(LOG_CATEG_RECORDER), "recorder");
    EXPECT_STREQ(Enum2String(LOG_CATEG_REINDEX), "reindex");
}

TEST_F(LoggingNames, NamesEveryLevel) {
    EXPECT_STREQ(Enum2String(LOG_LEVEL_ERROR), "error");
    EXPECT_STREQ(Enum2String(LOG_LEVEL_WARNING), "warning");
    EXPECT_STREQ(Enum2String(LOG_LEVEL_NOTICE), "notice");
    EXPECT_STREQ(Enum2String(LOG_LEVEL_INFO), "info");
    EXPECT_STREQ(Enum2String(LOG_LEVEL_DETAIL), "detail");
    EXPECT_STREQ(Enum2String(LOG_LEVEL_DEBUG), "debug");
    EXPECT_STREQ(Enum2String(LOG_LEVEL_TRACE), "trace");
}

TEST_F(LoggingNames, CallsANumberWithoutANameUnknown) {
    EXPECT_STREQ(Enum2String(static_cast<LOG_CATEG>(0)), "unknown");
    EXPECT_STREQ(Enum2String(static_cast<LOG_CATEG>(63)), "unknown");
    EXPECT_STREQ(Enum2String(static_cast<LOG_LEVEL>(0)), "unknown");
    EXPECT_STREQ(Enum2String(static_cast<LOG_LEVEL>(7 + 1)), "unknown");
}

TEST_F(LoggingLine, HoldsEverythingThatWasTold) {
    Say("the message");

    ASSERT_EQ(world::Log().size(), 1U);
    EXPECT_THAT(world::Log().front(),
                AllOf(HasSubstr("reindex"), HasSubstr("info"), HasSubstr("source"), HasSubstr("12"),
                      HasSubstr("Function"), HasSubstr("the message")));
}

TEST_F(LoggingLine, IsFilledAsPrintfDoes) {
    KRPrintf(LOG_TYPE_DEFAULT, "a", "b", "source", 1, "Function", "%d %s %03u\n", -1, "x", 7U);

    EXPECT_THAT(world::Log(), ElementsAre(HasSubstr("-1 x 007")));
}

TEST_F(LoggingLine, NeedsNeitherCategoryNorLevel) {
    KRPrintf(LOG_TYPE_DEFAULT, nullptr, nullptr, "source", 1, "Function", "plain\n");

    EXPECT_THAT(world::Log(), ElementsAre(HasSubstr("plain")));
}

TEST_F(LoggingLine, IsOneLineWhateverTheArgumentsHold) {
    Say("first\nsecond\r\nthird");

    ASSERT_EQ(world::Log().size(), 1U);
    EXPECT_THAT(world::Log().front(), AllOf(HasSubstr("first"), HasSubstr("third")));
}

TEST_F(LoggingLine, EscapesEveryControlCharacter) {
    std::string controls = "\x7f";
    for (char c = 1; c < 0x20; ++c) {
        controls += c;
    }

    Say("<" + controls + ">");

    ASSERT_EQ(world::Log().size(), 1U);
    for (const char c : controls) {
        EXPECT_EQ(world::Log().front().find(c), std::string::npos) << static_cast<int>(c);
    }
}

TEST_F(LoggingLine, HasNoLimitOfLength) {
    const std::string text(100'000, 'x');

    Say(text);

    EXPECT_THAT(world::Log(), ElementsAre(HasSubstr(text)));
}

TEST_F(LoggingLine, IsNeverFilledTwice) {
    Say("100%s {} %n");

    EXPECT_THAT(world::Log(), ElementsAre(HasSubstr("100%s {} %n")));
}

TEST_F(LoggingLine, IsInTheLogWhenTheProcessIsKilled) {
    contract::Gate said;
    contract::Child child([&] {
        Say("last words");
        said.Open();
        return pause();
    });
    ASSERT_TRUE(said.Await());

    child.Kill();

    EXPECT_THAT(world::Log(), ElementsAre(HasSubstr("last words")));
}

TEST_F(LoggingLine, StaysOffTheTerminal) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();

    Say("quiet");

    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(LoggingLine, IsNoFailureOfTheCallersWhenItCantBeWritten) {
    world::SpoilLog();

    EXPECT_EQ(kSayNowhere.Run(), "survived");
}

TEST_F(LoggingConfiguration, IsNullWhenTheOperatorSetNone) {
    EXPECT_EQ(kConfiguration.Run(), "none");
    world::PutSettings("[log]\nold_files = 1\n");
    EXPECT_EQ(kConfiguration.Run(), "none");
}

TEST_F(LoggingConfiguration, HasTheLevelsOfTheSettings) {
    world::PutSettings("[debug_log]\nreindex = 6\nprocesses = [{pid = 42, level = 7}, "
                       "{pid = 42, level = 1}]\n");

    EXPECT_EQ(kConfiguration.Run(), "recorder=0 reindex=6 other=0 42:7 42:1");
}

TEST_F(LoggingConfiguration, IsInForceWhenItIsEmpty) {
    world::PutSettings("[debug_log]\n");

    EXPECT_EQ(kConfiguration.Run(), "recorder=0 reindex=0 other=0");
}

TEST_F(LoggingConfiguration, BeginsWithoutAProcessId) {
    EXPECT_EQ(g_DbgLogPid, 0);
}

} // namespace
