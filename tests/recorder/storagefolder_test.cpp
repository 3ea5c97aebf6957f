#include "recorder/camera/storagefolder.h"

#include "recorder/support/error.h"
#include "tests/contract/support/files.h"
#include "tests/contract/support/fixture.h"

namespace {

namespace fs = std::filesystem;

using recorder::IsSameFolder;
using recorder::Overlap;

class StorageFolder : public contract::ContractTest {};

TEST_F(StorageFolder, DoesNotOverlapOneWhoseNameBeginsAlike) {
    const std::string one = MakeFolder("volume/cam1");
    const std::string ten = MakeFolder("volume/cam10");

    EXPECT_EQ(Overlap(one, ten), "");
    EXPECT_EQ(Overlap(ten, one), "");
    EXPECT_FALSE(IsSameFolder(one, ten));
}

TEST_F(StorageFolder, IsComparedByItsRealPath) {
    const std::string outer = MakeFolder("volume/cam1");
    const std::string inner = MakeFolder("volume/cam1/inner");
    fs::create_directory_symlink(inner, Scratch("link"));

    EXPECT_EQ(Overlap(inner, outer), "inside");
    EXPECT_EQ(Overlap(outer, inner), "around");
    EXPECT_EQ(Overlap(Scratch("link"), outer), "inside");
    EXPECT_EQ(Overlap(Scratch("link"), inner), "the same as");
    EXPECT_EQ(Overlap(outer, Scratch("volume/cam1/absent")), "around");
    EXPECT_EQ(Overlap(outer, "/"), "inside");
}

TEST_F(StorageFolder, DoesNotOverlapALinkThatLeadsNowhere) {
    const std::string folder = MakeFolder("volume/cam1");
    fs::create_directory_symlink("/nowhere", Scratch("link"));

    EXPECT_EQ(Overlap(folder, Scratch("link")), "");
    EXPECT_FALSE(IsSameFolder(Scratch("link"), folder));
    EXPECT_TRUE(IsSameFolder(Scratch("link"), Scratch("link")));
}

TEST_F(StorageFolder, CantBeComparedWithALoopOfLinks) {
    const std::string folder = MakeFolder("volume/cam1");
    fs::create_directory_symlink("ring", Scratch("ring"));

    EXPECT_THROW((void)Overlap(folder, Scratch("ring")), recorder::Error);
    EXPECT_THROW((void)IsSameFolder(Scratch("ring"), folder), recorder::Error);
}

} // namespace
