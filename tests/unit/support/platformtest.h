// The base of every unit test: an empty scripted platform, an unscripted C library, a temporary
// folder that is called DIR in the transcript, and a start time after the times of all files. All
// messages are logged.

#pragma once

#include "platform/logging.h"
#include "tests/fakes/scriptedplatform.h"
#include "tests/unit/support/libcscript.h"
#include "tests/unit/support/tempdir.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

namespace unit {

using fakes::IdPathRows;
using fakes::IdRows;
using fakes::Lines;
using fakes::Log;
using fakes::LogAlways;

constexpr time_t kStartTm = 4'000'000'000;
constexpr const char* kEmapDir = "/var/packages/Kestora/target/@KREmap";

class PlatformTest : public testing::Test {
protected:
    PlatformTest();
    ~PlatformTest() override;
    PlatformTest(const PlatformTest&) = delete;
    PlatformTest& operator=(const PlatformTest&) = delete;
    PlatformTest(PlatformTest&&) = delete;
    PlatformTest& operator=(PlatformTest&&) = delete;

    // Logs messages up to this level.
    void LogUpTo(int level) { m_logCfg.categLevel[LOG_CATEG_REINDEX] = level; }

    // Removes the log configuration, so that levels up to 3 are logged.
    static void LogUnconfigured() { g_pDbgLogCfg = nullptr; }

    // The path of a name in the temporary folder.
    [[nodiscard]] std::string Path(const std::string& name) const {
        return m_dir.Path() + "/" + name;
    }

    // Create a folder, or a file of this size, in the temporary folder and return its path.
    std::string MakeDir(const std::string& name);
    std::string MakeFile(const std::string& name, uint64_t sizeBytes = 0);

    // Adds a camera with the storage folder DIR/cam<id>, and creates the folder.
    void AddCamera(int id);

    // Creates the folders of the e-map images (DIR/emap) and of the snapshots (DIR/snap).
    void MakeMediaFolders();

    [[nodiscard]] std::string Transcript() const { return platform.Transcript(); }
    [[nodiscard]] std::string Messages() const { return platform.LinesOf("KRPrintf("); }

    fakes::ScriptedPlatform& platform = fakes::Platform();
    LibcScript& libc = Libc();

private:
    TempDir m_dir;
    DbgLogCfg m_logCfg;
};

// The transcript's line of a call of Execute with a result, and without one.
std::string Query(int db, const std::string& sql);
std::string Statement(int db, const std::string& sql);

// The number of statements in each executed text that begins with INSERT.
std::vector<std::size_t> InsertBatches();

// The SELECTs that fill the map of each kind of media.
std::string EventSelect(int camId);
std::string AlertEventSelect(int camId);
constexpr const char* kEmapSelect = "SELECT id as id, filename as path FROM emap;";
constexpr const char* kSnapshotSelect = "SELECT id as id, filename as path FROM snapshot;";

// The time of a file's last status change, with nanoseconds.
timespec ChangeTime(const std::string& path);

// The time shifted by `nanoseconds`, less than a second; negative values mean earlier.
timespec Shifted(timespec time, long nanoseconds);

} // namespace unit
