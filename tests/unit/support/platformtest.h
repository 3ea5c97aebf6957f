// The stage of every unit test: an empty scripted platform, an unscripted C library, a temporary
// folder that the transcript calls DIR, a run that starts later than any file, and all messages
// let through.

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

    // Lets messages up to this level through.
    void LogUpTo(int level) { m_logCfg.categLevel[LOG_CATEG_REINDEX] = level; }

    // As on a recorder whose operator asked for nothing: levels up to 3.
    static void LogUnconfigured() { g_pDbgLogCfg = nullptr; }

    // Makes a folder or a file of this size in the temporary folder; gives its path.
    [[nodiscard]] std::string Path(const std::string& name) const {
        return m_dir.Path() + "/" + name;
    }
    std::string MakeDir(const std::string& name);
    std::string MakeFile(const std::string& name, uint64_t sizeBytes = 0);

    // A camera with the storage folder DIR/cam<id>, which is made.
    void AddCamera(int id);

    // The e-map images lie in DIR/emap.
    void RedirectEmapDir();

    [[nodiscard]] std::string Transcript() const { return platform.Transcript(); }
    [[nodiscard]] std::string Messages() const { return platform.LinesOf("KRPrintf("); }

    fakes::ScriptedPlatform& platform = fakes::Platform();
    LibcScript& libc = Libc();

private:
    TempDir m_dir;
    DbgLogCfg m_logCfg;
};

// The text of a call of Execute that asks for rows, or that asks for none.
std::string Query(int db, const std::string& sql);
std::string Statement(int db, const std::string& sql);

// Numbers of statements in the texts that were executed and that begin with INSERT.
std::vector<std::size_t> InsertBatches();

// The SELECTs that fill the map of each kind of media.
std::string EventSelect(int camId);
std::string AlertEventSelect(int camId);
constexpr const char* kEmapSelect = "SELECT id as id, filename as path FROM emap;";
constexpr const char* kSnapshotSelect = "SELECT id as id, filename as path FROM snapshot;";

// Any file's status-change time, to the nanosecond.
timespec ChangeTime(const std::string& path);

// The time `nanoseconds` (less than a second) later, or earlier where negative.
timespec Shifted(timespec time, long nanoseconds);

} // namespace unit
