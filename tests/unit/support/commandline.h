// Running the tool's main within the test program.

#pragma once

#include <string>
#include <vector>

namespace unit {

struct Outcome {
    int status = 0;
    std::string output;
    std::string errors;
};

// Runs main with these arguments behind the program's name.
int RunMain(const std::vector<std::string>& args);

// The same, with what it writes to standard output and standard error.
Outcome RunMainCaptured(const std::vector<std::string>& args);

} // namespace unit
