// floor_names DATABASE SELECT FOLDER [SELECT FOLDER]...: the minimum for comparing rows with the
// names of files. For each camera, reads a number and the path by one SELECT into a hash map by
// file name, then each entry of the folder, but not the status of a file.

#include "bench/floors/engine.h"
#include "bench/floors/floor.h"
#include "bench/floors/walk.h"

namespace {

void EraseNames(const std::string& folder, floors::FileIds& ids) {
    floors::VisitEntries(folder,
                         [&ids](const std::string& path, const char* name, unsigned char type) {
                             if (type == DT_DIR) {
                                 EraseNames(path, ids);
                             } else {
                                 ids.erase(name);
                             }
                         });
}

void FindRowsWithoutFile(std::span<char*> args) {
    floors::Engine engine(args[0]);
    std::size_t rows = 0;
    std::size_t gone = 0;
    for (args = args.subspan(1); args.size() >= 2; args = args.subspan(2)) {
        floors::FileIds ids;
        engine.ReadRows(args[0], ids);
        rows += ids.size();
        EraseNames(args[1], ids);
        gone += ids.size();
    }
    std::printf("%zu rows, %zu without a file\n", rows, gone);
}

} // namespace

int main(int argc, char** argv) {
    return floors::RunFloor(argc, argv, 3, "floor_names DATABASE SELECT FOLDER [SELECT FOLDER]...",
                            FindRowsWithoutFile);
}
