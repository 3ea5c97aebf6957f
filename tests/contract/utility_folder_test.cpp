#include "platform/utility.h"
#include "tests/contract/support/files.h"
#include "tests/contract/support/fixture.h"
#include "tests/contract/support/permissions.h"

#include <filesystem>

namespace {

namespace fs = std::filesystem;

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class UtilityFolder : public contract::ContractTest {
protected:
    UtilityFolder() : top(MakeFolder("top")) {}

    const std::string top;
    std::list<std::string> out;
};

TEST_F(UtilityFolder, ListsSubFoldersInByteOrder) {
    for (const char* const name : {"b", "a", "B", "10", "9", "\xff", "a b"}) {
        MakeFolder(std::string("top/") + name);
    }

    EXPECT_EQ(GetDirsInDir(top, out, false, false, ""), 0);

    EXPECT_THAT(out, ElementsAre("10", "9", "B", "a", "a b", "b", "\xff"));
}

TEST_F(UtilityFolder, ListsFullPathsIfAskedTo) {
    MakeFolder("top/a");
    MakeFolder("top/b");

    EXPECT_EQ(GetDirsInDir(top, out, true, false, ""), 0);

    EXPECT_THAT(out, ElementsAre(top + "/a", top + "/b"));
}

TEST_F(UtilityFolder, AppendsToTheGivenList) {
    MakeFolder("top/a");
    out = {"before"};

    EXPECT_EQ(GetDirsInDir(top, out, false, false, ""), 0);

    EXPECT_THAT(out, ElementsAre("before", "a"));
}

TEST_F(UtilityFolder, ListsOnlySubFolders) {
    contract::PutFile(top + "/file");
    fs::create_directory_symlink(MakeFolder("elsewhere"), top + "/link");
    fs::create_symlink(Scratch("nothing"), top + "/dangling");
    MakeFolder("top/folder");
    MakeFolder("top/.hidden");

    EXPECT_EQ(GetDirsInDir(top, out, false, false, ""), 0);

    EXPECT_THAT(out, ElementsAre(".hidden", "folder"));
}

TEST_F(UtilityFolder, ListsNothingInAnEmptyFolder) {
    EXPECT_EQ(GetDirsInDir(top, out, false, false, ""), 0);

    EXPECT_THAT(out, IsEmpty());
}

TEST_F(UtilityFolder, ListsOnlyNamesThatMatch) {
    for (const char* const name : {"20140312AM", "20140312PM", "x20140312AM", "20140312AM.bak"}) {
        MakeFolder(std::string("top/") + name);
    }

    EXPECT_EQ(GetDirsInDir(top, out, false, false, "^[0-9]{8}[AP]M$"), 0);

    EXPECT_THAT(out, ElementsAre("20140312AM", "20140312PM"));
}

TEST_F(UtilityFolder, MatchesAnywhereInTheNameAndNotInThePath) {
    MakeFolder("top/xay");
    MakeFolder("top/b");

    EXPECT_EQ(GetDirsInDir(top, out, true, false, "a"), 0);
    EXPECT_EQ(GetDirsInDir(top, out, true, false, "top"), 0);

    EXPECT_THAT(out, ElementsAre(top + "/xay"));
}

TEST_F(UtilityFolder, DoesNotDescendUnlessAskedTo) {
    MakeFolder("top/a/deep");

    EXPECT_EQ(GetDirsInDir(top, out, true, false, ""), 0);

    EXPECT_THAT(out, ElementsAre(top + "/a"));
}

TEST_F(UtilityFolder, DescendsIntoSubFoldersThatDoNotMatch) {
    MakeFolder("top/skipped/found1/found2");
    MakeFolder("top/found0");

    EXPECT_EQ(GetDirsInDir(top, out, true, true, "^found"), 0);

    EXPECT_THAT(out, testing::UnorderedElementsAre(top + "/found0", top + "/skipped/found1",
                                                   top + "/skipped/found1/found2"));
}

TEST_F(UtilityFolder, ListsNestedFoldersByTheirBareNames) {
    MakeFolder("top/a/b");

    EXPECT_EQ(GetDirsInDir(top, out, false, true, ""), 0);

    EXPECT_THAT(out, ElementsAre("a", "b"));
}

TEST_F(UtilityFolder, FollowsNoLinks) {
    fs::create_directory_symlink(top, top + "/ring");
    MakeFolder("top/a");

    EXPECT_EQ(GetDirsInDir(top, out, true, true, ""), 0);

    EXPECT_THAT(out, ElementsAre(top + "/a"));
}

TEST_F(UtilityFolder, ListsHostileNamesUnchanged) {
    for (const std::string& name : contract::HostileNames()) {
        fs::create_directory(top + "/" + name);
    }
    std::vector<std::string> names = contract::HostileNames();
    std::sort(names.begin(), names.end());

    EXPECT_EQ(GetDirsInDir(top, out, false, false, ""), 0);

    EXPECT_THAT(out, testing::ElementsAreArray(names));
}

TEST_F(UtilityFolder, FailsWithoutALogLineForAMissingFolder) {
    out = {"before"};

    EXPECT_NE(GetDirsInDir(Scratch("nothing"), out, true, true, ""), 0);

    EXPECT_THAT(out, ElementsAre("before"));
    EXPECT_THAT(world::Log(), IsEmpty());
}

TEST_F(UtilityFolder, AppendsNothingAndLogsTheReasonIfTheFolderCantBeRead) {
    MakeFolder("top/a");
    const contract::ObeyPermissions unprivileged;
    const contract::UnreadableFolder unreadable(top);

    EXPECT_NE(GetDirsInDir(top, out, true, false, ""), 0);

    EXPECT_THAT(out, IsEmpty());
    ASSERT_EQ(world::Log().size(), 1U);
    EXPECT_THAT(world::Log().front(), HasSubstr(top));
}

TEST_F(UtilityFolder, AppendsNothingAndLogsTheReasonIfASubFolderCantBeRead) {
    MakeFolder("top/a");
    const std::string deep = MakeFolder("top/b");
    MakeFolder("top/c");
    const contract::ObeyPermissions unprivileged;
    const contract::UnreadableFolder unreadable(deep);

    EXPECT_NE(GetDirsInDir(top, out, true, true, ""), 0);

    EXPECT_THAT(out, IsEmpty());
    ASSERT_EQ(world::Log().size(), 1U);
    EXPECT_THAT(world::Log().front(), HasSubstr(deep));
}

TEST_F(UtilityFolder, ListsNothingForAnInvalidPattern) {
    MakeFolder("top/a");

    EXPECT_EQ(GetDirsInDir(top, out, true, false, "("), 0);

    EXPECT_THAT(out, IsEmpty());
}

} // namespace
