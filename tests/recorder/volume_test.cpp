#include "recorder/camera/volume.h"

#include "tests/contract/support/files.h"
#include "tests/contract/support/fixture.h"
#include "tests/contract/support/process.h"
#include "tests/recorder/support/failure.h"

#include <sys/stat.h>

namespace {

namespace fs = std::filesystem;

using recorder::InitVolume;
using recorder::Volume;
using recorder::VolumeOf;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr const char* kId = "6f1c0f4e-2f0a-4d3c-9d4b-0d6f5a1c9e77";
constexpr const char* kOtherId = "00000000-0000-4000-8000-000000000000";

class VolumeTest : public contract::ContractTest {
protected:
    // Writes an identity file into a folder of the scratch folder.
    static void PutIdentity(const std::string& folder, const std::string& content) {
        contract::PutFile(Scratch(folder + "/.kestora-volume"), content);
    }

    static std::string FailureFor(const std::string& folder) {
        return support::FailureOf([&] { (void)VolumeOf(folder); });
    }
};

class NewVolume : public VolumeTest {};

TEST_F(VolumeTest, IsTheOneOfTheNearestIdentityFile) {
    PutIdentity("outer", std::string(kOtherId) + "\n");
    PutIdentity("outer/inner", std::string(kId) + "\n");

    const std::optional<Volume> volume = VolumeOf(Scratch("outer/inner/cameras/front"));

    ASSERT_TRUE(volume.has_value());
    EXPECT_EQ(volume->id, kId);
    EXPECT_EQ(volume->root, Scratch("outer/inner"));
}

TEST_F(VolumeTest, IsAbsentIfNoFolderAboveHasAnIdentityFile) {
    EXPECT_FALSE(VolumeOf(MakeFolder("volume/front")).has_value());
}

TEST_F(VolumeTest, IsTheOneOfALinksTarget) {
    PutIdentity("here", kOtherId);
    PutIdentity("there", kId);
    MakeFolder("there/front");
    fs::create_directory_symlink(Scratch("there/front"), Scratch("here/front"));

    EXPECT_EQ(VolumeOf(Scratch("here/front")).value().id, kId);
}

TEST_F(VolumeTest, IsReadFromAnIdentityFileWithoutANewline) {
    PutIdentity("volume", kId);

    EXPECT_EQ(VolumeOf(Scratch("volume")).value().id, kId);
}

TEST_F(VolumeTest, IsUnknownIfItsIdentityFileContainsNoUuid) {
    PutIdentity("outer", kId);
    for (const std::string& content :
         {std::string(), std::string("\n"), std::string(kId, 35), std::string(kId) + " \n",
          std::string(kId) + "\n" + kId + "\n", std::string(100'000, 'a')}) {
        PutIdentity("outer/inner", content);

        EXPECT_EQ(FailureFor(Scratch("outer/inner")), "the file " +
                                                          Scratch("outer/inner/.kestora-volume") +
                                                          " holds no volume id; expected a UUID");
    }
}

TEST_F(VolumeTest, IsUnknownIfItsIdentityFileIsNotRegular) {
    PutIdentity("elsewhere", kId);
    MakeFolder("link");
    fs::create_symlink(Scratch("elsewhere/.kestora-volume"), Scratch("link/.kestora-volume"));
    MakeFolder("folder/.kestora-volume");
    MakeFolder("pipe");
    ASSERT_EQ(mkfifo(Scratch("pipe/.kestora-volume").c_str(), 0600), 0);

    EXPECT_THAT(FailureFor(Scratch("link")), HasSubstr("symbolic link"));
    EXPECT_THAT(FailureFor(Scratch("folder")), HasSubstr("directory"));
    EXPECT_THAT(FailureFor(Scratch("pipe")), HasSubstr("expected a regular file"));
}

TEST_F(VolumeTest, IsUnknownForARelativePath) {
    EXPECT_THAT(FailureFor("front"), HasSubstr("expected an absolute path"));
}

TEST_F(NewVolume, HasTheNewIdentity) {
    MakeFolder("volume/front");

    const std::string id = InitVolume(Scratch("volume"));

    const std::optional<Volume> volume = VolumeOf(Scratch("volume/front"));
    ASSERT_TRUE(volume.has_value());
    EXPECT_EQ(volume->id, id);
    EXPECT_EQ(volume->root, Scratch("volume"));
    EXPECT_THAT(contract::NamesIn(Scratch("volume")), ElementsAre(".kestora-volume", "front"));
}

TEST_F(NewVolume, CanBeInsideAnotherVolume) {
    PutIdentity("outer", kId);
    MakeFolder("outer/inner");

    const std::string id = InitVolume(Scratch("outer/inner"));

    EXPECT_NE(id, kId);
    EXPECT_EQ(VolumeOf(Scratch("outer/inner")).value().id, id);
}

TEST_F(NewVolume, CanBeReadByEveryUser) {
    MakeFolder("volume");

    InitVolume(Scratch("volume"));

    EXPECT_EQ(fs::status(Scratch("volume/.kestora-volume")).permissions(), fs::perms{0644});
}

TEST_F(NewVolume, DoesNotReplaceAnIdentity) {
    PutIdentity("volume", std::string(kId) + "\n");

    EXPECT_THROW(InitVolume(Scratch("volume")), recorder::Error);

    EXPECT_EQ(contract::ReadFile(Scratch("volume/.kestora-volume")), std::string(kId) + "\n");
}

TEST_F(NewVolume, HasACompleteIdentityOrNoneIfTheProcessIsKilled) {
    MakeFolder("volume");
    contract::Child child([&] {
        contract::LimitFileSize();
        InitVolume(Scratch("volume"));
        return 0;
    });

    ASSERT_EQ(child.Wait(), -1);

    EXPECT_FALSE(VolumeOf(Scratch("volume")).has_value());
    const std::string id = InitVolume(Scratch("volume"));
    EXPECT_EQ(VolumeOf(Scratch("volume")).value().id, id);
    EXPECT_THAT(contract::NamesIn(Scratch("volume")), ElementsAre(".kestora-volume"));
}

} // namespace
