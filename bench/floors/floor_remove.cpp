// floor_remove DATABASE PRELUDE TABLE COUNT: the minimum for removing rows. Executes the statements
// of the prelude, which enable the ledger, and deletes the rows with the ids 1 to COUNT by one
// statement in one transaction.

#include "bench/floors/engine.h"
#include "bench/floors/floor.h"

#include <cstdlib>

namespace {

void Remove(std::span<char*> args) {
    floors::Engine engine(args[0]);
    engine.Run(args[1]);
    const long count = std::strtol(args[3], nullptr, 10);
    std::string sql = std::string("BEGIN;DELETE FROM ") + args[2] + " WHERE id IN (1";
    for (long id = 2; id <= count; ++id) {
        sql += ',' + std::to_string(id);
    }
    engine.Run(sql + ");COMMIT;");
    std::printf("%ld ids\n", count);
}

} // namespace

int main(int argc, char** argv) {
    return floors::RunFloor(argc, argv, 4, "floor_remove DATABASE PRELUDE TABLE COUNT", Remove);
}
