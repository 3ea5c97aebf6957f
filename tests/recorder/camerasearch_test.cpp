#include "recorder/camera/camerasearch.h"

#include "recorder/support/error.h"
#include "tests/contract/support/files.h"
#include "tests/contract/support/fixture.h"
#include "tests/contract/support/permissions.h"

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

    // The ids of what is found below the scratch folder's `folder`.
    static std::vector<int> Found(const std::string& folder) {
        std::vector<int> ids;
        for (const recorder::FoundCamera& camera : FindCamerasIn(Scratch(folder)).found) {
            ids.push_back(camera.identity.id);
        }
        return ids;
    }
};

TEST_F(CameraSearchTest, FindsTheFolderItselfAndThoseBelowInTheOrderOfTheirNames) {
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

TEST_F(CameraSearchTest, GoesFiveLevelsDown) {
    PutCamera("disk/1/2/3/4/5/6", 10);

    EXPECT_THAT(Found("disk"), IsEmpty());
}

TEST_F(CameraSearchTest, PassesOverFoldersThatAreFullOfMediaOrHidden) {
    PutCamera("disk/front/20140312AM", 10);
    PutCamera("disk/front/@Thumbnail", 11);
    PutCamera("disk/front/laRec", 12);
    PutCamera("disk/.trash/front", 13);
    PutCamera("disk/20140312XM", 14);

    EXPECT_THAT(Found("disk"), ElementsAre(14));
}

TEST_F(CameraSearchTest, FollowsNoLinkBelowTheFolder) {
    PutCamera("elsewhere", 10);
    MakeFolder("disk");
    fs::create_directory_symlink(Scratch("elsewhere"), Scratch("disk/front"));
    fs::create_directory_symlink(Scratch("elsewhere"), Scratch("link"));

    EXPECT_THAT(Found("disk"), IsEmpty());
    EXPECT_THAT(Found("link"), ElementsAre(10));
}

TEST_F(CameraSearchTest, NamesWhatItCantReadAndGoesOn) {
    const contract::ObeyPermissions obeying;
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

TEST_F(CameraSearchTest, WantsTheAbsolutePathOfAFolder) {
    contract::PutFile(Scratch("file"), "");
    const auto complaint = [](const std::string& folder) -> std::string {
        try {
            (void)FindCamerasIn(folder);
        } catch (const recorder::Error& error) {
            return error.what();
        }
        return "none";
    };

    EXPECT_EQ(complaint("disk"), "disk: expected an absolute path");
    EXPECT_EQ(complaint(Scratch("nowhere")),
              Scratch("nowhere") + ": expected a folder that exists");
    EXPECT_EQ(complaint(Scratch("file")), Scratch("file") + ": expected a folder that exists");
}

} // namespace
