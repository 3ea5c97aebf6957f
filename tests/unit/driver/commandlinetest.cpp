#include "tests/unit/support/commandline.h"
#include "tests/unit/support/platformtest.h"

#include <cstdlib>
#include <ostream>

namespace unit {
namespace {

using Args = std::vector<std::string>;

constexpr const char* kUsage =
    "Usage:\n"
    "\t-h          help\n"
    "\t-n          non-blocking (fork to do the job)\n"
    "\t-r camId    re-index recording files of camId. (specify '-1' for all local cameras)\n"
    "\t-a camId    re-index alert recording files of camId. (specify '-1' for all local cameras)\n"
    "\t-s          re-index snapshot files.\n"
    "\t-e          re-index emap files.\n";

class CommandLineTest : public PlatformTest {
protected:
    CommandLineTest() {
        MakeMediaFolders();
        for (const int camId : {3, 5}) {
            AddCamera(camId);
        }
        LogUpTo(LOG_LEVEL_NOTICE);
    }

    // The functions of the jobs that began, in order.
    std::vector<std::string> Jobs() const {
        std::vector<std::string> jobs;
        for (const fakes::Message& message : platform.messages) {
            if (message.text.starts_with("Start to")) {
                jobs.push_back(message.func);
            }
        }
        return jobs;
    }

    // The cameras whose recordings and alert recordings were selected, in order.
    std::string Selected() const { return platform.LinesOf("Execute(4"); }
};

class NoJobTest : public CommandLineTest, public testing::WithParamInterface<Args> {};

TEST_P(NoJobTest, DoesNothing) {
    const Outcome outcome = RunMainCaptured(GetParam());

    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.output, "");
    EXPECT_EQ(outcome.errors, "");
    EXPECT_EQ(platform.FullTranscript(), "");
}

INSTANTIATE_TEST_SUITE_P(Options, NoJobTest,
                         testing::Values(Args{}, Args{"-n"}, Args{"-o"}, Args{"-n", "-o"},
                                         Args{"-on"}, Args{"operand"}, Args{"--", "-e"}));

class HelpTest : public CommandLineTest, public testing::WithParamInterface<Args> {};

TEST_P(HelpTest, PrintsTheUsageAndRunsNoJob) {
    const Outcome outcome = RunMainCaptured(GetParam());

    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.output, kUsage);
    EXPECT_EQ(outcome.errors, "");
    EXPECT_EQ(platform.FullTranscript(), "");
}

INSTANTIATE_TEST_SUITE_P(Options, HelpTest,
                         testing::Values(Args{"-h"}, Args{"-e", "-h"}, Args{"-h", "-e"},
                                         Args{"-h", "-x"}, Args{"-h", "-r"}));

struct Misuse {
    Args args;
    std::string diagnostic;
};

void PrintTo(const Misuse& misuse, std::ostream* out) {
    *out << testing::PrintToString(misuse.args);
}

class MisuseTest : public CommandLineTest, public testing::WithParamInterface<Misuse> {};

TEST_P(MisuseTest, PrintsADiagnosticAndTheUsageAndFails) {
    const Outcome outcome = RunMainCaptured(GetParam().args);

    EXPECT_EQ(outcome.status, -1);
    EXPECT_EQ(outcome.output, kUsage);
    EXPECT_EQ(outcome.errors, GetParam().diagnostic);
    EXPECT_EQ(platform.FullTranscript(), "");
}

INSTANTIATE_TEST_SUITE_P(
    Options, MisuseTest,
    testing::Values(Misuse{{"-x"}, "krindexer: invalid option -- 'x'\n"},
                    Misuse{{"-e", "-x", "-h"}, "krindexer: invalid option -- 'x'\n"},
                    Misuse{{"-r"}, "krindexer: option requires an argument -- 'r'\n"},
                    Misuse{{"-s", "-a"}, "krindexer: option requires an argument -- 'a'\n"}));

TEST_F(CommandLineTest, MisuseEndsTheProcessWithStatus255) {
    EXPECT_EXIT(std::exit(RunMain({"-x"})), testing::ExitedWithCode(255), "invalid option");
}

TEST_F(CommandLineTest, LowBitsOfARefusalAreTheExitStatus) {
    platform.Fail("RegTaskStart", 1, 256 + 75);
    EXPECT_EXIT(std::exit(RunMain({"-e"})), testing::ExitedWithCode(75), "");
}

struct JobOption {
    Args args;
    std::vector<std::string> jobs;
};

void PrintTo(const JobOption& option, std::ostream* out) {
    *out << testing::PrintToString(option.args);
}

class JobOptionTest : public CommandLineTest, public testing::WithParamInterface<JobOption> {};

TEST_P(JobOptionTest, RunsItsJobsInTheFixedOrder) {
    const Outcome outcome = RunMainCaptured(GetParam().args);

    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.output, "");
    EXPECT_EQ(outcome.errors, "");
    EXPECT_EQ(Jobs(), GetParam().jobs);
}

INSTANTIATE_TEST_SUITE_P(
    Options, JobOptionTest,
    testing::Values(
        JobOption{{"-e"}, {"DoReindexEmap"}}, JobOption{{"-s"}, {"DoReindexSnapshot"}},
        JobOption{{"-r", "3"}, {"DoReindexEvent"}}, JobOption{{"-a", "3"}, {"DoReindexAlertEvent"}},
        JobOption{{"-s", "-e"}, {"DoReindexEmap", "DoReindexSnapshot"}},
        JobOption{{"-a", "3", "-r", "3", "-s", "-e"},
                  {"DoReindexEmap", "DoReindexSnapshot", "DoReindexEvent", "DoReindexAlertEvent"}},
        JobOption{{"-e", "-e"}, {"DoReindexEmap"}}, JobOption{{"-e", "foo"}, {"DoReindexEmap"}},
        JobOption{{"foo", "-e"}, {"DoReindexEmap"}},
        JobOption{{"-se"}, {"DoReindexEmap", "DoReindexSnapshot"}},
        JobOption{{"-e", "--", "-s"}, {"DoReindexEmap"}}));

TEST_F(CommandLineTest, LastCameraAppliesToBothRecordingJobs) {
    EXPECT_EQ(RunMain({"-r", "3", "-a", "5"}), 0);
    EXPECT_EQ(Selected(), Lines({Query(4, EventSelect(5)), Query(4, AlertEventSelect(5))}));
}

struct CameraArgument {
    std::string text;
    std::vector<int> cameras;
};

void PrintTo(const CameraArgument& argument, std::ostream* out) {
    *out << testing::PrintToString(argument.text);
}

class CameraArgumentTest : public CommandLineTest,
                           public testing::WithParamInterface<CameraArgument> {};

TEST_P(CameraArgumentTest, SelectsTheCamerasOfBothJobs) {
    const auto& [text, cameras] = GetParam();
    std::string recordings;
    std::string alertRecordings;
    for (const int camId : cameras) {
        recordings += Query(4, EventSelect(camId)) + "\n";
        alertRecordings += Query(4, AlertEventSelect(camId)) + "\n";
    }
    EXPECT_EQ(RunMain({"-r", text}), 0);
    EXPECT_EQ(Selected(), recordings);

    platform.ForgetTranscript();
    EXPECT_EQ(RunMain({"-a", text}), 0);
    EXPECT_EQ(Selected(), alertRecordings);
}

INSTANTIATE_TEST_SUITE_P(Arguments, CameraArgumentTest,
                         testing::Values(CameraArgument{"3", {3}}, CameraArgument{"-1", {3, 5}},
                                         CameraArgument{"0", {3, 5}}, CameraArgument{"-7", {3, 5}},
                                         CameraArgument{"abc", {3, 5}}, CameraArgument{"", {3, 5}},
                                         CameraArgument{"5x", {5}}, CameraArgument{" +5", {5}},
                                         CameraArgument{"03", {3}}, CameraArgument{"0x5", {3, 5}},
                                         CameraArgument{"4294967301", {5}},
                                         CameraArgument{"4294967295", {3, 5}}));

TEST_F(CommandLineTest, StartTimeOfTheRunComesFromTheClock) {
    libc.now = 1394590500;

    EXPECT_EQ(RunMain({"-e"}), 0);

    EXPECT_EQ(platform.LinesOf("RecordTaskStatusToConf"),
              Lines({"RecordTaskStatusToConf(1394590500, 0, false)",
                     "RecordTaskStatusToConf(1394590500, 0, true)"}));
}

TEST_F(CommandLineTest, StartTimeOfTheRunIsReadBeforeTheOptionsAreParsed) {
    libc.now = 111;
    libc.beforeGetopt = [this] { libc.now = 222; };

    EXPECT_EQ(RunMain({"-e"}), 0);

    EXPECT_EQ(
        platform.LinesOf("RecordTaskStatusToConf"),
        Lines({"RecordTaskStatusToConf(111, 0, false)", "RecordTaskStatusToConf(111, 0, true)"}));
}

} // namespace
} // namespace unit
