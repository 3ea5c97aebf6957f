#include "recorder/support/folder.h"

#include "recorder/support/presence.h"
#include "tests/contract/support/files.h"
#include "tests/contract/support/fixture.h"
#include "tests/contract/support/permissions.h"
#include "tests/recorder/support/failure.h"

namespace {

using recorder::FolderEntry;
using recorder::FolderListing;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

class FolderList : public contract::ContractTest {
protected:
    FolderListing List(const std::string& path) {
        return recorder::ListFolder(path, [&](const FolderEntry& entry) {
            seen.push_back(entry.name + (entry.isFolder ? "/" : ""));
            return seen.size() < limit;
        });
    }

    std::vector<std::string> seen;
    std::size_t limit = 1000;
};

class FolderPresence : public contract::ContractTest {};

TEST_F(FolderList, ContainsEveryEntryExceptTheDots) {
    contract::PutFile(Scratch("top/file"));
    contract::PutFile(Scratch("top/.hidden"));
    MakeFolder("top/folder");
    std::filesystem::create_directory_symlink(Scratch("top/folder"), Scratch("top/link"));

    EXPECT_EQ(List(Scratch("top")), FolderListing::Complete);

    EXPECT_THAT(seen, UnorderedElementsAre("file", ".hidden", "folder/", "link"));
}

TEST_F(FolderList, OfAnEmptyFolderIsComplete) {
    EXPECT_EQ(List(MakeFolder("top")), FolderListing::Complete);

    EXPECT_THAT(seen, IsEmpty());
}

TEST_F(FolderList, StopsWhenTheVisitorReturnsFalse) {
    for (const char* const name : {"a", "b", "c"}) {
        contract::PutFile(Scratch("top/") + name);
    }
    limit = 2;

    EXPECT_EQ(List(Scratch("top")), FolderListing::Stopped);

    EXPECT_EQ(seen.size(), 2U);
}

TEST_F(FolderList, IsAbsentIfTheFolderDoesNotExist) {
    EXPECT_EQ(List(Scratch("nothing")), FolderListing::Absent);
    EXPECT_EQ(List(Scratch("nothing/below")), FolderListing::Absent);
}

TEST_F(FolderList, ThrowsIfThePathIsNoFolder) {
    contract::PutFile(Scratch("file"));

    EXPECT_THROW(List(Scratch("file")), recorder::Error);
    EXPECT_THROW(List(Scratch("file/below")), recorder::Error);
}

TEST_F(FolderList, ThrowsIfTheFolderCantBeRead) {
    const std::string top = MakeFolder("top");
    const contract::ObeyPermissions unprivileged;
    const contract::UnreadableFolder unreadable(top);

    EXPECT_EQ(support::FailureOf([&] { List(top); }),
              "can't open folder " + top + ": Permission denied");
}

TEST_F(FolderList, ContainsThousandsOfEntries) {
    for (int i = 0; i < 3000; ++i) {
        contract::PutFile(Scratch("top/") + std::string(40, 'x') + std::to_string(i), "");
    }
    limit = 10'000;

    EXPECT_EQ(List(Scratch("top")), FolderListing::Complete);

    EXPECT_EQ(seen.size(), 3000U);
}

TEST_F(FolderPresence, IsYesNoOrUnknown) {
    const std::string locked = MakeFolder("locked");
    contract::PutFile(Scratch("file"));
    const contract::ObeyPermissions unprivileged;
    const contract::UnreadableFolder unreadable(locked);

    EXPECT_EQ(recorder::FolderPresence(locked), recorder::Presence::Yes);
    EXPECT_EQ(recorder::FolderPresence(Scratch("nothing")), recorder::Presence::No);
    EXPECT_EQ(recorder::FolderPresence(Scratch("file")), recorder::Presence::No);
    EXPECT_EQ(recorder::FolderPresence(locked + "/below"), recorder::Presence::Unknown);
    EXPECT_EQ(recorder::FilePresence(Scratch("file")), recorder::Presence::Yes);
    EXPECT_EQ(recorder::FilePresence(locked), recorder::Presence::No);
    EXPECT_EQ(recorder::FilePresence(locked + "/below"), recorder::Presence::Unknown);
}

} // namespace
