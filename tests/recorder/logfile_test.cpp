#include "platform/logging.h"
#include "recorder/support/paths.h"
#include "tests/contract/support/files.h"
#include "tests/contract/support/fixture.h"
#include "tests/contract/support/process.h"

#include <cstdlib>
#include <ctime>

namespace {

class LogFile : public contract::ContractTest {};

// Writes a log line in a time zone that is five and a half hours ahead of UTC, and returns the log.
std::string LogInAnotherZone() {
    setenv("TZ", "ABC-05:30", 1);
    tzset();
    KRPrintf(LOG_TYPE_DEFAULT, "a", "b", "source", 1, "Function", "elsewhere\n");
    return contract::ReadFile(recorder::kLogFile);
}

const contract::Probe kLogInAnotherZone("log in another zone", LogInAnotherZone);

TEST_F(LogFile, ContainsTheLocalTimeAndTheTimeZoneOfEachLine) {
    const long before = std::time(nullptr);

    const std::string line = kLogInAnotherZone.Run();

    struct tm local = {};
    const char* const rest = strptime(line.c_str(), "%Y-%m-%dT%H:%M:%S", &local);
    ASSERT_NE(rest, nullptr) << line;
    EXPECT_THAT(rest, testing::MatchesRegex(R"(\.[0-9]{3}\+05:30 \[[0-9]+\] .*elsewhere.)"));
    constexpr long kEastS = 19800;
    const long logged = timegm(&local) - kEastS;
    EXPECT_GE(logged, before);
    EXPECT_LE(logged, std::time(nullptr));
}

} // namespace
