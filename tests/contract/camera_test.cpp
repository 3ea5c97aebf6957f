#include "platform/camera.h"
#include "tests/contract/support/files.h"
#include "tests/contract/support/fixture.h"

#include <climits>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

constexpr const char* kVolumeId = "5e1f0e9c-6a2b-4f38-9a10-1f6d1c9a7b55";

class CameraLoad : public contract::ContractTest {
protected:
    // Adds camera 1, whose row names a volume, and writes the volume's identity file.
    static void AddCameraOnVolume(const std::string& volumeId, const std::string& idOnDisk) {
        contract::PutFile(Scratch("volume/.kestora-volume"), idOnDisk + "\n");
        world::AddCamera({.id = 1, .storagePath = Scratch("volume"), .volumeId = volumeId});
    }

    // Expects that camera 1 does not load and that one log line gives the reason.
    static void ExpectFailure() {
        Camera camera;
        EXPECT_NE(camera.Load(1, 0, 0), 0);
        EXPECT_EQ(camera.GetId(), 0);
        EXPECT_EQ(world::Log().size(), 1U);
    }
};
class CameraIdList : public contract::ContractTest {};

TEST_F(CameraLoad, SetsIdAndStorageFolderFromTheRow) {
    world::AddCamera({.id = 7, .storagePath = "/volume1/front door"});
    Camera camera;

    EXPECT_EQ(camera.Load(7, 0, 0), 0);

    EXPECT_EQ(camera.GetId(), 7);
    EXPECT_EQ(camera.GetStoragePath(), "/volume1/front door");
}

TEST_F(CameraLoad, ACameraIsEmptyBeforeItIsLoaded) {
    const Camera camera;

    EXPECT_EQ(camera.GetId(), 0);
    EXPECT_EQ(camera.GetStoragePath(), "");
}

TEST_F(CameraLoad, AcceptsTheSmallestAndTheLargestId) {
    world::AddCamera({.id = 1, .storagePath = "/a"});
    world::AddCamera({.id = INT_MAX, .storagePath = "/b"});
    Camera first;
    Camera last;

    EXPECT_EQ(first.Load(1, 0, 0), 0);
    EXPECT_EQ(last.Load(INT_MAX, 0, 0), 0);

    EXPECT_EQ(first.GetStoragePath(), "/a");
    EXPECT_EQ(last.GetStoragePath(), "/b");
}

TEST_F(CameraLoad, FailsForAnIdWithoutACamera) {
    world::AddCamera({.id = 1, .storagePath = "/a"});

    for (const int id : {0, -1, INT_MIN, 2}) {
        Camera camera;
        EXPECT_NE(camera.Load(id, 0, 0), 0) << id;
        EXPECT_THAT(LogLinesWith("camera " + std::to_string(id)), Not(IsEmpty())) << id;
    }
}

TEST_F(CameraLoad, FailsForAnUnknownDataSourceOrRevision) {
    world::AddCamera({.id = 1, .storagePath = "/a"});
    Camera camera;

    EXPECT_NE(camera.Load(1, 1, 0), 0);
    EXPECT_NE(camera.Load(1, 0, 1), 0);

    EXPECT_EQ(camera.GetId(), 0);
    EXPECT_EQ(world::Log().size(), 2U);
}

TEST_F(CameraLoad, LeavesTheObjectUnchangedWhenItFails) {
    world::AddCamera({.id = 1, .storagePath = "/a"});
    Camera camera;
    ASSERT_EQ(camera.Load(1, 0, 0), 0);

    EXPECT_NE(camera.Load(2, 0, 0), 0);

    EXPECT_EQ(camera.GetId(), 1);
    EXPECT_EQ(camera.GetStoragePath(), "/a");
}

TEST_F(CameraLoad, FailsWhenTheRowCantBeRead) {
    world::DamageDatabase(KRDB::DB_SYSTEM);

    ExpectFailure();
}

TEST_F(CameraLoad, FailsIfTheStorageFolderIsNotAnAbsolutePath) {
    world::AddCamera({.id = 1, .storagePath = "volume1/a"});
    world::AddCamera({.id = 2, .storagePath = ""});
    Camera camera;

    EXPECT_NE(camera.Load(1, 0, 0), 0);
    EXPECT_NE(camera.Load(2, 0, 0), 0);

    EXPECT_EQ(camera.GetStoragePath(), "");
    EXPECT_EQ(world::Log().size(), 2U);
}

TEST_F(CameraLoad, RemovesTrailingSlashesFromTheStorageFolder) {
    world::AddCamera({.id = 1, .storagePath = "/volume1/a//"});
    Camera camera;

    ASSERT_EQ(camera.Load(1, 0, 0), 0);

    EXPECT_EQ(camera.GetStoragePath(), "/volume1/a");
}

TEST_F(CameraLoad, KeepsEveryByteOfTheStorageFolder) {
    int id = 0;
    for (const std::string& name : contract::HostileNames()) {
        world::AddCamera({.id = ++id, .storagePath = "/" + name});
        Camera camera;

        ASSERT_EQ(camera.Load(id, 0, 0), 0) << name;

        EXPECT_EQ(camera.GetStoragePath(), "/" + name);
    }
}

TEST_F(CameraLoad, SucceedsIfTheStorageFolderDoesNotExist) {
    world::AddCamera({.id = 1, .storagePath = Scratch("nowhere")});
    Camera camera;

    EXPECT_EQ(camera.Load(1, 0, 0), 0);
}

TEST_F(CameraLoad, CopiesOfACameraAreIndependent) {
    world::AddCamera({.id = 1, .storagePath = "/a"});
    world::AddCamera({.id = 2, .storagePath = "/b"});
    Camera camera;
    ASSERT_EQ(camera.Load(1, 0, 0), 0);
    const Camera copy = camera;

    ASSERT_EQ(camera.Load(2, 0, 0), 0);

    EXPECT_EQ(copy.GetId(), 1);
    EXPECT_EQ(copy.GetStoragePath(), "/a");
}

TEST_F(CameraLoad, SucceedsOnTheVolumeThatTheRowNames) {
    AddCameraOnVolume(kVolumeId, kVolumeId);
    Camera camera;

    EXPECT_EQ(camera.Load(1, 0, 0), 0);
}

TEST_F(CameraLoad, FailsOnAnyVolumeButTheOneThatTheRowNames) {
    AddCameraOnVolume(kVolumeId, "00000000-0000-4000-8000-000000000000");

    ExpectFailure();
}

TEST_F(CameraLoad, FailsIfTheVolumeIdIsNotAUuid) {
    AddCameraOnVolume("5e1f0e9c-6a2b", "5e1f0e9c-6a2b");

    ExpectFailure();
}

TEST_F(CameraLoad, FailsIfTheVolumeThatTheRowNamesIsNotMounted) {
    world::AddCamera({.id = 1, .storagePath = MakeFolder("volume"), .volumeId = kVolumeId});

    ExpectFailure();
}

TEST_F(CameraIdList, ContainsTheLocalCamerasInAscendingOrder) {
    world::AddCamera({.id = 30, .storagePath = "/a"});
    world::AddCamera({.id = 4, .storagePath = "/b"});
    world::AddCamera({.id = 5, .storagePath = "/c", .dsId = 1});
    world::AddCamera({.id = INT_MAX, .storagePath = "/d"});

    EXPECT_THAT(CamGetIdList(true, 0), ElementsAre(4, 30, INT_MAX));
}

TEST_F(CameraIdList, ContainsTheCamerasOfADataSource) {
    world::AddCamera({.id = 1, .storagePath = "/a"});
    world::AddCamera({.id = 9, .storagePath = "/b", .dsId = 2});
    world::AddCamera({.id = 8, .storagePath = "/c", .dsId = 2});

    EXPECT_THAT(CamGetIdList(false, 2), ElementsAre(8, 9));
    EXPECT_THAT(CamGetIdList(false, 0), ElementsAre(1));
    EXPECT_THAT(CamGetIdList(false, 3), IsEmpty());
}

TEST_F(CameraIdList, IsEmptyAndNothingIsLoggedWithoutCameras) {
    EXPECT_THAT(CamGetIdList(true, 0), IsEmpty());

    EXPECT_THAT(world::Log(), IsEmpty());
}

TEST_F(CameraIdList, IsEmptyAndTheReasonIsLoggedIfTheTableCantBeRead) {
    world::DamageDatabase(KRDB::DB_SYSTEM);

    EXPECT_THAT(CamGetIdList(true, 0), IsEmpty());

    EXPECT_EQ(world::Log().size(), 1U);
}

} // namespace
