#include "indexer/reindexlog.h"

#include "tests/unit/support/platformtest.h"

#include <unistd.h>

namespace unit {
namespace {

class LogGateTest : public PlatformTest {
protected:
    LogGateTest() { g_pDbgLogCfg = &m_cfg; }

    // The highest level that is logged; expects that all lower levels are logged, too.
    static int Threshold() {
        int threshold = 0;
        for (int level = LOG_LEVEL_ERROR; level <= LOG_LEVEL_TRACE; ++level) {
            const bool logged = KRIndex::IsLogged(static_cast<LOG_LEVEL>(level));
            EXPECT_EQ(logged, threshold == level - 1 && logged) << "gap below level " << level;
            threshold = logged ? level : threshold;
        }
        return threshold;
    }

    DbgLogCfg m_cfg;
    const pid_t m_self = getpid();
};

TEST_F(LogGateTest, WithoutConfigurationLevelsUpToThreePass) {
    LogUnconfigured();
    EXPECT_EQ(Threshold(), 3);
    EXPECT_EQ(g_DbgLogPid, 0);
}

TEST_F(LogGateTest, LevelOfTheCategoryIsTheThreshold) {
    for (int level = 0; level <= LOG_LEVEL_TRACE; ++level) {
        m_cfg.categLevel[48] = level;
        EXPECT_EQ(Threshold(), level);
    }
}

TEST_F(LogGateTest, LevelsOfOtherCategoriesDoNotMatter) {
    m_cfg.categLevel.fill(LOG_LEVEL_TRACE);
    m_cfg.categLevel[48] = 0;
    EXPECT_EQ(Threshold(), 0);
}

TEST_F(LogGateTest, WithConfigurationButNoEntryNothingPasses) {
    EXPECT_EQ(Threshold(), 0);
    m_cfg.pidLevels = {{m_self + 1, 7}};
    EXPECT_EQ(Threshold(), 0);
}

TEST_F(LogGateTest, EntryOfThisProcessIsAThreshold) {
    for (int level = 0; level <= LOG_LEVEL_TRACE; ++level) {
        m_cfg.pidLevels = {{m_self + 1, 7}, {m_self, level}};
        EXPECT_EQ(Threshold(), level);
    }
}

TEST_F(LogGateTest, FirstEntryOfThisProcessCounts) {
    m_cfg.pidLevels = {{m_self + 1, 6}, {m_self, 2}, {m_self, 7}};
    EXPECT_EQ(Threshold(), 2);
    m_cfg.pidLevels = {{m_self, 5}, {m_self, 1}};
    EXPECT_EQ(Threshold(), 5);
}

TEST_F(LogGateTest, HigherLevelOfCategoryAndProcessCounts) {
    m_cfg.categLevel[48] = 4;
    m_cfg.pidLevels = {{m_self, 2}};
    EXPECT_EQ(Threshold(), 4);
    m_cfg.pidLevels = {{m_self, 6}};
    EXPECT_EQ(Threshold(), 6);
}

TEST_F(LogGateTest, ProcessIdIsTakenOnFirstUseAndKept) {
    m_cfg.pidLevels = {{m_self, 7}};
    EXPECT_TRUE(KRIndex::IsLogged(LOG_LEVEL_TRACE));
    EXPECT_EQ(g_DbgLogPid, m_self);

    g_DbgLogPid = m_self + 1;
    EXPECT_FALSE(KRIndex::IsLogged(LOG_LEVEL_TRACE));
    EXPECT_EQ(g_DbgLogPid, m_self + 1);
}

TEST_F(LogGateTest, ArgumentsAreNotEvaluatedWhenTheGateIsClosed) {
    int evaluated = 0;
    m_cfg.categLevel[48] = LOG_LEVEL_INFO;

    REINDEX_LOG(LOG_LEVEL_DETAIL, "%d\n", ++evaluated);
    EXPECT_EQ(evaluated, 0);
    EXPECT_EQ(platform.FullTranscript(), "");

    REINDEX_LOG(LOG_LEVEL_INFO, "%d\n", ++evaluated);
    EXPECT_EQ(evaluated, 1);
    EXPECT_EQ(Messages(), Lines({Log("info", "reindexlogtest", "TestBody", "1\n")}));
}

TEST_F(LogGateTest, MessageContainsItsOrigin) {
    m_cfg.categLevel[48] = LOG_LEVEL_TRACE;
    const int before = __LINE__;
    REINDEX_LOG(LOG_LEVEL_WARNING, "text %s\n", "argument");

    ASSERT_EQ(platform.messages.size(), 1U);
    const fakes::Message& message = platform.messages[0];
    EXPECT_EQ(message.type, 0);
    EXPECT_EQ(message.categ, "reindex");
    EXPECT_EQ(message.level, "warning");
    EXPECT_EQ(message.file, "reindexlogtest");
    EXPECT_EQ(message.line, before + 1);
    EXPECT_EQ(message.func, "TestBody");
    EXPECT_EQ(message.text, "text argument\n");
}

TEST_F(LogGateTest, NamesOfCategoryAndLevelAreRequestedByNumber) {
    m_cfg.categLevel[48] = LOG_LEVEL_TRACE;
    REINDEX_LOG(LOG_LEVEL_DEBUG, "\n");
    EXPECT_EQ(platform.LinesOf("Enum2String<LOG_CATEG>"), "Enum2String<LOG_CATEG>(48)\n");
    EXPECT_EQ(platform.LinesOf("Enum2String<LOG_LEVEL>"), "Enum2String<LOG_LEVEL>(6)\n");
}

TEST_F(LogGateTest, MessagesWithoutALevelAreAlwaysWritten) {
    REINDEX_LOG_ALWAYS("%d\n", 5);
    LogUnconfigured();
    REINDEX_LOG_ALWAYS("%d\n", 6);
    EXPECT_EQ(platform.FullTranscript(), Lines({LogAlways("reindexlogtest", "TestBody", "5\n"),
                                                LogAlways("reindexlogtest", "TestBody", "6\n")}));
    EXPECT_EQ(platform.messages[0].categ, std::nullopt);
    EXPECT_EQ(platform.messages[0].level, std::nullopt);
}

} // namespace
} // namespace unit
