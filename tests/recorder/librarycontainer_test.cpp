// The program that reads containers out of the ordinary may end at any time; whoever asked it goes
// on.

#include "recorder/recording/librarycontainer.h"

#include "recorder/support/error.h"
#include "tests/contract/support/files.h"

#include <csignal>
#include <fstream>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using recorder::ContainerInfo;
using recorder::ContainerKind;

// This process's only child.
pid_t ReadingProgram() {
    std::ifstream children("/proc/self/task/" + std::to_string(getpid()) + "/children");
    const std::vector<pid_t> ids{std::istream_iterator<pid_t>(children), {}};
    if (ids.size() != 1) {
        throw std::runtime_error("not one krcontainers, but " + std::to_string(ids.size()));
    }
    return ids.front();
}

// A recording in memory, and what is done each time that bytes of it are wanted.
template <typename Action> class DisturbedSource : public recorder::ByteSource {
public:
    DisturbedSource(std::string bytes, Action action)
        : m_bytes(std::move(bytes)),
          m_memory({reinterpret_cast<const uint8_t*>(m_bytes.data()), m_bytes.size()}),
          m_action(std::move(action)) {}

    [[nodiscard]] int64_t Size() const override { return m_memory.Size(); }

    [[nodiscard]] std::size_t ReadAt(int64_t offset, std::span<uint8_t> buffer) override {
        m_action();
        return m_memory.ReadAt(offset, buffer);
    }

private:
    std::string m_bytes;
    recorder::MemorySource m_memory;
    Action m_action;
};

template <typename Action> ContainerInfo ReadFrames(Action action) {
    DisturbedSource source(contract::Media("frames.mxg"), std::move(action));
    return recorder::ReadContainerByLibrary(source, ContainerKind::Mxg);
}

std::string FailureToRead(recorder::ByteSource& source, ContainerKind kind) {
    try {
        (void)recorder::ReadContainerByLibrary(source, kind);
    } catch (const recorder::Error& error) {
        return error.what();
    }
    return "succeeded";
}

void LeaveInPeace() {}

TEST(ContainerLibrary, IsStartedOnceForAllContainers) {
    (void)ReadFrames(LeaveInPeace);
    const pid_t first = ReadingProgram();

    EXPECT_EQ(ReadFrames(LeaveInPeace).width, 320);
    EXPECT_EQ(ReadingProgram(), first);
}

TEST(ContainerLibrary, ThatIsKilledAtAContainerIsAskedAgain) {
    bool isKilled = false;

    const ContainerInfo info = ReadFrames([&] {
        if (!std::exchange(isKilled, true)) {
            kill(ReadingProgram(), SIGKILL);
        }
    });

    EXPECT_TRUE(isKilled);
    EXPECT_EQ(info.durationSec, ReadFrames(LeaveInPeace).durationSec);
}

TEST(ContainerLibrary, ThatIsKilledBetweenTwoContainersIsStartedAgain) {
    (void)ReadFrames(LeaveInPeace);
    kill(ReadingProgram(), SIGKILL);

    EXPECT_EQ(ReadFrames(LeaveInPeace).width, 320);
}

TEST(ContainerLibrary, ThatDoesNotSurviveAContainerFailsForThatOneOnly) {
    DisturbedSource deadly(contract::Media("frames.mxg"), [] { kill(ReadingProgram(), SIGKILL); });

    EXPECT_EQ(FailureToRead(deadly, ContainerKind::Mxg),
              "the program krcontainers was ended by signal 9 (Killed)");
    EXPECT_EQ(ReadFrames(LeaveInPeace).width, 320);
}

TEST(ContainerLibrary, IsNotEndedByWhatEndsARun) {
    (void)ReadFrames(LeaveInPeace);
    const pid_t first = ReadingProgram();

    EXPECT_EQ(ReadFrames([&] {
                  for (const int signal : {SIGHUP, SIGINT, SIGQUIT, SIGTERM}) {
                      kill(first, signal);
                  }
              }).width,
              320);
    EXPECT_EQ(ReadingProgram(), first);
}

TEST(ContainerLibrary, IsNotBlamedForBytesThatCanNotBeRead) {
    DisturbedSource unreadable(contract::Media("h264-aac.mp4"),
                               [] { throw recorder::Error("can't read the disk"); });

    EXPECT_EQ(FailureToRead(unreadable, ContainerKind::Mp4), "can't read the disk");
}

TEST(ContainerLibrary, SaysWhatIsWrongWithAContainer) {
    recorder::MemorySource nothing({});

    EXPECT_EQ(FailureToRead(nothing, ContainerKind::Mp4),
              "can't read the container: Invalid data found when processing input "
              "(moov atom not found)");
}

} // namespace
