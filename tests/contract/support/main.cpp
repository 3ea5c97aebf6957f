#include "tests/contract/support/process.h"
#include "tests/contract/support/sandbox.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

#include <gtest/gtest.h>

void contract::RequireSandbox() {
    std::ifstream file("/var/packages/Kestora/.in-sandbox");
    std::string mark;
    const char* const expected = std::getenv("KESTORA_SANDBOX");
    if (expected == nullptr || !std::getline(file, mark) || mark != expected) {
        std::fputs("this program deletes the recorder's files; start it with "
                   "tests/contract/in-sandbox\n",
                   stderr);
        std::exit(70);
    }
}

int main(int argc, char** argv) {
    contract::RequireSandbox();
    if (argc == 3 && std::string(argv[1]) == "--probe") {
        return contract::RunProbe(argv[2]);
    }
    testing::InitGoogleTest(&argc, argv);
    const int status = RUN_ALL_TESTS();
    if (testing::UnitTest::GetInstance()->test_to_run_count() == 0 &&
        !testing::GTEST_FLAG(list_tests)) {
        std::fputs("the filter selects no test\n", stderr);
        return 1;
    }
    return status;
}
