#include "recorder/module/module.h"
#include "tests/recorder/support/failure.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::HasSubstr;
using testing::MatchesRegex;

std::string FailureToLoad(const std::string& name) {
    return support::FailureOf([&] { (void)recorder::ModuleEntry(name); });
}

TEST(Module, IsLoadedByItsName) {
    EXPECT_EQ(FailureToLoad("mqtt"), "none");
    EXPECT_EQ(FailureToLoad("postgresql"), "none");
    EXPECT_EQ(FailureToLoad("thumbnails"), "none");
}

TEST(Module, IsReportedWithItsPathIfItIsMissing) {
    EXPECT_THAT(FailureToLoad("none"), MatchesRegex("the recorder's module none is missing; "
                                                    "expected /.*/lib/kestora/kestora-none\\.so"));
}

TEST(Module, OfAnotherVersionIsRefused) {
    EXPECT_THAT(FailureToLoad("old"), HasSubstr("it has version 0.0.1; expected "));
}

TEST(Module, ThatCantBeLoadedIsRefused) {
    EXPECT_THAT(FailureToLoad("broken"), HasSubstr("can't load the recorder's module: "));
}

} // namespace
