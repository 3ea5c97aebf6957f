#include "tools/krctl/nearest.h"

#include <gtest/gtest.h>

namespace {

std::string NearestTo(const std::string& typed) {
    return Nearest(typed, {"plan", "run", "runs", "status", "--json", "--list"});
}

TEST(Nearest, IsTheNameWithTheFewestChanges) {
    EXPECT_EQ(NearestTo("plna"), "plan"); // two neighbours exchanged
    EXPECT_EQ(NearestTo("plam"), "plan");
    EXPECT_EQ(NearestTo("rns"), "runs");
    EXPECT_EQ(NearestTo("statsu"), "status");
    EXPECT_EQ(NearestTo("--jsno"), "--json");
    EXPECT_EQ(NearestTo("-list"), "--list");
}

TEST(Nearest, IsNoneIfTooMuchDiffers) {
    EXPECT_EQ(NearestTo("backup"), "");
    EXPECT_EQ(NearestTo("pn"), "");
    EXPECT_EQ(NearestTo(""), "");
    EXPECT_EQ(NearestTo(std::string(1'000'000, 'p')), "");
}

} // namespace
