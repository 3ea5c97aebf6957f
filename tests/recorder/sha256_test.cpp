#include "recorder/support/sha256.h"

#include "tests/contract/support/files.h"
#include "tests/contract/support/fixture.h"
#include "tests/recorder/support/failure.h"

#include <string_view>

#include <fcntl.h>
#include <gmock/gmock.h>

namespace {

using recorder::Sha256OfFile;
using recorder::UniqueFd;
using testing::HasSubstr;

// The examples of FIPS 180-4.
constexpr const char* kOfNothing =
    "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";
constexpr const char* kOfAbc = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";
constexpr const char* kOfAMillionA =
    "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0";
constexpr std::size_t kMillion = 1000000;

class Sha256 : public contract::ContractTest {
protected:
    Sha256() : path(MakeFolder("folder") + "/file") {}

    [[nodiscard]] UniqueFd FileOf(const std::string& content) const {
        contract::PutFile(path, content);
        return UniqueFd(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    }

    static void Add(recorder::Sha256& checksum, std::string_view text) {
        checksum.Add({reinterpret_cast<const uint8_t*>(text.data()), text.size()});
    }

    const std::string path;
};

TEST_F(Sha256, OfAFileIsThatOfItsWholeContent) {
    EXPECT_EQ(Sha256OfFile(FileOf(""), path), kOfNothing);
    EXPECT_EQ(Sha256OfFile(FileOf("abc"), path), kOfAbc);
    EXPECT_EQ(Sha256OfFile(FileOf(std::string(kMillion, 'a')), path), kOfAMillionA);
}

TEST_F(Sha256, DoesNotDependOnThePositionInTheFile) {
    const UniqueFd file = FileOf("abc");
    lseek(file.Get(), 2, SEEK_SET);

    EXPECT_EQ(Sha256OfFile(file, path), kOfAbc);
}

TEST_F(Sha256, DoesNotDependOnTheSizeOfThePieces) {
    recorder::Sha256 checksum;
    Add(checksum, "");
    Add(checksum, "a");
    Add(checksum, "bc");

    EXPECT_EQ(checksum.TakeDigest(), kOfAbc);
}

TEST_F(Sha256, BeginsAgainAfterADigest) {
    recorder::Sha256 checksum;
    Add(checksum, "of an earlier file");
    (void)checksum.TakeDigest();
    Add(checksum, "abc");

    EXPECT_EQ(checksum.TakeDigest(), kOfAbc);
}

TEST_F(Sha256, OfAFolderIsAFailure) {
    const UniqueFd folder(open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC));

    EXPECT_THAT(support::FailureOf([&] { (void)Sha256OfFile(folder, "/"); }),
                HasSubstr("can't read /"));
}

} // namespace
