// writer DATABASE PRELUDE: a recorder that executes the statements of the prelude and then adds a
// recording every 20 ms, until its standard input ends. Prints a line when it begins. At the end it
// prints the number of added rows and the time of the slowest one in ms. A row that it can't add
// ends the program.

#include "bench/floors/engine.h"
#include "bench/floors/floor.h"

#include <algorithm>
#include <chrono>

#include <poll.h>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;

constexpr int kIntervalMs = 20;

bool IsWanted() {
    struct pollfd input = {STDIN_FILENO, POLLIN, 0};
    return poll(&input, 1, kIntervalMs) == 0;
}

void Write(std::span<char*> args) {
    floors::Engine engine(args[0]);
    engine.Run(args[1]);
    std::puts("began");
    std::fflush(stdout);
    Milliseconds longest{0};
    long count = 0;
    for (; IsWanted(); ++count) {
        const std::string name = std::to_string(getpid()) + "-" + std::to_string(count);
        const Clock::time_point start = Clock::now();
        engine.Run("INSERT INTO event (camera_id, path) VALUES (2, 'writer/" + name + "')");
        longest = std::max<Milliseconds>(longest, Clock::now() - start);
    }
    std::printf("%ld %.1f\n", count, longest.count());
}

} // namespace

int main(int argc, char** argv) {
    return floors::RunFloor(argc, argv, 2, "writer DATABASE PRELUDE", Write);
}
