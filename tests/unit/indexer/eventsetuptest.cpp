#include "tests/unit/support/opened.h"
#include "tests/unit/support/platformtest.h"
#include "tests/unit/support/recordings.h"

#include <filesystem>

namespace unit {
namespace {

class EventSetupTest : public PlatformTest {
protected:
    EventSetupTest() { LogUpTo(LOG_LEVEL_DETAIL); }

    // The recordings in walked folders, whose properties are read.
    std::string ReadRecordings() const { return platform.LinesOf("GetEvtRecInfo"); }
};

std::string InitFailed() {
    return Log("error", "indexer", "Start", "Failed to init indexer.\n");
}

TEST_F(EventSetupTest, CameraIdIsZeroAfterConstruction) {
    const KRIndex::EventIndexer indexer({KRDB::DB_RECORDING, gszTableEvent, "id", "path"});
    EXPECT_EQ(indexer.m_camId, 0);
}

TEST_F(EventSetupTest, CameraZeroIsInvalid) {
    EXPECT_EQ(RunEventIndexer(0), -1);
    EXPECT_EQ(Transcript(),
              Lines({Log("error", "eventindexer", "Init", "Invalid cam id.\n"), InitFailed()}));
}

TEST_F(EventSetupTest, NegativeCameraIdIsPassedToLoad) {
    EXPECT_EQ(RunEventIndexer(-4), -1);

    EXPECT_EQ(Transcript(),
              Lines({
                  "Camera::Load(-4, 0, 0)",
                  Log("error", "eventindexer", "Init", "Failed to load camera [-4]\n"),
                  InitFailed(),
              }));
}

TEST_F(EventSetupTest, CameraThatCannotBeLoadedEndsTheRun) {
    AddCamera(7);
    platform.Fail("Camera::Load", 1, 2);

    EXPECT_EQ(RunEventIndexer(7), -1);

    EXPECT_EQ(Transcript(), Lines({
                                "Camera::Load(7, 0, 0)",
                                Log("error", "eventindexer", "Init", "Failed to load camera [7]\n"),
                                InitFailed(),
                            }));
}

TEST_F(EventSetupTest, MissingStorageFolderLeavesEveryRowUnreferenced) {
    platform.cameras[7] = Path("missing");
    platform.queries[EventSelect(7)] = IdPathRows({{"3", "AM/a.mp4"}});

    EXPECT_EQ(RunEventIndexer(7), 1);

    EXPECT_EQ(Transcript(),
              Lines({
                  "Camera::Load(7, 0, 0)",
                  "IsExistDir(\"DIR/missing\")",
                  Log("info", "eventindexer", "InitTgtDirList",
                      "Target source dir [DIR/missing] doesn't exist.\n"),
                  Query(4, EventSelect(7)),
                  "KRDBFreeResult(result)",
                  Log("detail", "indexer", "Init",
                      "Init complete [start_time: 4000000000] [size of record: 1].\n"),
                  Log("detail", "eventindexer", "RemoveUnrefRecs",
                      "Found [1] unreferenced event records.\n"),
                  "DelUnrefRecsFromDB(\"3\", 0)",
                  "GetRecThmbnailDirPath(\"DIR/missing\")",
                  "GetDirsInDir(\"DIR/missing/@Thumbnail\", list, true, false, \"\")",
                  Log("detail", "eventindexer", "Log", "Reindex event data of cam [7] complete.\n"),
                  Log("notice", "eventindexer", "Log",
                      "Have removed [1] unreferenced event records of cam [7].\n"),
              }));
}

TEST_F(EventSetupTest, FoldersThatCannotBeListedEndTheRun) {
    AddCamera(7);
    platform.Fail("GetDirsInDir", 1, 4);

    EXPECT_EQ(RunEventIndexer(7), -1);

    EXPECT_EQ(Transcript(),
              Lines({
                  "Camera::Load(7, 0, 0)",
                  "IsExistDir(\"DIR/cam7\")",
                  "GetDirsInDir(\"DIR/cam7\", list, true, false, \"^[0-9]{8}[AP]M$\")",
                  InitFailed(),
              }));
}

TEST_F(EventSetupTest, HalfDayFoldersAreWalkedInTheOrderOfTheListing) {
    AddCamera(7);
    for (const char* folder : {"20140312AM", "20140312PM", "20140311PM"}) {
        MakeFile(std::string("cam7/") + folder + "/" + kRecording);
    }
    platform.subFolders[Path("cam7")] = {Path("cam7/20140312PM"), Path("cam7/20140311PM"),
                                         Path("cam7/20140312AM")};

    EXPECT_EQ(RunEventIndexer(7), 3);

    EXPECT_EQ(ReadRecordings(),
              Lines({
                  "GetEvtRecInfo(info, \"DIR/cam7/20140312PM/20140312-101500-1394590500.mp4\", "
                  "false)",
                  "GetEvtRecInfo(info, \"DIR/cam7/20140311PM/20140312-101500-1394590500.mp4\", "
                  "false)",
                  "GetEvtRecInfo(info, \"DIR/cam7/20140312AM/20140312-101500-1394590500.mp4\", "
                  "false)",
              }));
}

template <typename Kind> class RecordingKindTest : public EventSetupTest {
protected:
    RecordingKindTest() {
        AddCamera(7);
        MakeDir("cam7/laRec");
        EXPECT_EQ(m_indexer.m_cam.Load(7, 0, 0), 0);
    }

    OpenedForCamera<Kind> m_indexer{{KRDB::DB_RECORDING, "t", "id", "path"}, 7};
};

using RecordingKinds = testing::Types<KRIndex::EventIndexer, KRIndex::AlertEventIndexer>;
TYPED_TEST_SUITE(RecordingKindTest, RecordingKinds);

TYPED_TEST(RecordingKindTest, ResultOfTheListingOfFoldersIsPassedOn) {
    for (const int result : {4, -1, 1, 0}) {
        this->platform.Fail("GetDirsInDir", 1, result);
        EXPECT_EQ(this->m_indexer.InitTgtDirList(), result);
    }
}

TYPED_TEST(RecordingKindTest, ResultOfTheReadingOfPropertiesIsPassedOn) {
    for (const int result : {4, -1, 1, 0}) {
        Reidx::RecInfo info;
        this->platform.Fail("GetEvtRecInfo", 1, result);
        EXPECT_EQ(this->m_indexer.GetRecInfo(info, this->Path("a.mp4")), result);
    }
}

TYPED_TEST(RecordingKindTest, DirectoryPassAlwaysReturnsZero) {
    this->platform.FailAlways("Execute");
    this->platform.FailAlways("DelUnrefRecsFromDB");
    this->platform.FailAlways("AlertDelUnrefRecsFromDB");

    EXPECT_EQ(this->m_indexer.ProcessTgtDirs(), 0);
}

TYPED_TEST(RecordingKindTest, EmptyMapKeepsTheCounterOfRemovedRecords) {
    this->m_indexer.m_rmCnt = 3;
    this->m_indexer.RemoveUnrefRecs();
    EXPECT_EQ(this->m_indexer.m_rmCnt, 3);
}

TYPED_TEST(RecordingKindTest, PendingRecordsAreKept) {
    this->m_indexer.m_recList.resize(1001);
    for (std::size_t n = 0; n < 1001; ++n) {
        this->m_indexer.m_recList[n].path = std::to_string(n);
    }
    this->LogUpTo(0);

    EXPECT_EQ(this->m_indexer.ProcessTgtDirs(), 0);

    EXPECT_EQ(this->m_indexer.m_addCnt, 1001);
    ASSERT_EQ(this->m_indexer.m_recList.size(), 1001U);
    for (std::size_t n = 0; n < 1001; ++n) {
        EXPECT_EQ(this->m_indexer.m_recList[n].path, std::to_string(n));
    }
}

TYPED_TEST(RecordingKindTest, ThumbnailFoldersAreNotWalked) {
    const std::string storage = this->m_indexer.GetRecStoragePath();
    this->m_indexer.m_tgtDirList = {storage + "/20140312AM"};
    this->platform.subFolders[storage + "/@Thumbnail"] = {storage + "/@Thumbnail/a"};

    EXPECT_EQ(this->m_indexer.ProcessTgtDirs(), 0);

    EXPECT_EQ(this->m_indexer.m_tgtDirList, std::list<std::string>{storage + "/20140312AM"});
}

TYPED_TEST(RecordingKindTest, ThumbnailFoldersAreListedIntoAnEmptyList) {
    const std::string storage = this->m_indexer.GetRecStoragePath();
    this->m_indexer.m_tgtDirList = {storage + "/20140312AM"};

    EXPECT_EQ(this->m_indexer.ProcessTgtDirs(), 0);

    ASSERT_EQ(this->platform.listsHandedOver.size(), 1U);
    EXPECT_TRUE(this->platform.listsHandedOver[0].empty());
}

class OtherFolderTest : public EventSetupTest, public testing::WithParamInterface<const char*> {};

TEST_P(OtherFolderTest, IsNotWalked) {
    AddCamera(7);
    MakeFile(std::string("cam7/") + GetParam() + "/" + kRecording);

    EXPECT_EQ(RunEventIndexer(7), 0);

    EXPECT_EQ(ReadRecordings(), "");
}

INSTANTIATE_TEST_SUITE_P(Names, OtherFolderTest,
                         testing::Values("20140312am", "2014031AM", "20140312AMX", "thumbnail",
                                         "020140312AM", "20140312BM", "20140312A", "laRec",
                                         "deep/20140312AM"));

TEST_F(EventSetupTest, FileDirectlyInTheStorageFolderIsIgnored) {
    AddCamera(7);
    MakeFile(std::string("cam7/") + kRecording);
    MakeFile("cam7/20140312AM");

    EXPECT_EQ(RunEventIndexer(7), 0);

    EXPECT_EQ(ReadRecordings(), "");
}

TEST_F(EventSetupTest, OnlyTheCamerasOwnRowsAreLoaded) {
    AddCamera(7);
    AddCamera(8);
    platform.queries[EventSelect(7)] = IdPathRows({{"3", "AM/a.mp4"}});
    platform.queries[EventSelect(8)] = IdPathRows({{"4", "AM/b.mp4"}});

    EXPECT_EQ(RunEventIndexer(7), 1);

    EXPECT_EQ(platform.LinesOf("Execute"), Lines({Query(4, EventSelect(7))}));
    EXPECT_EQ(platform.LinesOf("DelUnrefRecsFromDB"), "DelUnrefRecsFromDB(\"3\", 0)\n");
}

TEST_F(EventSetupTest, QueryTakesItsNamesFromTheTableDescriptionAndAddsTheCamera) {
    AddCamera(7);
    KRIndex::EventIndexer indexer({KRDB::DB_SNAPSHOT, "t", "i", "p"});
    indexer.m_camId = 7;

    EXPECT_EQ(indexer.Start(), 0);

    EXPECT_EQ(platform.LinesOf("Execute"),
              Lines({Query(8, "SELECT i as id, p as path FROM t WHERE camera_id = 7;")}));
    EXPECT_EQ(platform.LinesOf("StringPrintf"),
              Lines({"StringPrintf(\"SELECT %s as id, %s as path FROM %s WHERE camera_id = %d;\", "
                     "\"SELECT i as id, p as path FROM t WHERE camera_id = 7;\")"}));
}

TEST_F(EventSetupTest, StorageFolderAndPropertiesComeFromTheVirtualOperations) {
    class ElsewhereIndexer : public KRIndex::EventIndexer {
    public:
        using EventIndexer::EventIndexer;
        std::string folder;

    protected:
        std::string GetRecStoragePath() override { return folder; }
        int GetRecInfo(Reidx::RecInfo& info, const std::string& fullPath) override {
            info.path = "own/" + fullPath.substr(fullPath.rfind('/') + 1);
            return 0;
        }
    };
    AddCamera(7);
    MakeFile(std::string("elsewhere/20140312AM/") + kRecording);
    ElsewhereIndexer indexer({KRDB::DB_RECORDING, gszTableEvent, "id", "path"});
    indexer.m_camId = 7;
    indexer.folder = Path("elsewhere");

    EXPECT_EQ(indexer.Start(), 1);

    EXPECT_EQ(ReadRecordings(), "");
    EXPECT_EQ(platform.LinesOf("FillEvtInfo"),
              "FillEvtInfo(event, \"own/20140312-101500-1394590500.mp4\", false, 0, 7, 0, 1)\n");
    EXPECT_EQ(platform.LinesOf("GetRecThmbnailDirPath"),
              "GetRecThmbnailDirPath(\"DIR/elsewhere\")\n");
}

} // namespace
} // namespace unit
