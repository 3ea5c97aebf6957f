#include "platform/logging.h"
#include "recorder/support/paths.h"
#include "tests/contract/support/files.h"
#include "tests/contract/support/fixture.h"
#include "tests/contract/support/process.h"

#include <cstdlib>
#include <ctime>
#include <regex>

namespace {

class LogFile : public contract::ContractTest {};

// East of Greenwich by five hours and a half.
std::string SayElsewhere() {
    setenv("TZ", "ABC-05:30", 1);
    tzset();
    KRPrintf(LOG_TYPE_DEFAULT, "a", "b", "source", 1, "Function", "elsewhere\n");
    return contract::ReadFile(recorder::kLogFile);
}

const contract::Probe kSayElsewhere("log in another zone", SayElsewhere);

TEST_F(LogFile, StampsALineWithItsTimeAndTheZone) {
    const long before = std::time(nullptr);

    const std::string line = kSayElsewhere.Run();

    std::smatch parts;
    ASSERT_TRUE(std::regex_match(
        line, parts,
        std::regex(R"((\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d)\.\d{3}\+05:30 \[\d+\] .*elsewhere\n)")))
        << line;
    struct tm local = {};
    ASSERT_NE(strptime(parts[1].str().c_str(), "%Y-%m-%dT%H:%M:%S", &local), nullptr);
    constexpr long kEastS = 19800;
    const long said = timegm(&local) - kEastS;
    EXPECT_GE(said, before);
    EXPECT_LE(said, std::time(nullptr));
}

} // namespace
