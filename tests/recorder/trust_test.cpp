#include "recorder/support/trust.h"

#include "recorder/support/error.h"
#include "tests/contract/support/files.h"
#include "tests/contract/support/fixture.h"

#include <functional>

#include <sys/stat.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

using testing::HasSubstr;

constexpr uid_t kOther = 1001;

std::string Complaint(const std::function<void()>& demand) {
    try {
        demand();
    } catch (const recorder::Error& error) {
        return error.what();
    }
    return "";
}

class Trust : public contract::ContractTest {
protected:
    // A file in a folder of its own.
    Trust() : file(MakeFolder("folder") + "/file") {
        contract::PutFile(file);
        chmod(Scratch("folder").c_str(), 0755);
        chmod(file.c_str(), 0644);
    }

    // Of a file that is read, or opened to write.
    [[nodiscard]] static std::string ToRead(const std::string& path) {
        return Complaint([&] { (void)recorder::OpenTrustedFileIfThere(path); });
    }
    [[nodiscard]] static std::string ToWrite(const std::string& path) {
        return Complaint([&] { recorder::RequireTrustedUnlinked(path); });
    }

    // A link in a folder of its own.
    static std::string Link(const std::string& folder, const std::string& target) {
        std::string link = MakeFolder(folder) + "/link";
        fs::create_symlink(target, link);
        return link;
    }

    const std::string file;
};

TEST_F(Trust, IsGivenToWhatOnlyItsOwnerWrites) {
    EXPECT_EQ(ToRead(file), "");
    EXPECT_EQ(ToWrite(file), "");
    EXPECT_EQ(contract::ReadFile("/proc/self/fd/" +
                                 std::to_string(recorder::OpenTrustedFileIfThere(file).Get())),
              "x");
}

TEST_F(Trust, IsDeniedToWhatTheGroupOrOthersWrite) {
    for (const mode_t mode : {0664U, 0646U, 0620U, 0602U}) {
        chmod(file.c_str(), mode);

        EXPECT_THAT(ToRead(file), HasSubstr(file + " may be written by its group or by others"));
        EXPECT_THAT(ToWrite(file), HasSubstr(file + " may be written"));

        chmod(Scratch("folder").c_str(), mode | 0111U);
        EXPECT_THAT(ToRead(file), HasSubstr("folder " + Scratch("folder") + " may be written"));
        EXPECT_THAT(ToWrite(file), HasSubstr("folder " + Scratch("folder") + " may be written"));

        fs::remove(file); // who could make it could take it away as well
        EXPECT_THAT(ToRead(file), HasSubstr("folder " + Scratch("folder") + " may be written"));
        EXPECT_THAT(ToWrite(file), HasSubstr("folder " + Scratch("folder") + " may be written"));
        contract::PutFile(file);
        chmod(Scratch("folder").c_str(), 0755);
    }
}

TEST_F(Trust, IsDeniedBelowAFolderThatOthersWrite) {
    const std::string deep = MakeFolder("folder/a/b/c") + "/file";
    contract::PutFile(deep);
    for (const char* const folder : {"folder", "folder/a", "folder/a/b", "folder/a/b/c"}) {
        chmod(Scratch(folder).c_str(), 0775);

        EXPECT_THAT(ToRead(deep), HasSubstr("folder " + Scratch(folder) + " may be written"));
        EXPECT_THAT(ToWrite(deep), HasSubstr("folder " + Scratch(folder) + " may be written"));
        chmod(Scratch(folder).c_str(), 0755);
    }
    EXPECT_EQ(ToRead(deep), "");
}

TEST_F(Trust, IsDeniedToAStickyFolderThatHoldsTheFile) {
    chmod(Scratch("folder").c_str(), 01777);

    EXPECT_THAT(ToRead(file), HasSubstr("(mode 1777)"));
    EXPECT_THAT(ToWrite(file), HasSubstr("(mode 1777)"));
}

TEST_F(Trust, IsGivenToWhatAStickyFolderOnTheWayKeepsFromOthers) {
    const std::string deep = MakeFolder("folder/a") + "/file";
    contract::PutFile(deep);
    chmod(Scratch("folder").c_str(), 01777);

    EXPECT_EQ(ToRead(deep), "");
    EXPECT_EQ(ToRead(Link("links", deep)), "");

    fs::remove_all(Scratch("folder/a")); // others can make it
    EXPECT_THAT(ToRead(deep), HasSubstr("(mode 1777)"));
}

TEST_F(Trust, FollowsLinksToWhatIsTrusted) {
    const std::string first = Link("one", "../two/link");
    Link("two", Scratch("three") + "/link//file");
    Link("three", "./../folder");

    EXPECT_EQ(ToRead(first), "");
    EXPECT_EQ(ToWrite(Scratch("three/link/file")), "");
}

TEST_F(Trust, IsDeniedToALinkChainThroughAFolderThatOthersWrite) {
    const std::string first = Link("one", Scratch("two") + "/link");
    Link("two", "../three/link/file");
    Link("three", "../folder");
    for (const char* const folder : {"one", "two", "three", "folder"}) {
        chmod(Scratch(folder).c_str(), 0777);

        EXPECT_THAT(ToRead(first), HasSubstr("folder " + Scratch(folder) + " may be written"));
        chmod(Scratch(folder).c_str(), 0755);
    }
    EXPECT_EQ(ToRead(first), "");
}

TEST_F(Trust, IsDeniedToALinkThatLeadsNowhereOrRound) {
    EXPECT_THAT(ToRead(Link("a", Scratch("nowhere"))),
                HasSubstr("a/link leads by a link to " + Scratch("nowhere") +
                          ", which is not there; expected a regular file"));
    EXPECT_THAT(ToRead(Link("b", Scratch("nowhere")) + "/file"), HasSubstr("which is not there"));
    EXPECT_THAT(ToWrite(Scratch("b/link/file")), HasSubstr("which is not there"));
    EXPECT_THAT(ToRead(Link("c", "link")), HasSubstr("too many links"));
}

// The file is another user's. CTest has these tests as an entry of their own, which it shows as
// skipped where nobody can give a file away: in the sandbox of an ordinary user there is no other.
class ForeignTrust : public Trust {
protected:
    void SetUp() override {
        if (chown(file.c_str(), kOther, 0) != 0) {
            GTEST_SKIP() << "there is no other user in this sandbox";
        }
    }
};

TEST_F(ForeignTrust, IsDeniedToWhatIsAnotherUsers) {
    EXPECT_THAT(ToRead(file), HasSubstr(file + " belongs to user 1001"));
    EXPECT_THAT(ToWrite(file), HasSubstr(file + " belongs to user 1001"));

    ASSERT_EQ(chown(Scratch("folder").c_str(), kOther, 0), 0);
    EXPECT_THAT(ToRead(file), HasSubstr("folder " + Scratch("folder") + " belongs to user 1001"));
    EXPECT_THAT(ToWrite(file), HasSubstr("folder " + Scratch("folder") + " belongs to user 1001"));
}

TEST_F(ForeignTrust, IsDeniedToALinkOfAnotherUser) {
    ASSERT_EQ(chown(file.c_str(), 0, 0), 0);
    const std::string link = Link("links", file);
    ASSERT_EQ(ToRead(link), "");
    ASSERT_EQ(lchown(link.c_str(), kOther, 0), 0);

    EXPECT_THAT(ToRead(link), HasSubstr("link " + link + " belongs to user 1001"));
}

TEST_F(ForeignTrust, IsDeniedToWhatIsAnotherUsersInAStickyFolder) {
    const std::string deep = MakeFolder("folder/a") + "/file";
    chmod(Scratch("folder").c_str(), 01777);
    ASSERT_EQ(chown(Scratch("folder/a").c_str(), kOther, 0), 0);

    EXPECT_THAT(ToRead(deep), HasSubstr("(mode 1777)"));
}

TEST_F(ForeignTrust, IsGivenToWhatIsRootsOrOnesOwn) {
    ASSERT_EQ(seteuid(kOther), 0);
    const std::string ofOwn = ToWrite(file);
    ASSERT_EQ(seteuid(0), 0);

    EXPECT_EQ(ofOwn, "");
}

TEST_F(Trust, IsNoMatterOfWhatIsNotThere) {
    fs::remove_all(Scratch("folder"));

    EXPECT_EQ(ToRead(file), "");
    EXPECT_FALSE(recorder::OpenTrustedFileIfThere(file).IsOpen());
    EXPECT_EQ(ToWrite(file), "");
}

TEST_F(Trust, IsDeniedToALinkInPlaceOfAFileThatIsYetToBeOpened) {
    fs::remove(file);
    fs::create_symlink(Scratch("nowhere"), file);

    EXPECT_THAT(ToWrite(file), HasSubstr("is a symbolic link"));
}

TEST_F(Trust, IsDeniedToWhatIsNoRegularFile) {
    const std::string link = Link("links", file);
    fs::remove(file);
    ASSERT_EQ(mkfifo(file.c_str(), 0600), 0);
    EXPECT_THAT(ToRead(file), HasSubstr(file + " is a FIFO; expected a regular file"));
    EXPECT_THAT(ToWrite(file), HasSubstr(file + " is a FIFO; expected a regular file"));
    EXPECT_THAT(ToRead(link), HasSubstr(file + ", to which " + link + " leads, is a FIFO"));

    fs::remove(file);
    fs::create_directory(file);
    EXPECT_THAT(ToRead(file), HasSubstr(file + " is a folder; expected a regular file"));
    EXPECT_THAT(ToWrite(file), HasSubstr(file + " is a folder; expected a regular file"));

    fs::remove(file);
    ASSERT_EQ(mknod(file.c_str(), S_IFSOCK | 0600, 0), 0);
    EXPECT_THAT(ToRead(file), HasSubstr(file + " is a socket; expected a regular file"));
    EXPECT_THAT(ToWrite(file), HasSubstr(file + " is a socket; expected a regular file"));

    const std::string zero = Link("device", "/dev/zero");
    EXPECT_THAT(ToRead(zero), HasSubstr("/dev/zero, to which " + zero +
                                        " leads, is a device; expected a regular file"));
    EXPECT_THAT(ToRead("/dev/null"), HasSubstr("/dev/null is a device"));
    EXPECT_THAT(ToRead("/dev/null/file"), HasSubstr("/dev/null is a device; expected a folder"));
}

} // namespace
