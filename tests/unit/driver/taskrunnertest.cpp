#include "driver/krindexer.h"

#include "tests/unit/support/platformtest.h"

namespace unit {
namespace {

class TaskRunnerTest : public PlatformTest {
protected:
    TaskRunnerTest() {
        MakeMediaFolders();
        LogUpTo(LOG_LEVEL_NOTICE);
        m_opt.startTime = 111;
    }

    void Request(int jobs, int jobCnt) {
        m_opt.jobMask = jobs;
        m_opt.jobCnt = jobCnt;
    }

    // Rows without files. A run removes and counts each of them.
    static fakes::Rows StaleRows(int count) {
        fakes::Rows rows = IdPathRows({});
        for (int id = 1; id <= count; ++id) {
            rows.fields.push_back({std::to_string(id), "gone" + std::to_string(id)});
        }
        return rows;
    }

    std::string Logged(const std::string& func) const {
        std::string text;
        for (const fakes::Message& message : platform.messages) {
            if (message.file == "krindexer" && message.func == func) {
                text += message.text;
            }
        }
        return text;
    }

    ReindexOptions m_opt;
};

TEST_F(TaskRunnerTest, OptionsRequestNothingByDefault) {
    libc.now = 1394590500;
    const ReindexOptions opt;
    EXPECT_FALSE(opt.nonBlocking);
    EXPECT_FALSE(opt.noTaskReg);
    EXPECT_EQ(opt.camId, -1);
    EXPECT_EQ(opt.jobMask, 0);
    EXPECT_EQ(opt.doneJobCnt, 0);
    EXPECT_EQ(opt.jobCnt, 0);
    EXPECT_EQ(opt.eventRecCnt, 0);
    EXPECT_EQ(opt.startTime, 1394590500);
}

TEST_F(TaskRunnerTest, RunWithoutJobsDoesNothing) {
    EXPECT_EQ(Start(m_opt), 0);
    EXPECT_EQ(platform.FullTranscript(), "");
}

TEST_F(TaskRunnerTest, RefusedRegistrationIsReturnedAndNothingElseHappens) {
    Request(JOB_EMAP, 1);
    for (const bool nonBlocking : {false, true}) {
        m_opt.nonBlocking = nonBlocking;
        platform.ForgetTranscript();
        platform.Fail("RegTaskStart", 1, 2);
        EXPECT_EQ(Start(m_opt), 2);
        EXPECT_EQ(Transcript(),
                  Lines({
                      "RegTaskStart()",
                      LogAlways("krindexer", "Start", "Failed to register reindex task.\n"),
                  }));
    }
    EXPECT_EQ(libc.child, -1);
}

TEST_F(TaskRunnerTest, RefusalIsLoggedWithAnyConfiguration) {
    Request(JOB_EMAP, 1);
    LogUpTo(0);
    platform.Fail("RegTaskStart", 1, 75);

    EXPECT_EQ(Start(m_opt), 75);

    EXPECT_EQ(Messages(),
              Lines({LogAlways("krindexer", "Start", "Failed to register reindex task.\n")}));
}

TEST_F(TaskRunnerTest, BlockingRunRegistersTheTaskBeforeTheJobsAndEndsItAfterwards) {
    Request(JOB_EMAP, 1);

    EXPECT_EQ(Start(m_opt), 0);

    EXPECT_EQ(Transcript(),
              Lines({
                  "RegTaskStart()",
                  "RecordTaskStatusToConf(111, 0, false)",
                  Log("notice", "krindexer", "DoReindexEmap", "Start to re-index emap.\n"),
                  Query(0, kEmapSelect),
                  "KRDBFreeResult(result)",
                  Log("notice", "krindexer", "DoReindexEmap",
                      "Re-index emap complete with re-indexed record cnt [0].\n"),
                  "SetTaskProgress(1)",
                  "RecordTaskStatusToConf(111, 0, true)",
                  "RegTaskDone()",
              }));
    EXPECT_EQ(libc.child, -1);
}

TEST_F(TaskRunnerTest, UnregisteredRunStaysInThisProcessAndEndsNoTask) {
    Request(JOB_EMAP, 1);
    m_opt.noTaskReg = true;
    m_opt.nonBlocking = true;

    EXPECT_EQ(Start(m_opt), 0);

    EXPECT_EQ(libc.child, -1);
    for (const char* operation : {"RegTaskStart", "RegTaskDone", "SetTaskPid"}) {
        EXPECT_EQ(platform.CallCnt(operation), 0) << operation;
    }
    EXPECT_EQ(
        platform.LinesOf("RecordTaskStatusToConf"),
        Lines({"RecordTaskStatusToConf(111, 0, false)", "RecordTaskStatusToConf(111, 0, true)"}));
    EXPECT_EQ(platform.LinesOf("SetTaskProgress"), "SetTaskProgress(1)\n");
}

TEST_F(TaskRunnerTest, EmapJobReturnsAndLogsTheCount) {
    Request(JOB_EMAP, 4);
    platform.queries[kEmapSelect] = StaleRows(2);

    EXPECT_EQ(DoReindexEmap(m_opt), 2);

    EXPECT_EQ(Logged("DoReindexEmap"), "Start to re-index emap.\n"
                                       "Re-index emap complete with re-indexed record cnt [2].\n");
    EXPECT_EQ(m_opt.doneJobCnt, 1);
}

TEST_F(TaskRunnerTest, SnapshotJobReturnsAndLogsTheCount) {
    Request(JOB_SNAPSHOT, 4);
    platform.queries[kSnapshotSelect] = StaleRows(3);

    EXPECT_EQ(DoReindexSnapshot(m_opt), 3);

    EXPECT_EQ(platform.LinesOf("KRPrintf(0, reindex, notice, krindexer"),
              Lines({
                  Log("notice", "krindexer", "DoReindexSnapshot", "Start to re-index snapshot.\n"),
                  Log("notice", "krindexer", "DoReindexSnapshot",
                      "Re-index snapshot complete with re-indexed record cnt [3].\n"),
              }));
    EXPECT_EQ(m_opt.doneJobCnt, 1);
}

TEST_F(TaskRunnerTest, FailedWholeStepJobsLogMinusOneAndAdvance) {
    Request(JOB_EMAP | JOB_SNAPSHOT, 2);
    platform.FailAlways("Execute");
    EXPECT_EQ(DoReindexEmap(m_opt), -1);
    EXPECT_EQ(DoReindexSnapshot(m_opt), -1);
    EXPECT_EQ(Logged("DoReindexEmap"), "Start to re-index emap.\n"
                                       "Re-index emap complete with re-indexed record cnt [-1].\n");
    EXPECT_EQ(Logged("DoReindexSnapshot"),
              "Start to re-index snapshot.\n"
              "Re-index snapshot complete with re-indexed record cnt [-1].\n");
    EXPECT_EQ(platform.progressValues, (std::vector<double>{0.5, 1.0}));
}

TEST_F(TaskRunnerTest, RecordingJobAddsUpTheCamerasThatSucceeded) {
    Request(JOB_EVENT, 1);
    for (const int camId : {1, 2, 4}) {
        AddCamera(camId);
        platform.queries[EventSelect(camId)] = StaleRows(camId);
    }
    platform.cameraIds = {{4, 3, 1, 2}}; // there is no camera 3

    EXPECT_EQ(DoReindexEvent(m_opt, true), 7);

    EXPECT_EQ(platform.LinesOf("Camera::Load"),
              Lines({"Camera::Load(4, 0, 0)", "Camera::Load(3, 0, 0)", "Camera::Load(1, 0, 0)",
                     "Camera::Load(2, 0, 0)"}));
    EXPECT_EQ(platform.LinesOf("KRPrintf(0, reindex, notice, krindexer"),
              Lines({
                  Log("notice", "krindexer", "DoReindexEvent", "Start to re-index event.\n"),
                  Log("notice", "krindexer", "DoReindexEvent",
                      "Re-index event complete with re-indexed record cnt [7].\n"),
              }));
    EXPECT_EQ(platform.progressValues.size(), 4U);
}

TEST_F(TaskRunnerTest, AlertRecordingJobAddsUpTheCamerasThatSucceeded) {
    Request(JOB_ALERT_EVENT, 1);
    for (const int camId : {1, 2, 4}) {
        AddCamera(camId);
        platform.queries[AlertEventSelect(camId)] = StaleRows(camId);
    }
    platform.cameraIds = {{4, 3, 1, 2}};

    EXPECT_EQ(DoReindexAlertEvent(m_opt), 7);

    EXPECT_EQ(
        platform.LinesOf("KRPrintf(0, reindex, notice, krindexer"),
        Lines({
            Log("notice", "krindexer", "DoReindexAlertEvent", "Start to re-index alert event.\n"),
            Log("notice", "krindexer", "DoReindexAlertEvent",
                "Re-index alert event complete with re-indexed record cnt [7].\n"),
        }));
    EXPECT_EQ(platform.progressValues.size(), 4U);
    EXPECT_EQ(platform.CallCnt("RmEvtOfInvalidCamId"), 0);
    EXPECT_EQ(platform.CallCnt("Recount"), 0);
}

TEST_F(TaskRunnerTest, RecordingJobWithoutCamerasStillCleansUpAndRecounts) {
    Request(JOB_EVENT, 1);

    EXPECT_EQ(DoReindexEvent(m_opt, true), 0);

    EXPECT_EQ(Transcript(),
              Lines({
                  Log("notice", "krindexer", "DoReindexEvent", "Start to re-index event.\n"),
                  "CamGetIdList(true, 0)",
                  "GetTaskProgress()",
                  "RmEvtOfInvalidCamId()",
                  "Recount()",
                  Log("notice", "krindexer", "DoReindexEvent",
                      "Re-index event complete with re-indexed record cnt [0].\n"),
              }));
}

TEST_F(TaskRunnerTest, AlertRecordingJobReadsTheProgressBeforeTheCameras) {
    Request(JOB_ALERT_EVENT, 1);

    EXPECT_EQ(DoReindexAlertEvent(m_opt), 0);

    EXPECT_EQ(
        Transcript(),
        Lines({
            Log("notice", "krindexer", "DoReindexAlertEvent", "Start to re-index alert event.\n"),
            "GetTaskProgress()",
            "CamGetIdList(true, 0)",
            Log("notice", "krindexer", "DoReindexAlertEvent",
                "Re-index alert event complete with re-indexed record cnt [0].\n"),
        }));
}

TEST_F(TaskRunnerTest, RequestedCameraIsLoadedWithoutListingCameras) {
    Request(JOB_EVENT, 1);
    m_opt.camId = 7;

    EXPECT_EQ(DoReindexEvent(m_opt, true), 0);

    EXPECT_EQ(
        Transcript(),
        Lines({
            Log("notice", "krindexer", "DoReindexEvent", "Start to re-index event.\n"),
            "GetTaskProgress()",
            "Camera::Load(7, 0, 0)",
            Log("error", "eventindexer", "Init", "Failed to load camera [7]\n"),
            Log("error", "indexer", "Start", "Failed to init indexer.\n"),
            Log("error", "krreindex", "ReindexEvent", "Failed to reindex event of cam [7].\n"),
            "SetTaskProgress(1)",
            "RmEvtOfInvalidCamId()",
            "Recount()",
            Log("notice", "krindexer", "DoReindexEvent",
                "Re-index event complete with re-indexed record cnt [0].\n"),
        }));
}

TEST_F(TaskRunnerTest, CameraIdsUpToZeroMeanAllLocalCameras) {
    for (const int camId : {0, -1, -2147483647}) {
        m_opt.camId = camId;
        Request(JOB_EVENT | JOB_ALERT_EVENT, 2);
        platform.ForgetTranscript();
        RunJobs(m_opt);
        EXPECT_EQ(platform.LinesOf("CamGetIdList"),
                  Lines({"CamGetIdList(true, 0)", "CamGetIdList(true, 0)"}));
    }
}

TEST_F(TaskRunnerTest, OnlyTheRecordingCountReachesTheStatusRecord) {
    Request(JOB_EMAP | JOB_SNAPSHOT | JOB_EVENT | JOB_ALERT_EVENT, 4);
    AddCamera(1);
    platform.queries[kEmapSelect] = StaleRows(1);
    platform.queries[kSnapshotSelect] = StaleRows(2);
    platform.queries[EventSelect(1)] = StaleRows(4);
    platform.queries[AlertEventSelect(1)] = StaleRows(8);

    RunJobs(m_opt);

    EXPECT_EQ(
        platform.LinesOf("RecordTaskStatusToConf"),
        Lines({"RecordTaskStatusToConf(111, 0, false)", "RecordTaskStatusToConf(111, 4, true)"}));
    EXPECT_EQ(m_opt.eventRecCnt, 4);
    EXPECT_EQ(Logged("DoReindexAlertEvent").substr(31),
              "Re-index alert event complete with re-indexed record cnt [8].\n");
}

TEST_F(TaskRunnerTest, ResultsOfTheJobsNeverReachTheExitStatus) {
    Request(JOB_EMAP | JOB_SNAPSHOT | JOB_EVENT | JOB_ALERT_EVENT, 4);
    AddCamera(1);
    platform.FailAlways("Execute");

    EXPECT_EQ(Start(m_opt), 0);

    EXPECT_EQ(platform.CallCnt("RegTaskDone"), 1);
}

TEST_F(TaskRunnerTest, ResultOfTheRecountIsIgnored) {
    Request(JOB_EVENT, 1);
    platform.Fail("Recount", 1, 3);
    EXPECT_EQ(DoReindexEvent(m_opt, true), 0);
}

TEST_F(TaskRunnerTest, MessagesOfTheJobsObeyTheLogLevel) {
    Request(JOB_EMAP | JOB_SNAPSHOT | JOB_EVENT | JOB_ALERT_EVENT, 4);
    LogUpTo(LOG_LEVEL_WARNING);

    RunJobs(m_opt);

    EXPECT_EQ(Messages(), "");
}

TEST_F(TaskRunnerTest, FirstStatusRecordContainsTheCountOfTheOptions) {
    Request(JOB_EMAP, 1);
    m_opt.eventRecCnt = 7;

    RunJobs(m_opt);

    EXPECT_EQ(
        platform.LinesOf("RecordTaskStatusToConf"),
        Lines({"RecordTaskStatusToConf(111, 7, false)", "RecordTaskStatusToConf(111, 7, true)"}));
}

} // namespace
} // namespace unit
