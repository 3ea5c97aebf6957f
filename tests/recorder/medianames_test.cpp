#include "recorder/support/medianames.h"

#include <gtest/gtest.h>

namespace {

using recorder::IsHalfDayName;
using recorder::StartTmOfName;

TEST(MediaNames, AHalfDayNameIsADateFollowedByAmOrPm) {
    EXPECT_TRUE(IsHalfDayName("20261120AM"));
    EXPECT_TRUE(IsHalfDayName("00000000PM"));
    for (const char* const name : {"", "20261120", "20261120am", "20261120XM", "2026112AM",
                                   "202611200AM", "20261120AMx", "20261120AM\n", "x20261120AM"}) {
        EXPECT_FALSE(IsHalfDayName(name)) << name;
    }
}

TEST(MediaNames, AStartTimeIsTheLastTenDigitsOfTheName) {
    constexpr int64_t kStartTm = 1795162500;
    for (const char* const path :
         {"1795162500.mp4", "Front-20261120-081500-1795162500.mp4", "/a.b/x-1795162500-LOCK.mp4",
          "x-1795162500", "21795162500.mp4"}) {
        EXPECT_EQ(StartTmOfName(path), kStartTm) << path;
    }
    for (const char* const path : {"", "795162500.mp4", "1795162500-lock.mp4", "1795162500/x.mp4",
                                   "x-795162500.mp4", "+795162500.mp4"}) {
        EXPECT_EQ(StartTmOfName(path), std::nullopt) << path;
    }
}

} // namespace
