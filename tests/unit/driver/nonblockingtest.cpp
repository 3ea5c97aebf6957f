// The run in a child process: the calls of the two processes and their order. The parent returns
// after the child has registered itself.

#include "tests/unit/support/commandline.h"
#include "tests/unit/support/platformtest.h"

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <ostream>
#include <sstream>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace unit {
namespace {

// The journal of a test and of the process that it forks; -1 in other tests.
int& JournalFd() {
    static int fd = -1;
    return fd;
}

// Reports in the journal that the exit handlers of a process run.
void ReportExitHandler() {
    constexpr std::string_view kReport = "an exit handler ran\n";
    if (JournalFd() != -1 && write(JournalFd(), kReport.data(), kReport.size()) < 0) {
        _exit(99);
    }
}

// Waits until all other processes have closed the pipe's write end.
void AwaitClosing(const int (&pipe)[2]) {
    close(pipe[1]);
    char nothing = 0;
    while (read(pipe[0], &nothing, 1) < 0 && errno == EINTR) {
    }
}

class NonBlockingTest : public PlatformTest {
protected:
    NonBlockingTest() : m_journal(Path("journal")) {
        MakeMediaFolders();
        libc.now = 111;
        libc.recordProcessCalls = true;
        LogUpTo(LOG_LEVEL_NOTICE);
        JournalFd() = open(m_journal.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
        platform.KeepJournal(JournalFd());
    }
    ~NonBlockingTest() override {
        close(JournalFd());
        JournalFd() = -1;
    }
    NonBlockingTest(const NonBlockingTest&) = delete;
    NonBlockingTest& operator=(const NonBlockingTest&) = delete;
    NonBlockingTest(NonBlockingTest&&) = delete;
    NonBlockingTest& operator=(NonBlockingTest&&) = delete;

    // Runs main in this process. A child that returns from main reports that and ends.
    int Run(const std::vector<std::string>& args) {
        const pid_t self = getpid();
        const int status = RunMain(args);
        if (getpid() != self) {
            platform.Note("main returned");
            _exit(98);
        }
        return status;
    }

    // The lines of one process ("parent: " or "child: ") without that prefix; or all lines.
    std::string Journal(const std::string& process = "") const {
        std::ifstream file(m_journal);
        std::string text;
        for (std::string line; std::getline(file, line);) {
            if (line.starts_with(process)) {
                text += line.substr(process.size()) + "\n";
            }
        }
        return text;
    }

    // Waits for the child's end and returns its exit status; -1 if a signal ended it.
    int ChildStatus() const {
        int status = 0;
        EXPECT_EQ(waitpid(libc.child, &status, 0), libc.child);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    // Expects that the parent registers the task, forks and waits for the child's message.
    void ExpectParentWaited() const {
        EXPECT_EQ(Journal("parent: "), Lines({
                                           "RegTaskStart()",
                                           "pipe()",
                                           "fork()",
                                           "close(writeEnd)",
                                           "read(readEnd, 4)",
                                           "close(readEnd)",
                                       }));
    }

    std::string m_journal;
};

TEST_F(NonBlockingTest, ChildRunsTheJobsAndEndsTheTask) {
    EXPECT_EQ(Run({"-n", "-e"}), 0);
    ASSERT_GT(libc.child, 0);
    EXPECT_EQ(ChildStatus(), 0);

    ExpectParentWaited();
    EXPECT_EQ(Journal("child: "),
              Lines({
                  "close(readEnd)",
                  "SetTaskPid(" + std::to_string(libc.child) + ")",
                  "close(writeEnd)",
                  "RecordTaskStatusToConf(111, 0, false)",
                  Log("notice", "krindexer", "DoReindexEmap", "Start to re-index emap.\n"),
                  Query(0, kEmapSelect),
                  "KRDBFreeResult(result)",
                  Log("notice", "krindexer", "DoReindexEmap",
                      "Re-index emap complete with re-indexed record cnt [0].\n"),
                  "SetTaskProgress(1)",
                  "RecordTaskStatusToConf(111, 0, true)",
                  "RegTaskDone()",
                  "_exit(0)",
              }));
}

TEST_F(NonBlockingTest, ParentReturnsOnlyAfterTheChildHasRegisteredItself) {
    // The child registers itself when the parent waits for it, or has returned without waiting.
    int gate[2] = {-1, -1};
    ASSERT_EQ(pipe2(gate, O_CLOEXEC), 0);
    const pid_t self = getpid();
    platform.beforeCall = [&gate, self](std::string_view operation) {
        if (operation == "SetTaskPid" && getpid() != self) {
            AwaitClosing(gate);
        }
    };
    libc.beforeRead = [&gate] {
        close(gate[1]);
        gate[1] = -1;
    };

    EXPECT_EQ(Run({"-n", "-e"}), 0);
    const std::string childAtReturn = Journal("child: ");
    if (gate[1] != -1) {
        close(gate[1]);
    }
    close(gate[0]);
    ASSERT_GT(libc.child, 0);
    EXPECT_EQ(ChildStatus(), 0);

    EXPECT_NE(childAtReturn.find("SetTaskPid(" + std::to_string(libc.child) + ")"),
              std::string::npos)
        << childAtReturn;
}

TEST_F(NonBlockingTest, ParentReturnsBeforeTheChildStartsItsJobs) {
    // The child does not begin its jobs before the parent has returned.
    int gate[2] = {-1, -1};
    ASSERT_EQ(pipe2(gate, O_CLOEXEC), 0);
    platform.beforeCall = [&gate](std::string_view operation) {
        if (operation == "RecordTaskStatusToConf") {
            AwaitClosing(gate);
        }
    };

    EXPECT_EQ(Run({"-n", "-e"}), 0);
    const std::string childAtReturn = Journal("child: ");
    close(gate[1]);
    close(gate[0]);
    ASSERT_GT(libc.child, 0);
    EXPECT_EQ(ChildStatus(), 0);

    EXPECT_EQ(childAtReturn,
              Lines({"close(readEnd)", "SetTaskPid(" + std::to_string(libc.child) + ")",
                     "close(writeEnd)"}));
}

TEST_F(NonBlockingTest, ParentReturnsIfTheChildDies) {
    const pid_t self = getpid();
    platform.beforeCall = [self](std::string_view operation) {
        if (operation == "SetTaskPid" && getpid() != self) {
            _exit(7);
        }
    };

    EXPECT_EQ(Run({"-n", "-e"}), 0);

    ASSERT_GT(libc.child, 0);
    EXPECT_EQ(ChildStatus(), 7);
    EXPECT_EQ(platform.CallCnt("RegTaskDone"), 0);
}

TEST_F(NonBlockingTest, ChildRunsNoExitHandlers) {
    ASSERT_EQ(std::atexit(ReportExitHandler), 0);

    EXPECT_EQ(Run({"-n", "-e"}), 0);

    ASSERT_GT(libc.child, 0);
    EXPECT_EQ(ChildStatus(), 0);
    EXPECT_EQ(Journal("an exit handler ran"), "");
    EXPECT_NE(Journal().find("_exit(0)\n"), std::string::npos);
}

TEST_F(NonBlockingTest, ChildExitsWithZeroEvenIfItsJobsFail) {
    platform.FailAlways("Execute");

    EXPECT_EQ(Run({"-n", "-e"}), 0);

    ASSERT_GT(libc.child, 0);
    EXPECT_EQ(ChildStatus(), 0);
    EXPECT_NE(Journal("child: ").find("record cnt [-1]"), std::string::npos);
}

TEST_F(NonBlockingTest, FailedPipeEndsTheTaskWithStatusOne) {
    libc.pipeError = EMFILE;
    LogUpTo(0);

    EXPECT_EQ(Run({"-n", "-e"}), 1);

    EXPECT_EQ(Transcript(), Lines({
                                "RegTaskStart()",
                                "pipe()",
                                LogAlways("krindexer", "Start", "Pipe failed with errno [24]\n"),
                                "RegTaskDone()",
                            }));
    EXPECT_EQ(libc.child, -1);
}

TEST_F(NonBlockingTest, FailedForkEndsTheTaskWithStatusZero) {
    libc.forkError = EAGAIN;
    LogUpTo(0);

    EXPECT_EQ(Run({"-n", "-e"}), 0);

    EXPECT_EQ(Transcript(), Lines({
                                "RegTaskStart()",
                                "pipe()",
                                "fork()",
                                LogAlways("krindexer", "Start", "Fork failed with errno [11].\n"),
                                "close(readEnd)",
                                "close(writeEnd)",
                                "RegTaskDone()",
                            }));
    EXPECT_EQ(libc.child, -1);
}

TEST_F(NonBlockingTest, BlockingAndUnregisteredRunsNeverFork) {
    EXPECT_EQ(Run({"-e"}), 0);
    EXPECT_EQ(Run({"-o", "-n", "-e"}), 0);
    EXPECT_EQ(platform.CallCnt("fork()"), 0);
    EXPECT_EQ(platform.CallCnt("pipe()"), 0);
    EXPECT_EQ(platform.CallCnt("SetTaskPid"), 0);
    EXPECT_EQ(platform.CallCnt("_exit(0)"), 0);
}

struct ReadOutcome {
    ssize_t result;
    int error;
};

void PrintTo(const ReadOutcome& outcome, std::ostream* out) {
    *out << outcome.result << " with errno " << outcome.error;
}

class PipeReadTest : public NonBlockingTest, public testing::WithParamInterface<ReadOutcome> {};

TEST_P(PipeReadTest, EndsTheWaitWithAnyResult) {
    libc.nextRead = {GetParam().result, GetParam().error};

    EXPECT_EQ(Run({"-n", "-e"}), 0);
    ASSERT_GT(libc.child, 0);
    EXPECT_EQ(ChildStatus(), 0);

    ExpectParentWaited();
}

INSTANTIATE_TEST_SUITE_P(Outcomes, PipeReadTest,
                         testing::Values(ReadOutcome{-1, EINTR}, ReadOutcome{-1, EIO},
                                         ReadOutcome{4, 0}, ReadOutcome{1, 0}));

} // namespace
} // namespace unit
