#include "tests/unit/support/platformtest.h"

#include <filesystem>
#include <fstream>
#include <stdexcept>

#include <sys/stat.h>

namespace unit {

namespace {

constexpr long kNanosecondsPerSecond = 1'000'000'000;

std::string Execute(int db, const std::string& sql, const char* result) {
    return "Execute(" + std::to_string(db) + ", " + fakes::Quoted(sql) + ", " + result +
           ", false, true, true, true)";
}

} // namespace

PlatformTest::PlatformTest() {
    fakes::ResetPlatform();
    ResetLibc();
    platform.Abbreviate(m_dir.Path(), "DIR");
    libc.clock = timespec{kStartTm, 0};
    LogUpTo(LOG_LEVEL_TRACE);
    g_pDbgLogCfg = &m_logCfg;
}

PlatformTest::~PlatformTest() {
    fakes::ResetPlatform();
    ResetLibc();
}

std::string PlatformTest::MakeDir(const std::string& name) {
    std::filesystem::create_directories(Path(name));
    return Path(name);
}

std::string PlatformTest::MakeFile(const std::string& name, uint64_t sizeBytes) {
    std::string path = Path(name);
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    if (!std::ofstream(path)) {
        throw std::runtime_error("can't create " + path);
    }
    if (sizeBytes != 0) {
        std::filesystem::resize_file(path, sizeBytes);
    }
    return path;
}

void PlatformTest::AddCamera(int id) {
    platform.cameras[id] = MakeDir("cam" + std::to_string(id));
}

void PlatformTest::MakeMediaFolders() {
    libc.redirection = {kEmapDir, MakeDir("emap")};
    platform.snapshotFolder = MakeDir("snap");
}

std::string Query(int db, const std::string& sql) {
    return Execute(db, sql, "result");
}

std::string Statement(int db, const std::string& sql) {
    return Execute(db, sql, "null");
}

std::vector<std::size_t> InsertBatches() {
    std::vector<std::size_t> counts;
    for (const fakes::Statement& statement : fakes::Platform().statements) {
        if (statement.sql.starts_with("INSERT")) {
            counts.push_back(statement.count);
        }
    }
    return counts;
}

std::string EventSelect(int camId) {
    return "SELECT id as id, path as path FROM event WHERE camera_id = " + std::to_string(camId) +
           ";";
}

std::string AlertEventSelect(int camId) {
    return "SELECT id as id, path as path FROM alert_event WHERE camera_id = " +
           std::to_string(camId) + ";";
}

timespec ChangeTime(const std::string& path) {
    struct stat64 st = {};
    if (stat64(path.c_str(), &st) != 0) {
        throw std::runtime_error("can't stat " + path);
    }
    return st.st_ctim;
}

timespec Shifted(timespec time, long nanoseconds) {
    const long shifted = time.tv_nsec + nanoseconds;
    if (shifted < 0) {
        return {time.tv_sec - 1, shifted + kNanosecondsPerSecond};
    }
    return {time.tv_sec + shifted / kNanosecondsPerSecond, shifted % kNanosecondsPerSecond};
}

} // namespace unit
