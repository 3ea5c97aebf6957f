// Working ahead of the tool: when it is worthwhile, and the helper process krahead.

#include "recorder/ahead/aheadprocess.h"
#include "recorder/ahead/habit.h"
#include "recorder/ahead/waitmeter.h"
#include "recorder/krahead/concurrency.h"
#include "recorder/krahead/foldernames.h"
#include "tests/contract/support/files.h"
#include "tests/contract/support/fixture.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

using recorder::AheadProcess;
using recorder::Concurrency;
using recorder::DiskRequest;
using recorder::FolderNames;
using recorder::Habit;
using recorder::UniqueFd;
using recorder::WaitMeter;
using recorder::WaitSample;
using std::chrono::microseconds;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr std::chrono::seconds kDeadline{30};

template <typename Condition> bool Until(const Condition& condition) {
    const steady_clock::time_point deadline = steady_clock::now() + kDeadline;
    while (!condition()) {
        if (steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(milliseconds(1));
    }
    return true;
}

TEST(Habit, IsUnknownAtTheFirstFile) {
    Habit habit;
    habit.NextFile();
    habit.Note();

    EXPECT_FALSE(habit.IsUsual());
}

TEST(Habit, IsWhatTheToolDidWithHalfOfTheLastFiles) {
    Habit habit;
    habit.NextFile();
    habit.Note();
    habit.NextFile();
    EXPECT_TRUE(habit.IsUsual());

    habit.NextFile();
    EXPECT_TRUE(habit.IsUsual()) << "one of two";

    habit.NextFile();
    EXPECT_FALSE(habit.IsUsual()) << "one of three";
}

TEST(Habit, ChangesWithinSixteenFiles) {
    Habit habit;
    for (int file = 0; file < 1000; ++file) {
        habit.NextFile();
    }
    int files = 0;
    while (!habit.IsUsual()) {
        habit.NextFile();
        habit.Note();
        ++files;
    }

    EXPECT_LE(files, 16);
}

TEST(WaitSample, IsWaitingIfFilesAndTimeAreMostlyWaitedFor) {
    const WaitSample slowDisk = {.wallNs = 100, .cpuNs = 10, .waits = 10, .files = 10};
    EXPECT_TRUE(slowDisk.IsWaiting());

    WaitSample busy = slowDisk;
    busy.cpuNs = 60;
    EXPECT_FALSE(busy.IsWaiting()) << "the processor is the limit";

    WaitSample preempted = slowDisk;
    preempted.waits = 0;
    EXPECT_FALSE(preempted.IsWaiting()) << "other programs had the processor";

    WaitSample oneStall = slowDisk;
    oneStall.files = 1000;
    EXPECT_FALSE(oneStall.IsWaiting()) << "most files did not wait";
}

TEST(WaitMeter, FindsOutThatAThreadWaits) {
    WaitMeter meter;
    meter.Resume();
    std::optional<WaitSample> sample;
    while (!sample) {
        std::this_thread::sleep_for(milliseconds(2));
        sample = meter.CountFile();
    }

    EXPECT_TRUE(sample->IsWaiting());
    EXPECT_GE(sample->wallNs, 10'000'000);
    EXPECT_GE(sample->waits, sample->files);
}

TEST(WaitMeter, FindsOutThatAThreadComputes) {
    WaitMeter meter;
    meter.Resume();
    std::optional<WaitSample> sample;
    while (!sample) {
        sample = meter.CountFile();
    }

    EXPECT_FALSE(sample->IsWaiting());
    EXPECT_GT(sample->files, 0);
}

// A disk that serves `depth` requests at once, each within `takes`.
int AllowedOn(int depth, microseconds takes, int most) {
    Concurrency concurrency(most);
    for (int answer = 0; answer < 10'000; ++answer) {
        const int inFlight = concurrency.Allowed();
        concurrency.Note(DiskRequest::Status, takes * std::max(inFlight, depth) / depth);
    }
    return concurrency.Allowed();
}

TEST(Concurrency, IsAboutWhatTheDiskServesAtOnce) {
    for (const int depth : {4, 8, 16, 32, 64}) {
        const int allowed = AllowedOn(depth, milliseconds(8), 64);
        EXPECT_GE(allowed, depth * 3 / 4);
        EXPECT_LE(allowed, depth * 2);
    }
}

TEST(Concurrency, IsAtMostWhatIsWanted) {
    EXPECT_EQ(AllowedOn(64, milliseconds(1), 64), 64);
    EXPECT_EQ(AllowedOn(64, milliseconds(1), 10), 10);
    EXPECT_EQ(AllowedOn(64, milliseconds(1), 1), 1);
}

TEST(Concurrency, IsReducedWhenTheDiskGetsOtherWork) {
    Concurrency concurrency(64);
    for (int answer = 0; answer < 1000; ++answer) {
        concurrency.Note(DiskRequest::Bytes, milliseconds(1));
    }
    ASSERT_EQ(concurrency.Allowed(), 64);
    for (int answer = 0; answer < 1000; ++answer) {
        concurrency.Note(DiskRequest::Bytes, milliseconds(10));
    }

    EXPECT_LE(concurrency.Allowed(), 4);
}

TEST(Concurrency, ComparesOnlyRequestsOfOneKind) {
    Concurrency concurrency(64);
    for (int answer = 0; answer < 1000; ++answer) {
        concurrency.Note(DiskRequest::Status, microseconds(100));
    }
    for (int answer = 0; answer < 1000; ++answer) {
        concurrency.Note(DiskRequest::Bytes, milliseconds(5));
    }

    EXPECT_EQ(concurrency.Allowed(), 64);
}

TEST(Concurrency, FindsOutThatNothingWaits) {
    Concurrency concurrency(64);
    for (int answer = 0; answer < 600; ++answer) {
        concurrency.Note(DiskRequest::Status, microseconds(2));
    }
    EXPECT_TRUE(concurrency.IsIdle());

    for (int answer = 0; answer < 1200; ++answer) {
        concurrency.Note(DiskRequest::Status, milliseconds(1));
    }
    EXPECT_FALSE(concurrency.IsIdle());
}

TEST(WaitMeter, AddsUpShortSpansAndLeavesOutWhatIsBetweenThem) {
    WaitMeter meter;
    std::optional<WaitSample> sample;
    int64_t spans = 0;
    while (!sample) {
        meter.Resume();
        std::this_thread::sleep_for(milliseconds(5));
        sample = meter.CountFile();
        if (!sample) {
            meter.Pause();
            ++spans;
            std::this_thread::sleep_for(milliseconds(20));
        }
    }

    EXPECT_EQ(sample->files, spans + 1);
    EXPECT_GT(spans, 0);
    EXPECT_LE(sample->waits, sample->files + spans / 2) << "those between the spans are left out";
}

class AheadFolder : public contract::ContractTest {
protected:
    void SetUp() override {
        ContractTest::SetUp();
        fs::remove_all(kFolder);
        fs::create_directories(kFolder);
        m_folder = UniqueFd(open(kFolder, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        ASSERT_TRUE(m_folder.IsOpen());
    }

    void AddFiles(int count) const {
        for (int file = 0; file < count; ++file) {
            std::ofstream(fs::path(kFolder) / (std::to_string(file) + ".mp4")) << "no mp4";
        }
    }

    static constexpr const char* kFolder = "/var/packages/Kestora/volume1/cam1/20140312AM";
    UniqueFd m_folder;
};

using FolderOfNames = AheadFolder;

TEST_F(FolderOfNames, HasTheRegularFilesInTheOrderOfTheWalk) {
    AddFiles(20);
    fs::create_directory(fs::path(kFolder) / "folder");
    fs::create_symlink("0.mp4", fs::path(kFolder) / "link.mp4");
    ASSERT_EQ(mkfifo((fs::path(kFolder) / "fifo.mp4").c_str(), 0600), 0);
    std::vector<std::string> walked;
    for (const fs::directory_entry& entry : fs::directory_iterator(fs::path(kFolder))) {
        if (entry.symlink_status().type() == fs::file_type::regular) {
            walked.push_back(entry.path().filename());
        }
    }

    FolderNames names(m_folder);
    std::vector<std::string> found;
    for (auto file = names.Next(0); file; file = names.Next(0)) {
        EXPECT_EQ(file->index, found.size());
        found.push_back(file->name);
    }

    EXPECT_EQ(found, walked);
    EXPECT_EQ(found.size(), 20U);
}

TEST_F(FolderOfNames, PassesFilesThatTheToolHasReached) {
    AddFiles(20);
    FolderNames names(m_folder);

    EXPECT_EQ(names.Next(0)->index, 0U);
    EXPECT_EQ(names.Next(15)->index, 15U);
    EXPECT_EQ(names.Next(3)->index, 16U);
    EXPECT_FALSE(names.Next(20).has_value());
    EXPECT_FALSE(names.Next(0).has_value());
}

class AheadHelper : public AheadFolder {
protected:
    // Waits until so many files are prepared.
    [[nodiscard]] bool HasPrepared(uint64_t files) {
        return Until([&] { return m_process->Page().files.load() >= files; });
    }

    [[nodiscard]] static pid_t Child() {
        const std::string id = std::to_string(getpid());
        std::ifstream children("/proc/" + id + "/task/" + id + "/children");
        pid_t child = 0;
        children >> child;
        return child;
    }

    // The bytes that krahead has read, from memory as well.
    [[nodiscard]] static uint64_t BytesRead() {
        std::ifstream counts("/proc/" + std::to_string(Child()) + "/io");
        std::string name;
        uint64_t bytes = 0;
        counts >> name >> bytes;
        return bytes;
    }

    std::optional<AheadProcess> m_process{8};
};

TEST_F(AheadHelper, PreparesTheFilesThatTheToolWillReach) {
    AddFiles(50);

    ASSERT_TRUE(m_process->TurnTo(m_folder.Get()));

    EXPECT_TRUE(HasPrepared(49)) << "all but the first, which the tool has reached";
    EXPECT_FALSE(m_process->HasEnded());
}

TEST_F(AheadHelper, StaysWithinALeadOverTheTool) {
    AddFiles(600);
    ASSERT_TRUE(m_process->TurnTo(m_folder.Get()));
    ASSERT_TRUE(HasPrepared(256));
    std::this_thread::sleep_for(milliseconds(20));
    EXPECT_EQ(m_process->Page().files.load(), 256U);

    m_process->Page().position.store(300);

    EXPECT_TRUE(HasPrepared(512));
}

TEST_F(AheadHelper, BeginsAgainIfMoreIsToBeDoneForEachFile) {
    AddFiles(50);
    ASSERT_TRUE(m_process->TurnTo(m_folder.Get()));
    ASSERT_TRUE(HasPrepared(49));

    m_process->Page().work.store(recorder::AHEAD_HEADERS);

    EXPECT_TRUE(HasPrepared(98));
}

TEST_F(AheadHelper, ReadsTheHeadersOfRecordingsOnlyIfTheToolReadsThem) {
    constexpr uint64_t kFiles = 50;
    for (uint64_t file = 0; file < kFiles; ++file) {
        contract::PutFile(fs::path(kFolder) / (std::to_string(file) + ".mp4"),
                          contract::Media("h264-aac.mp4"));
    }
    ASSERT_TRUE(m_process->TurnTo(m_folder.Get()));
    ASSERT_TRUE(HasPrepared(kFiles - 1));
    const uint64_t without = BytesRead();
    EXPECT_LT(without, kFiles * 4096) << "only what starting krahead reads";

    m_process->Page().work.store(recorder::AHEAD_HEADERS);

    EXPECT_TRUE(Until([&] { return BytesRead() >= without + (kFiles - 1) * 4096; }));
}

TEST_F(AheadHelper, TurnsToTheNextFolder) {
    AddFiles(50);
    ASSERT_TRUE(m_process->TurnTo(m_folder.Get()));
    ASSERT_TRUE(HasPrepared(49));
    m_process->LeaveFolder();

    ASSERT_TRUE(m_process->TurnTo(m_folder.Get()));

    EXPECT_TRUE(HasPrepared(98));
}

TEST_F(AheadHelper, ThatWasKilledHasEnded) {
    AddFiles(50);
    ASSERT_TRUE(m_process->TurnTo(m_folder.Get()));
    ASSERT_TRUE(HasPrepared(49));
    ASSERT_EQ(kill(Child(), SIGKILL), 0);

    EXPECT_TRUE(Until([&] { return m_process->HasEnded(); }));
    EXPECT_FALSE(m_process->TurnTo(m_folder.Get()));
}

TEST_F(AheadHelper, ThatWasStoppedIsKilledInTheEnd) {
    const pid_t helper = Child();
    ASSERT_EQ(kill(helper, SIGSTOP), 0);

    m_process.reset();

    EXPECT_EQ(kill(helper, 0), -1);
}

TEST_F(AheadHelper, HoldsNothingThatItDoesNotNeed) {
    AddFiles(50);
    ASSERT_TRUE(m_process->TurnTo(m_folder.Get()));
    ASSERT_TRUE(HasPrepared(49));
    std::set<std::string> opened;
    for (const auto& entry : fs::directory_iterator("/proc/" + std::to_string(Child()) + "/fd")) {
        std::error_code error;
        opened.insert(fs::read_symlink(entry.path(), error).string().substr(0, 7));
    }

    const std::vector<std::string> needed = {"socket:", "/dev/nu",
                                             "/memfd:", std::string(kFolder).substr(0, 7)};
    EXPECT_THAT(opened, testing::IsSubsetOf(needed));
}

} // namespace
