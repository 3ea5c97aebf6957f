#include "recorder/run/brake.h"

#include "recorder/support/error.h"

#include <gtest/gtest.h>

namespace {

using recorder::RemovalLimit;

TEST(Brake, ShareIsOfTheExistingRows) {
    const RemovalLimit limit("20%");
    EXPECT_TRUE(limit.Allows(0, 0));
    EXPECT_TRUE(limit.Allows(1, 5));
    EXPECT_FALSE(limit.Allows(1, 4));
    EXPECT_FALSE(limit.Allows(1, 0));
    EXPECT_TRUE(limit.Allows(2'000'000, 10'000'000));
    EXPECT_FALSE(limit.Allows(2'000'001, 10'000'000));
}

TEST(Brake, ShareCanBeAFractionOfAPercent) {
    const RemovalLimit limit("0.5%");
    EXPECT_TRUE(limit.Allows(5, 1000));
    EXPECT_FALSE(limit.Allows(6, 1000));
}

TEST(Brake, NumberIsOfRows) {
    const RemovalLimit limit("3");
    EXPECT_TRUE(limit.Allows(3, 3));
    EXPECT_FALSE(limit.Allows(4, 1'000'000));
}

TEST(Brake, ZeroForbidsEveryRemoval) {
    for (const char* zero : {"0", "0%"}) {
        EXPECT_TRUE(RemovalLimit(zero).Allows(0, 10));
        EXPECT_FALSE(RemovalLimit(zero).Allows(1, 10));
    }
}

TEST(Brake, TextToAllowARemovalAllowsIt) {
    EXPECT_EQ(RemovalLimit("20%").TextToAllow(1, 3), "34%");
    EXPECT_EQ(RemovalLimit("20%").TextToAllow(60, 60), "100%");
    EXPECT_EQ(RemovalLimit("7").TextToAllow(8, 9), "8");
    EXPECT_TRUE(RemovalLimit("34%").Allows(1, 3));
}

TEST(Brake, AnyOtherTextIsRefused) {
    for (const char* text : {"", "%", "-1", "-1%", "101%", "20 %", "20%%", "nan%", "inf%", "1.5",
                             "0x10", "99999999999999999999", "all"}) {
        EXPECT_THROW(RemovalLimit{text}, recorder::Error) << text;
    }
}

} // namespace
