// The common part of the floors' main functions.

#pragma once

#include <cstdio>
#include <exception>
#include <span>

namespace floors {

// Calls `work` with the program's arguments, if there are at least `count`. Returns an exit status
// other than 0 on failure, because a floor that fails must not count as a fast one.
template <typename Work>
int RunFloor(int argc, char** argv, std::size_t count, const char* usage, Work work) {
    const std::span<char*> args(argv, static_cast<std::size_t>(argc));
    if (args.size() < count + 1) {
        std::fprintf(stderr, "usage: %s\n", usage);
        return 64;
    }
    try {
        work(args.subspan(1));
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s: %s\n", args[0], error.what());
        return 1;
    }
}

} // namespace floors
