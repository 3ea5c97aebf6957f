// floor_insert DATABASE FILE: runs the statements of FILE, one a line, 1000 to a transaction: the
// least that adding their rows can cost.

#include "recorder/database/sqlite.h"

#include <cstdio>
#include <exception>
#include <fstream>
#include <string>

namespace {

constexpr int kBatchCnt = 1000;
constexpr int kLockTimeoutMs = 1000;

int Insert(const char* databasePath, const char* statementsPath) {
    auto database = recorder::SqliteDatabase::Open(databasePath, kLockTimeoutMs);
    std::ifstream statements(statementsPath);
    std::string batch;
    std::string line;
    int count = 0;
    while (std::getline(statements, line)) {
        batch += line;
        if (++count % kBatchCnt == 0) {
            database.Execute(batch);
            batch.clear();
        }
    }
    database.Execute(batch);
    return count;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: floor_insert DATABASE FILE\n");
        return 64;
    }
    try {
        std::printf("%d statements\n", Insert(argv[1], argv[2]));
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "floor_insert: %s\n", error.what());
        return 1;
    }
}
