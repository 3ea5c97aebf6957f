// The one error type inside the recorder: what was attempted, on what, and why it failed.

#pragma once

#include <cerrno>
#include <stdexcept>
#include <string>
#include <system_error>

namespace recorder {

class Error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The error of a system call, from errno: "can't open folder /a/b: Permission denied".
[[nodiscard]] inline Error SystemError(const std::string& attempted) {
    return Error("can't " + attempted + ": " + std::generic_category().message(errno));
}

} // namespace recorder
