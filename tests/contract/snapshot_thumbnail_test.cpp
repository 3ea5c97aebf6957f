#include "platform/snapshot.h"
#include "tests/contract/support/files.h"
#include "tests/contract/support/fixture.h"
#include "tests/contract/support/jpeg.h"
#include "tests/contract/support/permissions.h"

#include <filesystem>

#include <sys/stat.h>

namespace {

namespace fs = std::filesystem;

using contract::Picture;
using contract::PictureSize;
using contract::SizeOf;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr contract::Rgb kRed{255, 0, 0};
constexpr contract::Rgb kGreen{0, 255, 0};
constexpr contract::Rgb kBlue{0, 0, 255};
constexpr contract::Rgb kWhite{255, 255, 255};

class SnapshotThumbnail : public contract::ContractTest {
protected:
    const std::string path = Scratch("snap/cam-20140312-1394589600.jpg");
    const std::string folder = Scratch("snap/@Thumbnail");
    const std::string thumbnail = folder + "/cam-20140312-1394589600.jpg";

    // Makes the thumbnail of a picture with these bytes, and returns the thumbnail's size.
    PictureSize ThumbnailSizeOf(const std::string& jpeg) const {
        contract::PutFile(path, jpeg);
        EXPECT_EQ(CreateThumbnail(path), 0);
        return SizeOf(contract::ReadFile(thumbnail));
    }

    // Expects that no thumbnail is made, that the log names the picture, and that no file is added
    // or removed.
    void ExpectRefused() const {
        const auto before = AllPaths();
        EXPECT_NE(CreateThumbnail(path), 0);
        ASSERT_EQ(world::Log().size(), 1U);
        EXPECT_THAT(world::Log().front(), HasSubstr(path));
        EXPECT_EQ(AllPaths(), before);
    }

    void ExpectQuarters(const std::array<contract::Rgb, 4>& expected) const {
        const auto quarters = contract::QuartersOf(thumbnail);
        for (std::size_t i = 0; i < expected.size(); ++i) {
            EXPECT_TRUE(contract::IsLike(quarters.at(i), expected.at(i)))
                << "quarter " << i << ": " << testing::PrintToString(quarters.at(i));
        }
    }

private:
    static std::vector<std::string> AllPaths() {
        std::vector<std::string> paths;
        for (const auto& entry : fs::recursive_directory_iterator(Scratch(""))) {
            paths.push_back(entry.path());
        }
        std::sort(paths.begin(), paths.end());
        return paths;
    }
};

TEST_F(SnapshotThumbnail, IsAJpegOfTheSameNameInTheThumbnailFolder) {
    contract::PutFile(path, contract::Media("quarters.jpg"));

    EXPECT_EQ(CreateThumbnail(path), 0);

    EXPECT_THAT(contract::NamesIn(folder), ElementsAre("cam-20140312-1394589600.jpg"));
    ExpectQuarters({kRed, kGreen, kBlue, kWhite});
}

TEST_F(SnapshotThumbnail, Is320PixelsWideInTheSameProportions) {
    EXPECT_EQ(ThumbnailSizeOf(contract::Media("quarters.jpg")), (PictureSize{320, 240}));
}

TEST_F(SnapshotThumbnail, IsNotLargerThanThePicture) {
    EXPECT_EQ(ThumbnailSizeOf(contract::Media("small.jpg")), (PictureSize{100, 80}));
}

TEST_F(SnapshotThumbnail, LeavesThePictureUnchanged) {
    const std::string jpeg = contract::Media("quarters.jpg");
    contract::PutFile(path, jpeg);

    ASSERT_EQ(CreateThumbnail(path), 0);

    EXPECT_EQ(contract::ReadFile(path), jpeg);
}

TEST_F(SnapshotThumbnail, IsMadeFromAProgressiveJpeg) {
    EXPECT_EQ(ThumbnailSizeOf(Picture("progressive.jpg")), (PictureSize{320, 240}));
    ExpectQuarters({kRed, kGreen, kBlue, kWhite});
}

TEST_F(SnapshotThumbnail, IsMadeFromACmykJpeg) {
    EXPECT_EQ(ThumbnailSizeOf(Picture("cmyk.jpg")), (PictureSize{320, 240}));
    ExpectQuarters({kRed, kGreen, kBlue, {100, 100, 100}}); // the last quarter contains some black
}

TEST_F(SnapshotThumbnail, IsMadeFromAGreyscaleJpeg) {
    EXPECT_EQ(ThumbnailSizeOf(Picture("grey.jpg")), (PictureSize{320, 240}));
    ExpectQuarters({{{10, 10, 10}, {90, 90, 90}, {170, 170, 170}, {250, 250, 250}}});
}

TEST_F(SnapshotThumbnail, IsUprightForEveryExifOrientation) {
    const std::string jpeg = contract::Media("quarters.jpg");
    // The quarters of the upright picture, for each orientation of red and green above blue and
    // white.
    const std::vector<std::array<contract::Rgb, 4>> upright{
        {kRed, kGreen, kBlue, kWhite}, {kGreen, kRed, kWhite, kBlue}, {kWhite, kBlue, kGreen, kRed},
        {kBlue, kWhite, kRed, kGreen}, {kRed, kBlue, kGreen, kWhite}, {kBlue, kRed, kWhite, kGreen},
        {kWhite, kGreen, kBlue, kRed}, {kGreen, kWhite, kRed, kBlue}};
    for (int orientation = 1; orientation <= 8; ++orientation) {
        SCOPED_TRACE(orientation);
        const PictureSize size = ThumbnailSizeOf(contract::WithOrientation(jpeg, orientation));

        EXPECT_EQ(size, orientation < 5 ? (PictureSize{320, 240}) : (PictureSize{320, 426}));
        ExpectQuarters(upright.at(static_cast<std::size_t>(orientation) - 1));
    }
}

TEST_F(SnapshotThumbnail, ShowsTheReadablePartOfATruncatedPicture) {
    const std::string jpeg = contract::Media("quarters.jpg");

    EXPECT_EQ(ThumbnailSizeOf(jpeg.substr(0, jpeg.size() * 3 / 4)), (PictureSize{320, 240}));

    EXPECT_TRUE(contract::IsLike(contract::QuartersOf(thumbnail).front(), kRed));
}

TEST_F(SnapshotThumbnail, ReplacesAnExistingThumbnail) {
    contract::PutFile(thumbnail, "old");

    EXPECT_EQ(ThumbnailSizeOf(contract::Media("quarters.jpg")), (PictureSize{320, 240}));

    EXPECT_EQ(contract::NamesIn(folder).size(), 1U);
}

TEST_F(SnapshotThumbnail, CanHaveAnyName) {
    for (const std::string& name : contract::HostileNames()) {
        contract::PutFile(Scratch("snap/") + name, contract::Media("small.jpg"));

        EXPECT_EQ(CreateThumbnail(Scratch("snap/") + name), 0) << name;

        EXPECT_TRUE(fs::exists(folder + "/" + name)) << name;
    }
    EXPECT_EQ(contract::NamesIn(folder).size(), contract::HostileNames().size());
}

TEST_F(SnapshotThumbnail, IsNotMadeFromAFileThatIsNoJpeg) {
    for (const std::string& bytes :
         {std::string(), std::string("no picture"), std::string("\xff\xd8"),
          contract::Media("picture.png"), std::string(4096, '\xff')}) {
        world::Reset();
        contract::PutFile(path, bytes);

        ExpectRefused();
    }
}

TEST_F(SnapshotThumbnail, IsNotMadeIfTheJpegHeaderIsTruncated) {
    contract::PutFile(path, contract::Media("quarters.jpg").substr(0, 100));

    ExpectRefused();
}

TEST_F(SnapshotThumbnail, IsNotMadeFromMoreThanAHundredMegapixels) {
    contract::PutFile(path, contract::WithSize(contract::Media("quarters.jpg"), {20'000, 5'001}));

    ExpectRefused();
}

TEST_F(SnapshotThumbnail, IsNotMadeFromAMissingPicture) {
    MakeFolder("snap");

    ExpectRefused();
}

TEST_F(SnapshotThumbnail, IsNotMadeFromAFolderOrAPipe) {
    fs::create_directories(path);
    ExpectRefused();

    world::Reset();
    MakeFolder("snap");
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    ExpectRefused();
}

TEST_F(SnapshotThumbnail, StaysUnchangedIfANewOneCantBeMade) {
    contract::PutFile(path, "no picture");
    contract::PutFile(thumbnail, "old");

    ExpectRefused();

    EXPECT_EQ(contract::ReadFile(thumbnail), "old");
}

TEST_F(SnapshotThumbnail, IsNotWrittenIntoALinkedFolder) {
    contract::PutFile(path, contract::Media("quarters.jpg"));
    fs::create_directory_symlink(MakeFolder("elsewhere"), folder);

    ExpectRefused();
}

TEST_F(SnapshotThumbnail, ReplacesALinkOfItsNameAndNotTheTarget) {
    contract::PutFile(Scratch("elsewhere"), "precious");
    MakeFolder("snap/@Thumbnail");
    fs::create_symlink(Scratch("elsewhere"), thumbnail);

    EXPECT_EQ(ThumbnailSizeOf(contract::Media("quarters.jpg")), (PictureSize{320, 240}));

    EXPECT_EQ(contract::ReadFile(Scratch("elsewhere")), "precious");
    EXPECT_FALSE(fs::is_symlink(thumbnail));
}

TEST_F(SnapshotThumbnail, LeavesNoTemporaryFileIfItCantBeRenamed) {
    contract::PutFile(path, contract::Media("quarters.jpg"));
    contract::PutFile(thumbnail + "/in the way");

    ExpectRefused();
}

TEST_F(SnapshotThumbnail, IsNotMadeInAReadOnlyFolder) {
    contract::PutFile(path, contract::Media("quarters.jpg"));
    MakeFolder("snap/@Thumbnail");
    const contract::ObeyPermissions unprivileged;
    fs::permissions(folder, fs::perms::owner_read | fs::perms::owner_exec);

    ExpectRefused();
}

} // namespace
