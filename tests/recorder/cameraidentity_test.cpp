#include "recorder/camera/cameraidentity.h"

#include "tests/contract/support/files.h"
#include "tests/contract/support/fixture.h"
#include "tests/contract/support/process.h"
#include "tests/recorder/support/failure.h"

#include <sys/stat.h>

namespace {

namespace fs = std::filesystem;

using recorder::CameraIdentity;
using recorder::CameraIdentityIn;
using recorder::CameraIdentityText;
using recorder::ParseCameraIdentity;
using recorder::RequireIdentity;
using recorder::WriteCameraIdentity;
using support::FailureOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

constexpr const char* kUuid = "6f1c0f4e-2f0a-4d3c-9d4b-0d6f5a1c9e77";
constexpr const char* kText = "id = 7\n"
                              "name = \"Front\"\n"
                              "uuid = \"6f1c0f4e-2f0a-4d3c-9d4b-0d6f5a1c9e77\"\n";

std::string FailureToParse(const std::string& text) {
    return FailureOf([&] { (void)ParseCameraIdentity(text, "/a/.kestora-camera"); });
}

// The text with a part of it replaced.
std::string With(const std::string& part, const std::string& replacement) {
    std::string text = kText;
    return text.replace(text.find(part), part.size(), replacement);
}

class CameraIdentityTest : public contract::ContractTest {};

TEST_F(CameraIdentityTest, ConsistsOfThreeLinesOfToml) {
    EXPECT_EQ(CameraIdentityText({7, "Front", kUuid}), kText);
}

TEST_F(CameraIdentityTest, IsReadBackWithAnyName) {
    std::vector<std::string> names = contract::HostileNames();
    names.insert(names.end(), {"", "\"\n", "\\u000a", "Tür", std::string(1000, '\x01')});
    for (const std::string& name : names) {
        const CameraIdentity identity{2147483647, name, kUuid};

        EXPECT_EQ(ParseCameraIdentity(CameraIdentityText(identity), "file"), identity);
    }
}

TEST_F(CameraIdentityTest, KeepsAHostileNameInOneLine) {
    EXPECT_THAT(CameraIdentityText({7, "a\nid = 8\t\"b\"\\", kUuid}),
                HasSubstr(R"(name = "a\u000aid = 8\u0009\"b\"\\")"));
}

TEST_F(CameraIdentityTest, IsReadOnlyInTheFormInWhichItIsWritten) {
    for (const std::string& text : {std::string(),
                                    std::string(kText, 20),
                                    std::string(kText) + "\n",
                                    "\n" + std::string(kText),
                                    With("id = 7", "id = 0"),
                                    With("id = 7", "id = -7"),
                                    With("id = 7", "id = 07"),
                                    With("id = 7", "id = 2147483648"),
                                    With("id = 7", "id = 7 "),
                                    With("id = 7", "id=7"),
                                    With("id = 7", "id = \"7\""),
                                    With("Front", "Fr\"ont"),
                                    With("Front", "Fr\tont"),
                                    With("Front", "Fr\\ont"),
                                    With("Front", "Fr\\u00"),
                                    With("Front", "\\u0041"),
                                    With("Front", "\\u0000"),
                                    With("Front", std::string(1001, 'a')),
                                    With("\"Front\"", "Front"),
                                    With("6f1c", "6F1C"),
                                    With("6f1c", "6f1"),
                                    With("uuid", "UUID"),
                                    With("uuid = \"6f1c0f4e-2f0a-4d3c-9d4b-0d6f5a1c9e77\"\n", ""),
                                    std::string(kText) + "more = 1\n",
                                    std::string(100'000, 'a')}) {
        EXPECT_EQ(FailureToParse(text),
                  "the file /a/.kestora-camera holds no camera identity; expected the lines id, "
                  "name and uuid as \"krctl camera add\" writes them")
            << text;
    }
}

TEST_F(CameraIdentityTest, IsReadFromTheFolderThatItWasWrittenTo) {
    MakeFolder("front");

    WriteCameraIdentity(Scratch("front"), {7, "Front", kUuid});

    EXPECT_EQ(CameraIdentityIn(Scratch("front")), (CameraIdentity{7, "Front", kUuid}));
    EXPECT_THAT(contract::NamesIn(Scratch("front")), ElementsAre(".kestora-camera"));
}

TEST_F(CameraIdentityTest, CantBeReadByOtherUsers) {
    WriteCameraIdentity(MakeFolder("front"), {7, "Front", kUuid});

    EXPECT_EQ(fs::status(Scratch("front/.kestora-camera")).permissions(), fs::perms{0640});
}

TEST_F(CameraIdentityTest, IsAbsentInAnEmptyOrMissingFolder) {
    EXPECT_EQ(CameraIdentityIn(MakeFolder("front")), std::nullopt);
    EXPECT_EQ(CameraIdentityIn(Scratch("nowhere")), std::nullopt);
}

TEST_F(CameraIdentityTest, IsNotReadThroughALink) {
    contract::PutFile(Scratch("elsewhere/.kestora-camera"), kText);
    MakeFolder("front");
    fs::create_symlink(Scratch("elsewhere/.kestora-camera"), Scratch("front/.kestora-camera"));

    EXPECT_THAT(FailureOf([] { (void)CameraIdentityIn(Scratch("front")); }),
                HasSubstr("symbolic link"));
}

TEST_F(CameraIdentityTest, DoesNotReplaceAnExistingFile) {
    contract::PutFile(Scratch("front/.kestora-camera"), "something");

    EXPECT_THAT(FailureOf([] {
                    WriteCameraIdentity(Scratch("front"), {7, "Front", kUuid});
                }),
                StartsWith("can't give " + Scratch("front") + " an identity: "));

    EXPECT_EQ(contract::ReadFile(Scratch("front/.kestora-camera")), "something");
}

TEST_F(CameraIdentityTest, RefusesANameThatIsTooLongToBeReadBack) {
    EXPECT_EQ(FailureOf([] {
                  WriteCameraIdentity(MakeFolder("front"), {7, std::string(1001, 'a'), kUuid});
              }),
              "can't give " + Scratch("front") +
                  " an identity: expected a camera's name of at most 1000 bytes");
}

TEST_F(CameraIdentityTest, IsCompleteOrAbsentIfTheProcessIsKilled) {
    MakeFolder("front");
    contract::Child child([&] {
        contract::LimitFileSize();
        WriteCameraIdentity(Scratch("front"), {7, "Front", kUuid});
        return 0;
    });

    ASSERT_EQ(child.Wait(), -1);

    EXPECT_EQ(CameraIdentityIn(Scratch("front")), std::nullopt);
    WriteCameraIdentity(Scratch("front"), {7, "Front", kUuid});
    EXPECT_THAT(contract::NamesIn(Scratch("front")), ElementsAre(".kestora-camera"));
}

TEST_F(CameraIdentityTest, MustExistAndBelongToTheCamera) {
    const std::string folder = MakeFolder("cam1");
    const auto require = [&] { return FailureOf([&] { RequireIdentity(folder, kUuid); }); };
    EXPECT_THAT(require(), HasSubstr("doesn't hold its camera's identity"));

    contract::PutFile(folder + "/.kestora-camera", "uuid\n");
    EXPECT_THAT(require(), HasSubstr("holds no camera identity; expected"));

    contract::PutFile(folder + "/.kestora-camera", With("6f1c", "6f1d"));
    EXPECT_THAT(require(), HasSubstr("belongs to another camera, camera 7 \"Front\""));

    contract::PutFile(folder + "/.kestora-camera", kText);
    EXPECT_EQ(require(), "none");
}

TEST_F(CameraIdentityTest, IsReadOnlyFromARegularFile) {
    MakeFolder("folder/.kestora-camera");
    MakeFolder("pipe");
    ASSERT_EQ(mkfifo(Scratch("pipe/.kestora-camera").c_str(), 0600), 0);
    fs::create_directory_symlink("/nowhere", Scratch("dangling"));

    for (const char* const name : {"folder", "pipe", "dangling"}) {
        EXPECT_THROW((void)CameraIdentityIn(Scratch(name)), recorder::Error) << name;
    }
}

} // namespace
