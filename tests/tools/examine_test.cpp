#include "tools/krctl/doctor/examine.h"

#include "recorder/support/error.h"

#include <filesystem>
#include <new>

#include <gmock/gmock.h>

namespace {

using testing::HasSubstr;

Check OnlyCheckOf(Checks (*check)(), const Ground& ground = {}) {
    const Checks checks = Examine({"thing", check, false}, ground);
    EXPECT_EQ(checks.size(), 1U);
    EXPECT_EQ(checks.at(0).subject, "thing");
    return checks.at(0);
}

TEST(Examine, ReportsWhatTheGroupFinds) {
    const Check check = OnlyCheckOf([]() -> Checks { return {Ok("thing", "is well")}; });

    EXPECT_EQ(check.health, Health::Ok);
    EXPECT_EQ(check.message, "is well");
}

TEST(Examine, ReportsAnyFailureAsAProblem) {
    for (const auto& [check, words] :
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
        EXPECT_THAT(problem.message, HasSubstr("can't be checked: "));
        EXPECT_THAT(problem.message, HasSubstr(words));
    }
}

TEST(Examine, RepeatsNoCauseThatAnotherGroupReported) {
    const auto fails = []() -> Checks { throw recorder::Error("no database"); };

    EXPECT_EQ(OnlyCheckOf(fails, {.hasSettings = true, .hasDatabases = false}).health,
              Health::Warning);
    EXPECT_THAT(
        Examine({"thing", fails, true}, {.hasSettings = false, .hasDatabases = true}).at(0).message,
        HasSubstr("while the settings are invalid"));
}

} // namespace
