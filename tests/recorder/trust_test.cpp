#include "recorder/support/trust.h"

#include "recorder/support/error.h"
#include "tests/contract/support/files.h"
#include "tests/contract/support/fixture.h"

#include <functional>

#include <fcntl.h>
#include <sys/stat.h>

namespace {

namespace fs = std::filesystem;

using recorder::UniqueFd;
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

    [[nodiscard]] std::string OfOpenFile() const {
        return Complaint([this] {
            recorder::DemandTrusted(UniqueFd(open(file.c_str(), O_RDONLY | O_CLOEXEC)), file);
        });
    }
    [[nodiscard]] std::string OfFolder() const {
        return Complaint([this] { recorder::DemandTrustedFolderOf(file); });
    }
    [[nodiscard]] std::string OfUnopenedFile() const {
        return Complaint([this] { recorder::DemandTrustedUnlinked(file); });
    }

    const std::string file;
};

TEST_F(Trust, IsGivenToWhatOnlyItsOwnerWrites) {
    EXPECT_EQ(OfOpenFile(), "");
    EXPECT_EQ(OfFolder(), "");
    EXPECT_EQ(OfUnopenedFile(), "");
}

TEST_F(Trust, IsDeniedToWhatTheGroupOrOthersWrite) {
    for (const mode_t mode : {0664U, 0646U, 0620U, 0602U}) {
        chmod(file.c_str(), mode);
        chmod(Scratch("folder").c_str(), mode | 0111U);

        EXPECT_THAT(OfOpenFile(), HasSubstr(file + " may be written by its group or by others"));
        EXPECT_THAT(OfUnopenedFile(), HasSubstr(file + " may be written"));
        EXPECT_THAT(OfFolder(), HasSubstr("folder " + Scratch("folder") + " may be written"));
    }
}

TEST_F(Trust, IsDeniedToAStickyFolderToo) {
    chmod(Scratch("folder").c_str(), 01777);

    EXPECT_THAT(OfFolder(), HasSubstr("(mode 1777)"));
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
    ASSERT_EQ(chown(Scratch("folder").c_str(), kOther, 0), 0);

    EXPECT_THAT(OfOpenFile(), HasSubstr(file + " belongs to user 1001"));
    EXPECT_THAT(OfUnopenedFile(), HasSubstr("belongs to user 1001"));
    EXPECT_THAT(OfFolder(), HasSubstr("belongs to user 1001"));
}

TEST_F(ForeignTrust, IsGivenToWhatIsRootsOrOnesOwn) {
    ASSERT_EQ(seteuid(kOther), 0);
    const std::string ofOwn = OfUnopenedFile();
    const std::string ofRoots = OfFolder();
    ASSERT_EQ(seteuid(0), 0);

    EXPECT_EQ(ofOwn, "");
    EXPECT_EQ(ofRoots, "");
}

TEST_F(Trust, IsNoMatterOfWhatIsNotThere) {
    fs::remove_all(Scratch("folder"));

    EXPECT_EQ(OfFolder(), "");
    EXPECT_EQ(OfUnopenedFile(), "");
}

TEST_F(Trust, IsDeniedToALinkInPlaceOfAFileThatIsYetToBeOpened) {
    fs::remove(file);
    fs::create_symlink(Scratch("nowhere"), file);

    EXPECT_THAT(OfUnopenedFile(), HasSubstr("is a symbolic link"));
}

TEST_F(Trust, IsDeniedToWhatIsNoRegularFile) {
    fs::remove(file);
    ASSERT_EQ(mkfifo(file.c_str(), 0600), 0);

    EXPECT_THAT(OfUnopenedFile(), HasSubstr("is no regular file"));
}

} // namespace
