// containerreaders FILE...: prints for each recording one line: the program that reads its headers
// ("krindexer", or "krcontainers" where krindexer leaves an unusual container to it), and the
// median times in microseconds of krindexer's own reader and of krcontainers.

#include "recorder/container/container.h"
#include "recorder/container/librarycontainer.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <exception>
#include <span>

namespace {

using namespace recorder;

template <typename Read> double MedianMicroseconds(Read read) {
    constexpr std::size_t kRuns = 15;
    std::array<double, kRuns> times{};
    for (double& time : times) {
        const auto begin = std::chrono::steady_clock::now();
        read();
        time = std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - begin)
                   .count();
    }
    std::sort(times.begin(), times.end());
    return times[kRuns / 2];
}

void PrintReaderOf(const char* path) {
    const ContainerKind kind = ContainerKindOf(path).value();
    const auto readHeader = [&] {
        FileSource file(path);
        return ReadContainerHeader(file, kind);
    };
    const bool isOrdinary = readHeader().has_value();
    const double own = MedianMicroseconds(readHeader);
    const double library = MedianMicroseconds([&] {
        FileSource file(path);
        return ReadContainerByLibrary(file, kind);
    });
    std::printf("%s %.1f %.1f\n", isOrdinary ? "krindexer" : "krcontainers", own, library);
}

} // namespace

int main(int argc, char** argv) {
    try {
        for (const char* const path : std::span(argv, static_cast<std::size_t>(argc)).subspan(1)) {
            PrintReaderOf(path);
        }
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "containerreaders: %s\n", error.what());
        return 1;
    }
}
