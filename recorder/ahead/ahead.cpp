#include "recorder/ahead/ahead.h"

#include "recorder/ahead/aheadprocess.h"
#include "recorder/ahead/filestate.h"
#include "recorder/ahead/habit.h"
#include "recorder/ahead/waitmeter.h"
#include "recorder/settings/settings.h"
#include "recorder/support/deadline.h"
#include "recorder/support/error.h"
#include "recorder/support/medianames.h"
#include "recorder/support/processors.h"
#include "recorder/support/program.h"
#include "recorder/support/temporaryfile.h"
#include "recorder/support/uninterrupted.h"
#include "recorder/support/uniquefd.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <optional>
#include <string>
#include <thread>

#include <fcntl.h>
#include <sys/stat.h>

namespace recorder {

namespace {

constexpr int kMostHelpers = 64;

// A krahead that ended by itself so often is not started again in this process.
constexpr int kMaxUnexpectedEnds = 3;

// krahead is stopped unless the walk gets so much quicker, over so many samples.
constexpr double kMinGain = 1.1;
constexpr int kSamplesToJudge = 50; // a second or more

// After each stop, the tool must be found to wait in twice as many samples before the next start.
constexpr int kMaxSamplesToStart = 1024;

// The folder for thumbnails in an open folder of pictures, never through a link.
UniqueFd OpenThumbnails(int pictures) {
    return UniqueFd(Uninterrupted([&] {
        return openat(pictures, kThumbnailDirName, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    }));
}

// Without krahead, no unclaimed thumbnail is locked any more.
void RemoveUnclaimedThumbnails(int pictures) {
    const UniqueFd thumbnails = OpenThumbnails(pictures);
    if (thumbnails.IsOpen()) {
        RemoveLeftTemporaries(thumbnails.Get());
    }
}

constexpr std::chrono::seconds kTimeToTry{10};
constexpr std::chrono::milliseconds kTryEvery{2};

class Ahead {
public:
    static Ahead& OfThisProcess() {
        static Ahead ahead;
        return ahead;
    }

    void ReachFile(int folder);
    void LeaveFolder();
    void ReadHeaders() { m_headers.Note(); }
    [[nodiscard]] AheadThumbnail* MakeThumbnail(const std::string& name);
    [[nodiscard]] int PreparedAtOnce() const {
        return m_process ? static_cast<int>(m_process->Page().concurrent.load()) : 0;
    }
    void End() { m_process.reset(); }

private:
    Ahead() : m_setting(SettingsOrDefaults().ahead.helpers) {}

    [[nodiscard]] uint32_t Work() const;
    void EnterFolder(int folder);
    void Show();
    void Judge(const WaitSample& sample);
    void JudgeWaiting(const WaitSample& sample);
    void JudgeGain(const WaitSample& sample);
    void Start(int helpers);
    void StopUntilWorthwhile();

    std::optional<int> m_setting;
    std::optional<AheadProcess> m_process;
    int m_folder = -1; // the one that the tool walks
    uint64_t m_position = 0;
    Habit m_headers;
    Habit m_thumbnails;
    WaitMeter m_meter;
    int m_unexpectedEnds = 0;
    int m_waitingSamples = 0;
    int m_samplesToStart = 1;
    WaitSample m_without; // of the work before krahead was started
    WaitSample m_with;    // since then
    int m_samplesWith = 0;
    uint32_t m_workWithout = 0;
    bool m_mayHaveThumbnails = false; // of pictures in the folder
};

void Ahead::ReachFile(int folder) {
    if (m_setting == 0) {
        return;
    }
    m_headers.NextFile();
    m_thumbnails.NextFile();
    ++m_position;
    if (m_folder < 0) {
        EnterFolder(folder);
        return;
    }
    Show();
    if (const std::optional<WaitSample> sample = m_meter.CountFile()) {
        Judge(*sample);
    }
}

void Ahead::EnterFolder(int folder) {
    m_folder = folder;
    m_position = 1;
    m_meter.Resume(); // the time before the first file is not that of a file
    if (m_process && !m_process->TurnTo(m_folder)) {
        m_process.reset();
        ++m_unexpectedEnds;
    }
    if (!m_process && m_setting) {
        Start(*m_setting);
    }
}

void Ahead::LeaveFolder() {
    if (m_folder < 0) {
        return; // it had no files
    }
    m_meter.Pause();
    if (m_mayHaveThumbnails) {
        m_process.reset();
        RemoveUnclaimedThumbnails(m_folder);
        m_mayHaveThumbnails = false;
    }
    if (m_process) {
        m_process->LeaveFolder();
    }
    m_folder = -1;
}

uint32_t Ahead::Work() const {
    return (m_headers.IsUsual() ? AHEAD_HEADERS : 0U) |
           (m_thumbnails.IsUsual() ? AHEAD_THUMBNAILS : 0U);
}

void Ahead::Show() {
    if (m_process) {
        const uint32_t work = Work();
        m_mayHaveThumbnails = m_mayHaveThumbnails || (work & AHEAD_THUMBNAILS) != 0;
        m_process->Page().work.store(work, std::memory_order_relaxed);
        m_process->Page().position.store(m_position, std::memory_order_release);
    }
}

void Ahead::Judge(const WaitSample& sample) {
    if (m_process && m_process->HasEnded()) {
        m_process.reset();
        ++m_unexpectedEnds;
    }
    if (m_setting) {
        return; // not to be judged
    }
    if (!m_process) {
        JudgeWaiting(sample);
    } else if (m_process->Page().isIdle.load(std::memory_order_relaxed)) {
        StopUntilWorthwhile();
    } else {
        JudgeGain(sample);
    }
}

void Ahead::JudgeWaiting(const WaitSample& sample) {
    const bool isWaiting = sample.IsWaiting() || (m_thumbnails.IsUsual() && UsableProcessors() > 1);
    m_waitingSamples = isWaiting ? m_waitingSamples + 1 : 0;
    if (m_waitingSamples >= m_samplesToStart) {
        m_without = sample;
        m_workWithout = Work();
        Start(kMostHelpers);
    }
}

// Other work than before takes another time, with or without krahead.
void Ahead::JudgeGain(const WaitSample& sample) {
    m_with += sample;
    ++m_samplesWith;
    if (m_samplesWith < kSamplesToJudge || Work() != m_workWithout) {
        return;
    }
    if (m_with.FilesPerS() < kMinGain * m_without.FilesPerS()) {
        StopUntilWorthwhile();
    }
    m_with = {};
    m_samplesWith = 0;
}

void Ahead::Start(int helpers) {
    m_waitingSamples = 0;
    m_with = {};
    m_samplesWith = 0;
    if (m_unexpectedEnds >= kMaxUnexpectedEnds) {
        return;
    }
    try {
        m_process.emplace(helpers);
        if (m_process->TurnTo(m_folder)) {
            Show();
            return;
        }
    } catch (const std::exception&) {
        // No process, memory or descriptor is left, or the program is missing (krctl doctor says
        // which). The run does without.
    }
    m_process.reset();
    ++m_unexpectedEnds;
}

void Ahead::StopUntilWorthwhile() {
    m_process.reset();
    m_samplesToStart = std::min(2 * m_samplesToStart, kMaxSamplesToStart);
}

AheadThumbnail* Ahead::MakeThumbnail(const std::string& name) {
    m_thumbnails.Note();
    return m_process ? m_process->ClaimThumbnail(name) : nullptr;
}

std::optional<AheadFileState> StateOfName(int folder, const char* name) {
    struct stat64 st = {};
    if (Uninterrupted([&] { return fstatat64(folder, name, &st, AT_SYMLINK_NOFOLLOW); }) != 0) {
        return std::nullopt;
    }
    return StateOf(st);
}

// Some file systems correct the times of a new file later, so only its identity counts.
bool IsTemporaryOf(const AheadThumbnail& made, int folder) {
    const std::optional<AheadFileState> found = StateOfName(folder, made.temporaryName.data());
    return found && found->device == made.temporaryDevice && found->number == made.temporaryNumber;
}

// Gives the thumbnail its name, if it was made from the picture as it is now.
bool Publish(const AheadThumbnail& made, const std::string& folderPath, const std::string& name) {
    const UniqueFd pictures(
        Uninterrupted([&] { return open(folderPath.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC); }));
    const UniqueFd thumbnails = OpenThumbnails(pictures.Get());
    return thumbnails.IsOpen() && StateOfName(pictures.Get(), name.c_str()) == made.picture &&
           IsTemporaryOf(made, thumbnails.Get()) &&
           Uninterrupted([&] {
               return renameat(thumbnails.Get(), made.temporaryName.data(), thumbnails.Get(),
                               name.c_str());
           }) == 0;
}

} // namespace

void AheadReachesFile(int folder) noexcept {
    Ahead::OfThisProcess().ReachFile(folder);
}

void AheadLeavesFolder() noexcept {
    Ahead::OfThisProcess().LeaveFolder();
}

void AheadReadsHeaders() noexcept {
    Ahead::OfThisProcess().ReadHeaders();
}

bool AheadMadeThumbnail(const std::string& folderPath, const std::string& name) {
    AheadThumbnail* const made = Ahead::OfThisProcess().MakeThumbnail(name);
    if (made == nullptr) {
        return false;
    }
    const bool isPublished = Publish(*made, folderPath, name);
    made->state.store(isPublished ? AheadThumbnailState::Claimed : AheadThumbnailState::Refused,
                      std::memory_order_release);
    return isPublished;
}

int FilesPreparedAtOnce() noexcept {
    return Ahead::OfThisProcess().PreparedAtOnce();
}

void EndWorkAhead() noexcept {
    Ahead::OfThisProcess().End();
}

void RequireWorkAhead() {
    if (GetSettings().ahead.helpers == 0) {
        return;
    }
    const std::string path = ProgramFolder(); // which has several files
    const UniqueFd folder(
        Uninterrupted([&] { return open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); }));
    if (!folder.IsOpen()) {
        throw SystemError("open folder " + path);
    }
    AheadProcess process(1);
    const Deadline deadline = Deadline::In(kTimeToTry);
    bool isWorking = process.TurnTo(folder.Get());
    while (isWorking && process.Page().files.load(std::memory_order_relaxed) == 0) {
        std::this_thread::sleep_for(kTryEvery);
        isWorking = !process.HasEnded() && !deadline.IsOver();
    }
    if (!isWorking) {
        throw Error("the program krahead ended or did not respond");
    }
}

} // namespace recorder
