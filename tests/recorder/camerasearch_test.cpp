#include "recorder/camera/adoption.h"

#include "tests/contract/support/files.h"
#include "tests/contract/support/fixture.h"
#include "tests/contract/support/permissions.h"
#include "tests/recorder/support/failure.h"

#include <sys/stat.h>

namespace {

namespace fs = std::filesystem;

using recorder::CameraSearch;
using recorder::FindCamerasIn;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class CameraSearchTest : public contract::ContractTest {
protected:
    static void PutCamera(const std::string& folder, int id) {
        MakeFolder(folder);
        recorder::WriteCameraIdentity(
            Scratch(folder),
            {id, "camera", "6f1c0f4e-2f0a-4d3c-9d4b-0000000000" + std::to_string(id)});
    }

    // The ids of the cameras that are found in this folder of the scratch folder.
    static std::vector<int> Found(const std::string& folder) {
        std::vector<int> ids;
        for (const recorder::FoundCamera& camera : FindCamerasIn(Scratch(folder)).found) {
            ids.push_back(camera.identity.id);
        }
        return ids;
    }
};

TEST_F(CameraSearchTest, FindsTheFolderItselfAndFoldersBelowItInOrderOfTheirNames) {
    PutCamera("disk", 12);
    PutCamera("disk/b", 11);
    PutCamera("disk/a/1/2/3/4", 10);

    const CameraSearch search = FindCamerasIn(Scratch("disk"));

    ASSERT_EQ(search.found.size(), 3U);
    EXPECT_EQ(search.found[0].folder, Scratch("disk"));
    EXPECT_EQ(search.found[1].folder, Scratch("disk/a/1/2/3/4"));
    EXPECT_EQ(search.found[2].folder, Scratch("disk/b"));
    EXPECT_EQ(search.found[1].identity.id, 10);
    EXPECT_THAT(search.obstacles, IsEmpty());
    EXPECT_THAT(search.otherFileSystems, IsEmpty());
}

TEST_F(CameraSearchTest, DescendsFiveLevels) {
    PutCamera("disk/1/2/3/4/5/6", 10);

    EXPECT_THAT(Found("disk"), IsEmpty());
}

TEST_F(CameraSearchTest, SkipsMediaFoldersAndHiddenFolders) {
    PutCamera("disk/front/20140312AM", 10);
    PutCamera("disk/front/@Thumbnail", 11);
    PutCamera("disk/front/laRec", 12);
    PutCamera("disk/.trash/front", 13);
    PutCamera("disk/20140312XM", 14);

    EXPECT_THAT(Found("disk"), ElementsAre(14));
}

TEST_F(CameraSearchTest, FollowsNoLinksBelowTheFolder) {
    PutCamera("elsewhere", 10);
    MakeFolder("disk");
    fs::create_directory_symlink(Scratch("elsewhere"), Scratch("disk/front"));
    fs::create_directory_symlink(Scratch("elsewhere"), Scratch("link"));

    EXPECT_THAT(Found("disk"), IsEmpty());
    EXPECT_THAT(Found("link"), ElementsAre(10));
}

TEST_F(CameraSearchTest, ReportsUnreadableEntriesAndContinues) {
    const contract::ObeyPermissions unprivileged;
    PutCamera("disk/a", 10);
    PutCamera("disk/c", 12);
    contract::PutFile(Scratch("disk/b/.kestora-camera"), "id = 11\n");
    MakeFolder("disk/d");
    const contract::UnreadableFolder unreadable(Scratch("disk/d"));

    const CameraSearch search = FindCamerasIn(Scratch("disk"));

    ASSERT_EQ(search.found.size(), 2U);
    EXPECT_THAT(search.obstacles, ElementsAre(HasSubstr(Scratch("disk/b/.kestora-camera")),
                                              HasSubstr(Scratch("disk/d/.kestora-camera")),
                                              HasSubstr(Scratch("disk/d"))));
}

TEST_F(CameraSearchTest, RequiresTheAbsolutePathOfAFolder) {
    contract::PutFile(Scratch("file"), "");
    const auto failure = [](const std::string& folder) {
        return support::FailureOf([&] { (void)FindCamerasIn(folder); });
    };

    EXPECT_EQ(failure("disk"), "disk: expected an absolute path");
    EXPECT_EQ(failure(Scratch("nowhere")), Scratch("nowhere") + ": expected a folder that exists");
    EXPECT_EQ(failure(Scratch("file")), Scratch("file") + ": expected a folder that exists");
}

} // namespace
