#include "recorder/support/trust.h"

#include "tests/contract/support/files.h"
#include "tests/contract/support/fixture.h"
#include "tests/recorder/support/failure.h"

#include <sys/stat.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

using testing::HasSubstr;

constexpr uid_t kOther = 1001;
constexpr const char* kTrusted = "none"; // the failure

class Trust : public contract::ContractTest {
protected:
    // The file is trusted until a test changes it or its folder.
    Trust() : file(MakeFolder("folder") + "/file") {
        contract::PutFile(file);
        chmod(Scratch("folder").c_str(), 0755);
        chmod(file.c_str(), 0644);
    }

    // The failure to trust a file that is to be read, or to be written.
    [[nodiscard]] static std::string ToRead(const std::string& path) {
        return support::FailureOf([&] { (void)recorder::OpenTrustedFileIfThere(path); });
    }
    [[nodiscard]] static std::string ToWrite(const std::string& path) {
        return support::FailureOf([&] { recorder::RequireTrustedUnlinked(path); });
    }
    // The failure to trust a folder in which files are to be created.
    [[nodiscard]] static std::string ToFill(const std::string& path) {
        return support::FailureOf([&] { recorder::RequireTrustedFolder(path); });
    }

    // Creates a link in this folder of the scratch folder.
    static std::string Link(const std::string& folder, const std::string& target) {
        std::string link = MakeFolder(folder) + "/link";
        fs::create_symlink(target, link);
        return link;
    }

    const std::string file;
};

TEST_F(Trust, IsGivenIfOnlyTheOwnerCanWrite) {
    EXPECT_EQ(ToRead(file), kTrusted);
    EXPECT_EQ(ToWrite(file), kTrusted);
    EXPECT_EQ(contract::ReadFile("/proc/self/fd/" +
                                 std::to_string(recorder::OpenTrustedFileIfThere(file).Get())),
              "x");
}

TEST_F(Trust, IsDeniedIfTheGroupOrOthersCanWrite) {
    for (const mode_t mode : {0664U, 0646U, 0620U, 0602U}) {
        chmod(file.c_str(), mode);

        EXPECT_THAT(ToRead(file), HasSubstr(file + " may be written by its group or by others"));
        EXPECT_THAT(ToWrite(file), HasSubstr(file + " may be written"));

        chmod(Scratch("folder").c_str(), mode | 0111U);
        EXPECT_THAT(ToRead(file), HasSubstr("folder " + Scratch("folder") + " may be written"));
        EXPECT_THAT(ToWrite(file), HasSubstr("folder " + Scratch("folder") + " may be written"));

        fs::remove(file); // a user who could create it could also have removed it
        EXPECT_THAT(ToRead(file), HasSubstr("folder " + Scratch("folder") + " may be written"));
        EXPECT_THAT(ToWrite(file), HasSubstr("folder " + Scratch("folder") + " may be written"));
        contract::PutFile(file);
        chmod(Scratch("folder").c_str(), 0755);
    }
}

TEST_F(Trust, IsDeniedBelowAFolderThatOthersCanWrite) {
    const std::string deep = MakeFolder("folder/a/b/c") + "/file";
    contract::PutFile(deep);
    for (const char* const folder : {"folder", "folder/a", "folder/a/b", "folder/a/b/c"}) {
        chmod(Scratch(folder).c_str(), 0775);

        EXPECT_THAT(ToRead(deep), HasSubstr("folder " + Scratch(folder) + " may be written"));
        EXPECT_THAT(ToWrite(deep), HasSubstr("folder " + Scratch(folder) + " may be written"));
        chmod(Scratch(folder).c_str(), 0755);
    }
    EXPECT_EQ(ToRead(deep), kTrusted);
}

TEST_F(Trust, IsDeniedInAStickyFolder) {
    chmod(Scratch("folder").c_str(), 01777);

    EXPECT_THAT(ToRead(file), HasSubstr("(mode 1777)"));
    EXPECT_THAT(ToWrite(file), HasSubstr("(mode 1777)"));
}

TEST_F(Trust, IsGivenToAFolderIfOnlyTheOwnerCanWriteIt) {
    const std::string folder = Scratch("folder");
    EXPECT_EQ(ToFill(folder), kTrusted);
    EXPECT_EQ(ToFill(Link("other", folder)), kTrusted);
    EXPECT_EQ(ToFill(Scratch("folder/missing")), kTrusted);
    EXPECT_THAT(ToFill(file), HasSubstr(file + " is a regular file; expected a folder"));
    for (const mode_t mode : {0775U, 0757U, 01777U}) {
        chmod(folder.c_str(), mode);

        EXPECT_THAT(ToFill(folder), HasSubstr("folder " + folder + " may be written"));
    }
}

TEST_F(Trust, IsGivenToAPrivateFolderBelowAStickyFolder) {
    const std::string folder = MakeFolder("folder/private");
    chmod(folder.c_str(), 0755);
    chmod(Scratch("folder").c_str(), 01777);
    EXPECT_EQ(ToFill(folder), kTrusted);
    EXPECT_THAT(ToFill(Link("folder", folder)), kTrusted);
    EXPECT_THAT(ToFill(Scratch("folder/missing")), HasSubstr("may be written"));
}

TEST_F(Trust, IsGivenInAPrivateFolderBelowAStickyFolder) {
    const std::string deep = MakeFolder("folder/a") + "/file";
    contract::PutFile(deep);
    chmod(Scratch("folder").c_str(), 01777);

    EXPECT_EQ(ToRead(deep), kTrusted);
    EXPECT_EQ(ToRead(Link("links", deep)), kTrusted);

    fs::remove_all(Scratch("folder/a")); // other users can create it
    EXPECT_THAT(ToRead(deep), HasSubstr("(mode 1777)"));
}

TEST_F(Trust, FollowsLinksToATrustedFile) {
    const std::string first = Link("one", "../two/link");
    Link("two", Scratch("three") + "/link//file");
    Link("three", "./../folder");

    EXPECT_EQ(ToRead(first), kTrusted);
    EXPECT_EQ(ToWrite(Scratch("three/link/file")), kTrusted);
}

TEST_F(Trust, IsDeniedIfAChainOfLinksPassesAFolderThatOthersCanWrite) {
    const std::string first = Link("one", Scratch("two") + "/link");
    Link("two", "../three/link/file");
    Link("three", "../folder");
    for (const char* const folder : {"one", "two", "three", "folder"}) {
        chmod(Scratch(folder).c_str(), 0777);

        EXPECT_THAT(ToRead(first), HasSubstr("folder " + Scratch(folder) + " may be written"));
        chmod(Scratch(folder).c_str(), 0755);
    }
    EXPECT_EQ(ToRead(first), kTrusted);
}

TEST_F(Trust, IsDeniedToALinkThatLeadsNowhereOrToItself) {
    EXPECT_THAT(ToRead(Link("a", Scratch("nowhere"))),
                HasSubstr("a/link leads by a link to " + Scratch("nowhere") +
                          ", which does not exist; expected a regular file"));
    EXPECT_THAT(ToRead(Link("b", Scratch("nowhere")) + "/file"), HasSubstr("which does not exist"));
    EXPECT_THAT(ToWrite(Scratch("b/link/file")), HasSubstr("which does not exist"));
    EXPECT_THAT(ToRead(Link("c", "link")), HasSubstr("too many links"));
}

// The file belongs to another user. CTest has a separate entry for these tests, which it shows as
// skipped in the sandbox of an ordinary user, where there is no other user.
class ForeignTrust : public Trust {
protected:
    void SetUp() override {
        if (chown(file.c_str(), kOther, 0) != 0) {
            GTEST_SKIP() << "there is no other user in this sandbox";
        }
    }
};

TEST_F(ForeignTrust, IsDeniedIfAnotherUserOwnsTheFileOrFolder) {
    EXPECT_THAT(ToRead(file), HasSubstr(file + " belongs to user 1001"));
    EXPECT_THAT(ToWrite(file), HasSubstr(file + " belongs to user 1001"));

    ASSERT_EQ(chown(Scratch("folder").c_str(), kOther, 0), 0);
    EXPECT_THAT(ToRead(file), HasSubstr("folder " + Scratch("folder") + " belongs to user 1001"));
    EXPECT_THAT(ToWrite(file), HasSubstr("folder " + Scratch("folder") + " belongs to user 1001"));
}

TEST_F(ForeignTrust, IsDeniedIfAnotherUserOwnsTheLink) {
    ASSERT_EQ(chown(file.c_str(), 0, 0), 0);
    const std::string link = Link("links", file);
    ASSERT_EQ(ToRead(link), kTrusted);
    ASSERT_EQ(lchown(link.c_str(), kOther, 0), 0);

    EXPECT_THAT(ToRead(link), HasSubstr("link " + link + " belongs to user 1001"));
}

TEST_F(ForeignTrust, IsDeniedInAnotherUsersFolderBelowAStickyFolder) {
    const std::string deep = MakeFolder("folder/a") + "/file";
    chmod(Scratch("folder").c_str(), 01777);
    ASSERT_EQ(chown(Scratch("folder/a").c_str(), kOther, 0), 0);

    EXPECT_THAT(ToRead(deep), HasSubstr("(mode 1777)"));
}

TEST_F(ForeignTrust, IsGivenToTheUsersOwnFileInAFolderOfRoot) {
    ASSERT_EQ(seteuid(kOther), 0);
    const std::string failure = ToWrite(file);
    ASSERT_EQ(seteuid(0), 0);

    EXPECT_EQ(failure, kTrusted);
}

TEST_F(Trust, IsGivenToAMissingFile) {
    fs::remove_all(Scratch("folder"));

    EXPECT_EQ(ToRead(file), kTrusted);
    EXPECT_FALSE(recorder::OpenTrustedFileIfThere(file).IsOpen());
    EXPECT_EQ(ToWrite(file), kTrusted);
}

TEST_F(Trust, IsDeniedToALinkInsteadOfTheFileToBeWritten) {
    fs::remove(file);
    fs::create_symlink(Scratch("nowhere"), file);

    EXPECT_THAT(ToWrite(file), HasSubstr("is a symbolic link"));
}

TEST_F(Trust, RequiresARegularFile) {
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
