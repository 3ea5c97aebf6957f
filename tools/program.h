// The programs that krctl starts.

#pragma once

#include <string>
#include <vector>

#include <sys/types.h>

// The path of a program of this package: beside krctl, or where an installation keeps what people
// don't call (../libexec/kestora). Throws Error when it is in neither place.
[[nodiscard]] std::string ProgramPath(const std::string& name);

// Starts it, with `outFd` as its standard output where it isn't -1. Signals are as usual for it,
// whatever krctl does with them. Throws Error.
pid_t StartProgram(const std::string& path, const std::vector<std::string>& arguments,
                   int outFd = -1);
