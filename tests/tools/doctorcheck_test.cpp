#include "tools/krctl/doctor/check.h"

#include "recorder/support/error.h"

#include <filesystem>
#include <new>

#include <gmock/gmock.h>

namespace {

using testing::HasSubstr;

Check OnlyCheckOf(Checks (*check)(), const Prerequisites& prerequisites = {}) {
    const Checks checks = RunChecks({"thing", check, false}, prerequisites);
    EXPECT_EQ(checks.size(), 1U);
    EXPECT_EQ(checks.at(0).subject, "thing");
    return checks.at(0);
}

TEST(RunChecks, ReportsTheResultsOfTheGroup) {
    const Check check = OnlyCheckOf([]() -> Checks { return {Ok("thing", "is sound")}; });

    EXPECT_EQ(check.health, Health::Ok);
    EXPECT_EQ(check.message, "is sound");
}

TEST(RunChecks, ReportsAnyExceptionAsAProblem) {
    for (const auto& [check, reason] :
         {std::pair<Checks (*)(), const char*>{[]() -> Checks { throw recorder::Error("no room"); },
                                               "no room"},
          {[]() -> Checks {
               throw std::filesystem::filesystem_error("list", "/a", std::error_code());
           },
           "/a"},
          {[]() -> Checks { throw std::bad_alloc(); }, "bad_alloc"},
          {[]() -> Checks { throw 7; }, "unknown failure"}}) {
        const Check problem = OnlyCheckOf(check);

        EXPECT_EQ(problem.health, Health::Problem);
        EXPECT_THAT(problem.message, HasSubstr("check failed: "));
        EXPECT_THAT(problem.message, HasSubstr(reason));
    }
}

TEST(RunChecks, DoesNotRepeatACauseThatAnotherGroupReported) {
    const auto fails = []() -> Checks { throw recorder::Error("no database"); };
    const Check withoutDatabases = OnlyCheckOf(fails, {.areDatabasesUsable = false});
    const Checks withoutSettings =
        RunChecks({"thing", fails, true}, {.areSettingsValid = false, .areDatabasesUsable = true});

    EXPECT_EQ(withoutDatabases.health, Health::Warning);
    EXPECT_THAT(withoutSettings.at(0).message, HasSubstr("because the settings are invalid"));
}

} // namespace
