// Runs the tool's main inside the test program.

#pragma once

#include <string>
#include <vector>

namespace unit {

struct Outcome {
    int status = 0;
    std::string output;
    std::string errors;
};

// Runs main with these arguments after the program's name, and returns its result.
int RunMain(const std::vector<std::string>& args);

// Runs main like RunMain, and also captures its standard output and standard error.
Outcome RunMainCaptured(const std::vector<std::string>& args);

} // namespace unit
