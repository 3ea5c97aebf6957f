// The kernel's uptime, which does not change when a clock is set.

#pragma once

#include <string>

namespace recorder {

struct KernelTime {
    std::string machine; // machine-id(5); empty: unknown
    std::string boot;    // the kernel's id of this boot; empty: unknown
    long uptimeS = 0;    // seconds since this boot, suspended ones included
};

[[nodiscard]] KernelTime ReadKernelTime();

} // namespace recorder
