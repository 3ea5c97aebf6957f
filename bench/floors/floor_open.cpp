// floor_open DATABASE...: the minimum for an empty run. Opens databases and closes them.

#include "bench/floors/engine.h"
#include "bench/floors/floor.h"

#include <list>

int main(int argc, char** argv) {
    return floors::RunFloor(argc, argv, 1, "floor_open DATABASE...", [](std::span<char*> args) {
        std::list<floors::Engine> engines;
        for (const char* const address : args) {
            engines.emplace_back(address);
        }
        std::printf("%zu databases\n", engines.size());
    });
}
