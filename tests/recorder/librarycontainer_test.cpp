// The program krcontainers, which reads unusual containers, may crash or hang at any time; the
// recorder continues without it.

#include "recorder/container/librarycontainer.h"

#include "recorder/container/container.h"
#include "recorder/support/helperprocess.h"
#include "recorder/support/program.h"
#include "tests/contract/support/files.h"
#include "tests/contract/support/fixture.h"
#include "tests/contract/support/process.h"
#include "tests/recorder/support/containerbytes.h"
#include "tests/recorder/support/failure.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

using recorder::ContainerInfo;
using recorder::ContainerKind;
using support::FailureOf;

// The children of a process that run krcontainers.
std::vector<pid_t> ReadingPrograms(pid_t parent) {
    const std::string id = std::to_string(parent);
    std::ifstream children("/proc/" + id + "/task/" + id + "/children");
    std::vector<pid_t> found;
    for (pid_t child = 0; children >> child;) {
        std::ifstream comm("/proc/" + std::to_string(child) + "/comm");
        std::string name;
        if (std::getline(comm, name) && name == "krcontainers") {
            found.push_back(child);
        }
    }
    return found;
}

// The only krcontainers of this process.
pid_t ReadingProgram() {
    const std::vector<pid_t> ids = ReadingPrograms(getpid());
    if (ids.size() != 1) {
        throw std::runtime_error("expected one krcontainers, found " + std::to_string(ids.size()));
    }
    return ids.front();
}

// A recording in memory. Each time that bytes of it are read, an action is performed first.
template <typename Action> class DisturbedSource : public recorder::ByteSource {
public:
    DisturbedSource(std::string bytes, Action action)
        : m_bytes(std::move(bytes)), m_memory(support::SourceOf(m_bytes)),
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
    return FailureOf([&] { (void)recorder::ReadContainerByLibrary(source, kind); });
}

void DoNothing() {}

// Ends krcontainers, so that the test starts a new one.
void EndReadingProgram() {
    (void)ReadFrames(DoNothing);
    const pid_t id = ReadingProgram();
    kill(id, SIGKILL);
    waitpid(id, nullptr, 0);
}

// Short because the tests wait for all of it; long enough for a program that is not stopped.
constexpr std::chrono::milliseconds kTimeout{1500};

ContainerInfo ReadFrames(recorder::ContainerLibrary& library, const std::function<void()>& action) {
    DisturbedSource source(contract::Media("frames.mxg"), action);
    return library.Read(source, ContainerKind::Mxg);
}

bool Exists(pid_t id) {
    return kill(id, 0) == 0;
}

class ContainerLibraryLog : public contract::ContractTest {};

// The output and the exit status of krcontainers with this standard input.
std::pair<std::string, int> OutcomeWith(int input) {
    std::array<int, 2> output{};
    if (pipe2(output.data(), O_CLOEXEC) != 0) {
        throw std::runtime_error("no pipe");
    }
    const std::string program = recorder::ProgramPath("krcontainers");
    contract::Child child([&] {
        dup2(input, STDIN_FILENO);
        dup2(output[1], STDERR_FILENO);
        return execl(program.c_str(), program.c_str(), nullptr);
    });
    close(output[1]);
    std::string text;
    std::array<char, 256> buffer{};
    for (ssize_t length = 0; (length = read(output[0], buffer.data(), buffer.size())) > 0;) {
        text.append(buffer.data(), static_cast<std::size_t>(length));
    }
    close(output[0]);
    return {text, child.Wait()};
}

TEST(ContainerProgram, EndsSilentlyIfTheRecorderHasEnded) {
    std::array<recorder::UniqueFd, 2> ends = recorder::SocketPair(SOCK_SEQPACKET);
    ends[0].Reset();

    EXPECT_EQ(OutcomeWith(ends[1].Get()), std::pair(std::string(), 0));
}

TEST(ContainerProgram, RequiresARecorderAtItsStandardInput) {
    const recorder::UniqueFd file(open("/dev/null", O_RDONLY | O_CLOEXEC));

    const auto [text, status] = OutcomeWith(file.Get());

    EXPECT_EQ(status, 64);
    EXPECT_THAT(text, testing::HasSubstr("expected krindexer or krctl"));
}

TEST(ContainerLibrary, IsStartedOnceForAllContainers) {
    (void)ReadFrames(DoNothing);
    const pid_t first = ReadingProgram();

    EXPECT_EQ(ReadFrames(DoNothing).width, 320);
    EXPECT_EQ(ReadingProgram(), first);
}

TEST(ContainerLibrary, IsAskedAgainIfItIsKilledAtAContainer) {
    bool isKilled = false;

    const ContainerInfo info = ReadFrames([&] {
        if (!std::exchange(isKilled, true)) {
            kill(ReadingProgram(), SIGKILL);
        }
    });

    EXPECT_TRUE(isKilled);
    EXPECT_EQ(info.durationSec, ReadFrames(DoNothing).durationSec);
}

TEST(ContainerLibrary, IsStartedAgainIfItIsKilledBetweenTwoContainers) {
    (void)ReadFrames(DoNothing);
    kill(ReadingProgram(), SIGKILL);

    EXPECT_EQ(ReadFrames(DoNothing).width, 320);
}

TEST(ContainerLibrary, FailsOnlyForTheContainerThatCrashesIt) {
    DisturbedSource deadly(contract::Media("frames.mxg"), [] { kill(ReadingProgram(), SIGKILL); });

    EXPECT_EQ(FailureToRead(deadly, ContainerKind::Mxg),
              "the program krcontainers was ended by signal 9 (Killed)");
    EXPECT_EQ(ReadFrames(DoNothing).width, 320);
}

TEST(ContainerLibrary, IsKilledAndAskedAgainIfItHangsAtAContainer) {
    EndReadingProgram();
    recorder::ContainerLibrary library(kTimeout);
    pid_t stopped = 0;

    const ContainerInfo info = ReadFrames(library, [&] {
        if (stopped == 0) {
            stopped = ReadingProgram();
            kill(stopped, SIGSTOP);
        }
    });

    EXPECT_EQ(info.width, 320);
    EXPECT_NE(stopped, 0);
    EXPECT_FALSE(Exists(stopped));
}

TEST(ContainerLibrary, IsKilledAndAskedAgainIfItHangsBetweenTwoContainers) {
    EndReadingProgram();
    recorder::ContainerLibrary library(kTimeout);
    (void)ReadFrames(library, DoNothing);
    const pid_t stopped = ReadingProgram();
    kill(stopped, SIGSTOP);

    EXPECT_EQ(ReadFrames(library, DoNothing).width, 320);
    EXPECT_FALSE(Exists(stopped));
}

TEST(ContainerLibrary, IsKilledAndStartedAgainIfItHangsAtItsStart) {
    EndReadingProgram();
    const pid_t parent = getpid();
    contract::Child stopper([&] {
        std::vector<pid_t> programs;
        while (programs.empty()) {
            programs = ReadingPrograms(parent);
        }
        return kill(programs.front(), SIGSTOP);
    });
    recorder::ContainerLibrary library(kTimeout);

    EXPECT_EQ(ReadFrames(library, DoNothing).width, 320);
    EXPECT_EQ(stopper.Wait(), 0);
    EXPECT_EQ(ReadingPrograms(parent).size(), 1U);
}

TEST_F(ContainerLibraryLog, ReportsOnceThatAProgramThatHungTwiceIsNotUsedAgain) {
    EndReadingProgram();
    recorder::ContainerLibrary library(kTimeout);
    std::vector<pid_t> stopped;
    const auto stop = [&] {
        stopped.push_back(ReadingProgram());
        kill(stopped.back(), SIGSTOP);
    };

    EXPECT_EQ(FailureOf([&] { (void)ReadFrames(library, stop); }),
              "the program krcontainers did not answer within 1500 ms and was killed");
    for (int time = 0; time < 3; ++time) {
        EXPECT_EQ(FailureOf([&] { (void)ReadFrames(library, stop); }),
                  "the program krcontainers is no longer used: it did not answer 2 times");
    }

    EXPECT_THAT(stopped, testing::SizeIs(2));
    EXPECT_FALSE(std::any_of(stopped.begin(), stopped.end(), Exists));
    EXPECT_THAT(ReadingPrograms(getpid()), testing::IsEmpty());
    EXPECT_THAT(LogLinesWith("it is not used again in this run"), testing::SizeIs(1));
}

TEST(ContainerLibrary, IsNotUsedAgainIfItHangsAtTwoContainers) {
    EndReadingProgram();
    recorder::ContainerLibrary library(kTimeout);
    std::vector<pid_t> stopped;
    const auto stopEachOnce = [&] {
        if (stopped.empty() || stopped.back() != ReadingProgram()) {
            stopped.push_back(ReadingProgram());
            kill(stopped.back(), SIGSTOP);
        }
    };
    bool isStopped = false;

    EXPECT_EQ(ReadFrames(library,
                         [&] {
                             if (!std::exchange(isStopped, true)) {
                                 stopEachOnce();
                             }
                         })
                  .width,
              320);
    EXPECT_EQ(FailureOf([&] { (void)ReadFrames(library, stopEachOnce); }),
              "the program krcontainers did not answer within 1500 ms and was killed");

    EXPECT_THAT(stopped, testing::SizeIs(2));
    EXPECT_THAT(ReadingPrograms(getpid()), testing::IsEmpty());
}

TEST(ContainerLibrary, MayTakeLongerIfTheDiskIsSlow) {
    EndReadingProgram();
    recorder::ContainerLibrary library(kTimeout);
    pid_t first = 0;

    (void)ReadFrames(library, [&] {
        if (std::exchange(first, ReadingProgram()) == 0) {
            std::this_thread::sleep_for(kTimeout + std::chrono::seconds(1));
        }
    });

    EXPECT_EQ(ReadingProgram(), first);
}

TEST(ContainerLibrary, IgnoresTheSignalsThatEndARun) {
    (void)ReadFrames(DoNothing);
    const pid_t first = ReadingProgram();

    EXPECT_EQ(ReadFrames([&] {
                  for (const int signal : {SIGHUP, SIGINT, SIGQUIT, SIGTERM}) {
                      kill(first, signal);
                  }
              }).width,
              320);
    EXPECT_EQ(ReadingProgram(), first);
}

TEST(ContainerLibrary, AnswersCorrectlyAfterAnInterruptedQuestion) {
    DisturbedSource interrupted(contract::Media("frames.mxg"),
                                [] { throw std::runtime_error("interrupted"); });
    EXPECT_THROW((void)recorder::ReadContainerByLibrary(interrupted, ContainerKind::Mxg),
                 std::runtime_error);

    const std::string bytes = contract::Media("mjpeg-pcm.avi");
    recorder::MemorySource other = support::SourceOf(bytes);
    const ContainerInfo info = recorder::ReadContainerByLibrary(other, ContainerKind::Avi);
    EXPECT_EQ(info.audType, recorder::AUDIO_PCM);
}

TEST(ContainerLibrary, InheritsOnlyTheStandardDescriptors) {
    EndReadingProgram();
    const int leaked = open("/dev/null", O_WRONLY); // without O_CLOEXEC

    (void)ReadFrames(DoNothing);

    std::vector<std::string> names;
    for (const fs::directory_entry& entry :
         fs::directory_iterator("/proc/" + std::to_string(ReadingProgram()) + "/fd")) {
        names.push_back(entry.path().filename());
    }
    EXPECT_THAT(names, testing::UnorderedElementsAre("0", "1", "2"));
    close(leaked);
}

TEST(ContainerLibrary, IsKilledWithItsRecorder) {
    EndReadingProgram();
    prctl(PR_SET_CHILD_SUBREAPER, 1); // so that this process can wait for it
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
    contract::Child recorder([&] {
        (void)ReadFrames(DoNothing);
        const pid_t id = ReadingProgram();
        kill(id, SIGSTOP);
        return write(ends[1], &id, sizeof(id)) == sizeof(id) ? pause() : 1;
    });
    pid_t id = 0;
    ASSERT_EQ(read(ends[0], &id, sizeof(id)), sizeof(id));

    recorder.Kill();

    int status = 0;
    EXPECT_EQ(waitpid(id, &status, 0), id);
    EXPECT_TRUE(WIFSIGNALED(status));
    close(ends[0]);
    close(ends[1]);
}

TEST(ContainerLibrary, HasAMinuteOfProcessorTimeForAContainer) {
    (void)ReadFrames(DoNothing);
    struct rlimit limit = {};

    ASSERT_EQ(prlimit(ReadingProgram(), RLIMIT_CPU, nullptr, &limit), 0);

    EXPECT_GE(limit.rlim_cur, 60U);
    EXPECT_LE(limit.rlim_cur, 70U); // includes the time that it has already used
}

TEST(ContainerLibrary, PassesOnTheReasonIfBytesCantBeRead) {
    DisturbedSource unreadable(contract::Media("h264-aac.mp4"),
                               [] { throw recorder::Error("can't read the disk"); });

    EXPECT_EQ(FailureToRead(unreadable, ContainerKind::Mp4), "can't read the disk");
}

TEST(ContainerLibrary, FailsIfSomeFramesCantBeRead) {
    int reads = 0;
    DisturbedSource unreadable(contract::Media("frames.mxg"), [&] {
        if (++reads > 1) {
            throw recorder::Error("can't read the disk");
        }
    });

    EXPECT_EQ(FailureToRead(unreadable, ContainerKind::Mxg), "can't read the disk");
}

TEST(ContainerLibrary, ReportsWhatIsWrongWithAContainer) {
    recorder::MemorySource nothing({});

    EXPECT_EQ(FailureToRead(nothing, ContainerKind::Mp4),
              "can't read the container: Invalid data found when processing input "
              "(moov atom not found)");
}

} // namespace
