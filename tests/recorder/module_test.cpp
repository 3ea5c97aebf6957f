#include "recorder/module/module.h"
#include "recorder/support/error.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::HasSubstr;
using testing::MatchesRegex;

std::string FailureToLoad(const std::string& name) {
    try {
        (void)recorder::ModuleEntry(name);
    } catch (const recorder::Error& error) {
        return error.what();
    }
    return "loaded";
}

TEST(Module, IsLoadedByItsName) {
    EXPECT_EQ(FailureToLoad("mqtt"), "loaded");
    EXPECT_EQ(FailureToLoad("postgresql"), "loaded");
    EXPECT_EQ(FailureToLoad("thumbnails"), "loaded");
}

TEST(Module, ThatIsMissingIsNamedWithItsPlace) {
    EXPECT_THAT(FailureToLoad("none"), MatchesRegex("the recorder's module none is missing; "
                                                    "expected /.*/lib/kestora/kestora-none\\.so"));
}

TEST(Module, OfAnotherVersionIsRefused) {
    EXPECT_THAT(FailureToLoad("old"), HasSubstr("is of version 0.0.1; expected "));
}

TEST(Module, ThatNeedsWhatIsNotThereIsRefused) {
    EXPECT_THAT(FailureToLoad("broken"), HasSubstr("can't load the recorder's module: "));
}

} // namespace
