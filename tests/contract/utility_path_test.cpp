#include "platform/utility.h"
#include "tests/contract/support/files.h"
#include "tests/contract/support/fixture.h"
#include "tests/contract/support/permissions.h"

#include <filesystem>

#include <sys/stat.h>

namespace {

namespace fs = std::filesystem;

class UtilityPath : public contract::ContractTest {};
class UtilityPresence : public contract::ContractTest {};
class UtilityEmptyFolder : public contract::ContractTest {};
class UtilityFormat : public contract::ContractTest {};

TEST_F(UtilityPath, BaseNameFollowsTheLastSlash) {
    EXPECT_EQ(GetBaseName("/volume1/a/b.mp4"), "b.mp4");
    EXPECT_EQ(GetBaseName("a/b"), "b");
    EXPECT_EQ(GetBaseName("/a"), "a");
    EXPECT_EQ(GetBaseName("b.mp4"), "b.mp4");
    EXPECT_EQ(GetBaseName(""), "");
    EXPECT_EQ(GetBaseName("/a/\xff\n'"), "\xff\n'");
}

TEST_F(UtilityPath, FolderPrecedesTheLastSlash) {
    EXPECT_EQ(GetDirPath("/volume1/a/b.mp4"), "/volume1/a");
    EXPECT_EQ(GetDirPath("a/b"), "a");
    EXPECT_EQ(GetDirPath("/a"), "/");
    EXPECT_EQ(GetDirPath("/"), "/");
    EXPECT_EQ(GetDirPath("b.mp4"), "");
    EXPECT_EQ(GetDirPath(""), "");
    EXPECT_EQ(GetDirPath("/\xff\n'/a"), "/\xff\n'");
}

TEST_F(UtilityPresence, IsTrueForAFolderAndAFile) {
    const std::string folder = MakeFolder("folder");
    contract::PutFile(Scratch("file"));

    EXPECT_TRUE(IsExistDir(folder));
    EXPECT_TRUE(IsFileExist(Scratch("file")));
}

TEST_F(UtilityPresence, IsFalseIfNothingHasTheName) {
    contract::PutFile(Scratch("file"));

    for (const char* const name : {"nothing", "nothing/below", "file/below"}) {
        EXPECT_FALSE(IsExistDir(Scratch(name))) << name;
        EXPECT_FALSE(IsFileExist(Scratch(name))) << name;
    }
    EXPECT_FALSE(IsExistDir(""));
    EXPECT_FALSE(IsFileExist(""));
}

TEST_F(UtilityPresence, IsFalseForAnEntryOfAnotherKind) {
    const std::string folder = MakeFolder("folder");
    contract::PutFile(Scratch("file"));
    ASSERT_EQ(mkfifo(Scratch("pipe").c_str(), 0600), 0);

    EXPECT_FALSE(IsExistDir(Scratch("file")));
    EXPECT_FALSE(IsExistDir(Scratch("pipe")));
    EXPECT_FALSE(IsFileExist(folder));
    EXPECT_FALSE(IsFileExist(Scratch("pipe")));
}

TEST_F(UtilityPresence, FollowsLinks) {
    fs::create_symlink(MakeFolder("folder"), Scratch("to-folder"));
    contract::PutFile(Scratch("file"));
    fs::create_symlink(Scratch("file"), Scratch("to-file"));
    fs::create_symlink(Scratch("nothing"), Scratch("to-nothing"));

    EXPECT_TRUE(IsExistDir(Scratch("to-folder")));
    EXPECT_TRUE(IsFileExist(Scratch("to-file")));
    EXPECT_FALSE(IsExistDir(Scratch("to-file")));
    EXPECT_FALSE(IsFileExist(Scratch("to-folder")));
    EXPECT_FALSE(IsExistDir(Scratch("to-nothing")));
    EXPECT_FALSE(IsFileExist(Scratch("to-nothing")));
}

TEST_F(UtilityPresence, IsTrueIfItCantBeDetermined) {
    const std::string folder = MakeFolder("locked");
    const contract::ObeyPermissions unprivileged;
    const contract::UnreadableFolder unreadable(folder);

    EXPECT_TRUE(IsExistDir(folder + "/below"));
    EXPECT_TRUE(IsFileExist(folder + "/below"));
}

TEST_F(UtilityPresence, IsTrueForALoopOfLinks) {
    fs::create_symlink(Scratch("ring"), Scratch("ring"));

    EXPECT_TRUE(IsExistDir(Scratch("ring")));
    EXPECT_TRUE(IsFileExist(Scratch("ring")));
}

TEST_F(UtilityEmptyFolder, IsRecognised) {
    EXPECT_TRUE(IsDirEmpty(MakeFolder("folder")));
}

TEST_F(UtilityEmptyFolder, IsNotAFolderWithEntries) {
    const std::string full = MakeFolder("full");
    contract::PutFile(full + "/.hidden");
    const std::string nested = MakeFolder("nested");
    MakeFolder("nested/empty");

    EXPECT_FALSE(IsDirEmpty(full));
    EXPECT_FALSE(IsDirEmpty(nested));
}

TEST_F(UtilityEmptyFolder, IsNothingButAFolder) {
    contract::PutFile(Scratch("file"), "");

    EXPECT_FALSE(IsDirEmpty(Scratch("file")));
    EXPECT_FALSE(IsDirEmpty(Scratch("nothing")));
}

TEST_F(UtilityEmptyFolder, IsNotAssumedIfTheFolderCantBeRead) {
    const std::string folder = MakeFolder("locked");
    const contract::ObeyPermissions unprivileged;
    const contract::UnreadableFolder unreadable(folder);

    EXPECT_FALSE(IsDirEmpty(folder));
}

TEST_F(UtilityEmptyFolder, IsRemoved) {
    const std::string folder = MakeFolder("folder");

    EXPECT_EQ(KRRm(folder), 0);

    EXPECT_FALSE(fs::exists(folder));
}

TEST_F(UtilityEmptyFolder, IsTheOnlyThingThatIsRemoved) {
    contract::PutFile(Scratch("full/recording"));
    contract::PutFile(Scratch("file"));
    fs::create_symlink(MakeFolder("target"), Scratch("link"));

    EXPECT_NE(KRRm(Scratch("full")), 0);
    EXPECT_NE(KRRm(Scratch("file")), 0);
    EXPECT_NE(KRRm(Scratch("link")), 0);

    EXPECT_TRUE(fs::exists(Scratch("full/recording")));
    EXPECT_TRUE(fs::exists(Scratch("file")));
    EXPECT_TRUE(fs::is_symlink(Scratch("link")));
    EXPECT_TRUE(fs::exists(Scratch("target")));
}

TEST_F(UtilityFormat, MatchesPrintf) {
    EXPECT_EQ(StringPrintf("%s-%d-%05.1f-%c-%%", "a", -7, 2.25, 'z'), "a--7-002.2-z-%");
    EXPECT_EQ(StringPrintf("%s", ""), "");
    EXPECT_EQ(StringPrintf("nothing to fill"), "nothing to fill");
    EXPECT_EQ(StringPrintf("%llu", 18446744073709551615ULL), "18446744073709551615");
}

TEST_F(UtilityFormat, HasNoLengthLimit) {
    const std::string text(1'000'000, 'x');

    EXPECT_EQ(StringPrintf("<%s>", text.c_str()), "<" + text + ">");
}

TEST_F(UtilityFormat, KeepsHostileTextsUnchanged) {
    for (const std::string& name : contract::HostileNames()) {
        EXPECT_EQ(StringPrintf("%s", name.c_str()), name);
    }
}

} // namespace
