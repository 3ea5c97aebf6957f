#include "tools/common/joboptions.h"

#include "tools/common/exitstatus.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <CLI/CLI.hpp>

namespace {

using ::testing::ElementsAre;

using Arguments = std::vector<std::string>;

JobSelection Parsed(Arguments arguments) {
    CLI::App app;
    JobSelection jobs;
    AddJobOptions(*app.add_subcommand("plan"), jobs);
    std::reverse(arguments.begin(), arguments.end());
    arguments.emplace_back("plan");
    app.parse(arguments);
    return jobs;
}

std::vector<Arguments> RunsFor(const Arguments& arguments) {
    std::vector<Arguments> runs;
    for (const JobOptions& run : RunsOf(Parsed(arguments))) {
        runs.push_back(ArgumentsOf(run));
    }
    return runs;
}

TEST(Runs, WithoutASelectionAreOneForAllCamerasAndKinds) {
    EXPECT_THAT(RunsFor({}), ElementsAre(Arguments{"-e", "-s", "-r", "-1", "-a", "-1"}));
}

TEST(Runs, OfKrindexersOwnOptionsAreOneWithTheseOptions) {
    EXPECT_THAT(RunsFor({"-r", "3", "-s"}), ElementsAre(Arguments{"-s", "-r", "3"}));
}

TEST(Runs, OfKindsWithoutACameraAreOneForAllCameras) {
    EXPECT_THAT(RunsFor({"--kind", "recordings", "--kind", "e-maps"}),
                ElementsAre(Arguments{"-e", "-r", "-1"}));
}

TEST(Runs, OfCamerasAreOneForEachWithItsRecordingsAndAlertRecordings) {
    EXPECT_THAT(RunsFor({"--camera", "3", "--camera", "7", "--camera", "3"}),
                ElementsAre(Arguments{"-r", "3", "-a", "3"}, Arguments{"-r", "7", "-a", "7"}));
}

TEST(Runs, OfCamerasHaveTheKindsWithoutCamerasInTheFirst) {
    EXPECT_THAT(RunsFor({"--camera", "3", "--camera", "7", "--kind", "alert-recordings", "--kind",
                         "snapshots", "--kind", "e-maps"}),
                ElementsAre(Arguments{"-e", "-s", "-a", "3"}, Arguments{"-a", "7"}));
}

TEST(JobOptions, ThatContradictEachOtherAreWrongUsage) {
    for (const Arguments& arguments :
         {Arguments{"-r", "1", "-a", "2"}, Arguments{"-r", "1", "--camera", "1"},
          Arguments{"-s", "--kind", "e-maps"}, Arguments{"--camera", "1", "--kind", "snapshots"},
          Arguments{"--kind", "event"}, Arguments{"--camera", "0"}, Arguments{"--camera", "-1"},
          Arguments{"--camera", "1", "2"}}) {
        EXPECT_THROW(Parsed(arguments), CLI::ParseError) << arguments.back();
    }
}

TEST(KnownCameras, AreRequiredForEachWayToSelectOne) {
    for (const Arguments& arguments : {Arguments{"-r", "7"}, Arguments{"-a", "7"},
                                       Arguments{"--camera", "3", "--camera", "7"}}) {
        EXPECT_THROW(RequireKnownCameras(Parsed(arguments), {3}), UsageError);
        EXPECT_NO_THROW(RequireKnownCameras(Parsed(arguments), {3, 7}));
    }
    EXPECT_NO_THROW(RequireKnownCameras(Parsed({"-r", "-1"}), {}));
}

TEST(Selection, OfACameraIncludesNoKindWithoutCameras) {
    const recorder::MediaSelection camera = {.cameras = {3}};

    EXPECT_TRUE(camera.Includes("event", 3));
    EXPECT_FALSE(camera.Includes("event", 7));
    EXPECT_FALSE(camera.Includes("event", 0));
    EXPECT_FALSE(camera.Includes("snapshot", 0));
}

TEST(Selection, OfKindsIncludesAllRowsOfAKindWithoutCameras) {
    const recorder::MediaSelection both = {.cameras = {3}, .kinds = {"alert_event", "emap"}};

    EXPECT_TRUE(both.Includes("emap", 0));
    EXPECT_TRUE(both.Includes("alert_event", 3));
    EXPECT_FALSE(both.Includes("alert_event", 7));
    EXPECT_FALSE(both.Includes("event", 3));
    EXPECT_FALSE(both.Includes("snapshot", 0));
}

TEST(WorseStatus, IsARefusalRatherThanAFailure) {
    EXPECT_EQ(WorseStatus(kExitFailed, kExitRefused), kExitRefused);
    EXPECT_EQ(WorseStatus(kExitFindings, kExitFailed), kExitFailed);
    EXPECT_EQ(WorseStatus(kExitOk, kExitFindings), kExitFindings);
    EXPECT_EQ(WorseStatus(kExitOk, kExitOk), kExitOk);
}

} // namespace
