// floor_walk DATABASE SELECT FOLDER [SELECT FOLDER]...: the minimum for a run with nothing to do.
// For each camera, reads id and path by one SELECT into a hash map by file name, then each entry of
// the folder and its status.

#include "bench/floors/ahead.h"
#include "bench/floors/engine.h"
#include "bench/floors/floor.h"
#include "bench/floors/walk.h"

namespace {

void FindNothingToDo(std::span<char*> args) {
    floors::Engine engine(args[0]);
    std::size_t rows = 0;
    std::size_t gone = 0;
    for (args = args.subspan(1); args.size() >= 2; args = args.subspan(2)) {
        const floors::Ahead ahead(args[1], floors::TouchStatus);
        floors::FileIds ids;
        engine.ReadRows(args[0], ids);
        rows += ids.size();
        floors::WalkFolder(args[1],
                           [&](const std::string& /*path*/, const char* name) { ids.erase(name); });
        gone += ids.size();
    }
    std::printf("%zu rows, %zu without a file\n", rows, gone);
}

} // namespace

int main(int argc, char** argv) {
    return floors::RunFloor(argc, argv, 3, "floor_walk DATABASE SELECT FOLDER [SELECT FOLDER]...",
                            FindNothingToDo);
}
