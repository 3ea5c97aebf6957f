#include "tests/unit/support/commandline.h"

#include <gtest/gtest.h>

#include <unistd.h>

// The tool's main, which is compiled with this name.
int KrindexerMain(int argc, char** argv);

namespace unit {

int RunMain(const std::vector<std::string>& args) {
    std::vector<std::string> texts = {"krindexer"};
    texts.insert(texts.end(), args.begin(), args.end());
    std::vector<char*> argv;
    argv.reserve(texts.size() + 1);
    for (std::string& text : texts) {
        argv.push_back(text.data());
    }
    argv.push_back(nullptr);
    optind = 0; // makes getopt start again
    return KrindexerMain(static_cast<int>(texts.size()), argv.data());
}

Outcome RunMainCaptured(const std::vector<std::string>& args) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    Outcome outcome;
    outcome.status = RunMain(args);
    outcome.output = testing::internal::GetCapturedStdout();
    outcome.errors = testing::internal::GetCapturedStderr();
    return outcome;
}

} // namespace unit
