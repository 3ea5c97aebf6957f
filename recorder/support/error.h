// The error type inside the recorder: what was attempted, on what, and why it failed. Types derived
// from it are for callers that treat such a failure differently.

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

// A database is missing, can't be opened or has another schema version.
class DatabaseUnusable : public Error {
public:
    using Error::Error;
};

// Another process holds the lock that a command needs: a run, or another command.
class Busy : public Error {
public:
    using Error::Error;
};

// The camera or run that the caller named does not exist.
class NotFound : public Error {
public:
    using Error::Error;
};

// The error of a system call, from errno: "can't open folder /a/b: Permission denied".
[[nodiscard]] inline Error SystemError(const std::string& attempted) {
    return Error("can't " + attempted + ": " + std::generic_category().message(errno));
}

} // namespace recorder
