#include "recorder/support/openfolder.h"

#include "platform/camera.h"
#include "platform/utility.h"
#include "recorder/support/folder.h"
#include "recorder/support/presence.h"
#include "tests/contract/support/files.h"
#include "tests/contract/support/fixture.h"
#include "tests/contract/support/permissions.h"
#include "tests/recorder/support/failure.h"

namespace {

namespace fs = std::filesystem;

using recorder::ExistingPart;
using recorder::FolderUse;
using recorder::OpenFolder;
using recorder::ResolvedPath;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class ExistingPartTest : public contract::ContractTest {};
class OpenFolderTest : public contract::ContractTest {};

// The storage folder of a loaded camera, and another folder that contains an empty one.
class ProtectedFolder : public contract::ContractTest {
protected:
    ProtectedFolder() : storage(Scratch("link/cam1")) {
        MakeFolder("disk/cam1");
        fs::create_directory_symlink(Scratch("disk"), Scratch("link"));
        MakeFolder("elsewhere/empty");
        world::AddCamera({.id = 1, .storagePath = storage});
        Camera camera;
        EXPECT_EQ(camera.Load(1, 0, 0), 0);
    }

    void LinkElsewhere(const std::string& name) const {
        fs::create_directory_symlink(Scratch("elsewhere"), storage + "/" + name);
    }

    const std::string storage; // a path through the operator's link
    std::list<std::string> out;
};

std::string FailureFor(const std::string& path) {
    return support::FailureOf([&] { (void)ExistingPart(path); });
}

TEST_F(ExistingPartTest, EndsAtTheFirstMissingEntry) {
    const std::string folder = MakeFolder("folder");
    fs::create_directory_symlink(folder, Scratch("link"));

    EXPECT_EQ(ExistingPart(folder), folder);
    EXPECT_EQ(ExistingPart(folder + "/a/b"), folder);
    EXPECT_EQ(ExistingPart(Scratch("link/a")), Scratch("link"));
    EXPECT_EQ(ExistingPart("/nowhere/a"), "/");
    EXPECT_EQ(ExistingPart("/"), "/");
}

TEST_F(ExistingPartTest, IsUnknownBehindALinkThatLeadsNowhere) {
    fs::create_directory_symlink("/nowhere", Scratch("link"));
    fs::create_directory_symlink("link", Scratch("to-link"));

    EXPECT_EQ(FailureFor(Scratch("link")), "the link " + Scratch("link") + " leads nowhere");
    EXPECT_EQ(FailureFor(Scratch("link/a/b")), "the link " + Scratch("link") + " leads nowhere");
    EXPECT_EQ(FailureFor(Scratch("to-link/a")),
              "the link " + Scratch("to-link") + " leads nowhere");
}

TEST_F(ExistingPartTest, IsUnknownIfAnEntryCantBeExamined) {
    contract::PutFile(Scratch("file"));
    fs::create_directory_symlink("ring", Scratch("ring"));
    const std::string locked = MakeFolder("locked");
    const contract::ObeyPermissions unprivileged;
    const contract::UnreadableFolder unreadable(locked);
    const std::string longName(300, 'x');

    EXPECT_EQ(FailureFor(Scratch("file/a")),
              "can't examine " + Scratch("file/a") + ": Not a directory");
    EXPECT_THAT(FailureFor(Scratch("ring/a")), testing::HasSubstr("Too many levels"));
    EXPECT_THAT(FailureFor(locked + "/a"), testing::HasSubstr("Permission denied"));
    EXPECT_THAT(FailureFor(Scratch(longName)), testing::HasSubstr("File name too long"));
}

TEST_F(ExistingPartTest, IsTheResolvedPartOfAResolvedPath) {
    MakeFolder("folder");
    fs::create_directory_symlink(Scratch("folder"), Scratch("link"));

    EXPECT_EQ(ResolvedPath(Scratch("link")), Scratch("folder"));
    EXPECT_EQ(ResolvedPath(Scratch("link/a/b/")), Scratch("folder/a/b"));
    EXPECT_EQ(ResolvedPath("/"), "/");
    EXPECT_EQ(ResolvedPath("/nowhere/a"), "/nowhere/a");
}

TEST_F(OpenFolderTest, FollowsTheOperatorsLinks) {
    MakeFolder("folder/below");
    fs::create_directory_symlink(Scratch("folder"), Scratch("link"));

    EXPECT_TRUE(OpenFolder(Scratch("link"), FolderUse::List).IsOpen());
    EXPECT_TRUE(OpenFolder(Scratch("link/below"), FolderUse::Enter).IsOpen());
    EXPECT_FALSE(OpenFolder(Scratch("link/nothing"), FolderUse::List).IsOpen());
}

TEST_F(ProtectedFolder, IsReachedThroughTheOperatorsLink) {
    MakeFolder("disk/cam1/20140312AM/deep");

    EXPECT_TRUE(OpenFolder(storage, FolderUse::List).IsOpen());
    EXPECT_TRUE(OpenFolder(storage + "/20140312AM", FolderUse::List).IsOpen());
    EXPECT_TRUE(OpenFolder(storage + "//20140312AM//deep/", FolderUse::List).IsOpen());
    EXPECT_FALSE(OpenFolder(storage + "/nothing/below", FolderUse::List).IsOpen());
    EXPECT_EQ(KRRm(storage + "/20140312AM/deep"), 0);
    EXPECT_EQ(KRRm(storage + "/20140312AM"), 0);
    EXPECT_THAT(world::Log(), IsEmpty());
}

TEST_F(ProtectedFolder, ListsNothingThroughALink) {
    LinkElsewhere("@Thumbnail");
    MakeFolder("disk/cam1/laRec");
    LinkElsewhere("laRec/@Thumbnail");

    EXPECT_NE(GetDirsInDir(storage + "/@Thumbnail", out, true, false, ""), 0);
    EXPECT_NE(GetDirsInDir(storage + "/laRec/@Thumbnail", out, true, false, ""), 0);
    EXPECT_FALSE(IsDirEmpty(storage + "/@Thumbnail/empty"));

    EXPECT_THAT(out, IsEmpty());
    EXPECT_THAT(LogLinesWith("/@Thumbnail: it is a symbolic link"), SizeIs(3));
}

TEST_F(ProtectedFolder, LogsALinkThatLeadsNowhere) {
    fs::create_directory_symlink("/nowhere", storage + "/@Thumbnail");

    EXPECT_NE(GetDirsInDir(storage + "/@Thumbnail", out, true, false, ""), 0);

    EXPECT_THAT(LogLinesWith("/@Thumbnail: it is a symbolic link"), SizeIs(1));
}

TEST_F(ProtectedFolder, RemovesNothingThroughALink) {
    LinkElsewhere("@Thumbnail");

    EXPECT_NE(KRRm(storage + "/@Thumbnail/empty"), 0);
    EXPECT_NE(KRRm(storage + "/@Thumbnail"), 0);

    EXPECT_TRUE(fs::exists(Scratch("elsewhere/empty")));
    EXPECT_TRUE(fs::is_symlink(storage + "/@Thumbnail"));
}

TEST_F(ProtectedFolder, IsRemovedFromAFolderThatCantBeListed) {
    const std::string folder = MakeFolder("disk/cam1/20140312AM");
    const contract::ObeyPermissions unprivileged;
    fs::permissions(storage, fs::perms{0300});

    EXPECT_EQ(KRRm(storage + "/20140312AM"), 0);

    fs::permissions(storage, fs::perms{0700});
    EXPECT_FALSE(fs::exists(folder));
}

TEST_F(ProtectedFolder, DoesNotIncludeAFolderWhoseNameBeginsAlike) {
    MakeFolder("disk/cam10");
    fs::create_directory_symlink(Scratch("elsewhere"), Scratch("disk/cam10/link"));

    EXPECT_EQ(GetDirsInDir(Scratch("link/cam10/link"), out, false, false, ""), 0);

    EXPECT_THAT(out, ElementsAre("empty"));
}

} // namespace
