#include "recorder/support/textfile.h"

#include "tests/contract/support/files.h"
#include "tests/contract/support/fixture.h"
#include "tests/recorder/support/failure.h"

#include <sys/stat.h>

namespace {

namespace fs = std::filesystem;

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

class SecretFile : public contract::ContractTest {
protected:
    SecretFile() : file(MakeFolder("folder") + "/password") { Put("open sesame\nmore\n"); }

    void Put(const std::string& text, mode_t mode = 0600) const {
        contract::PutFile(file, text);
        chmod(file.c_str(), mode);
    }

    static std::string Refusal(const std::string& path) {
        std::string failure = support::FailureOf([&] { (void)recorder::ReadSecretFile(path); });
        EXPECT_THAT(failure, AllOf(HasSubstr("the password file: "), Not(HasSubstr("sesame"))));
        return failure;
    }

    const std::string file;
};

TEST_F(SecretFile, ContainsThePasswordInItsFirstLine) {
    EXPECT_EQ(recorder::ReadSecretFile(file), "open sesame");

    Put("open sesame", 0640);
    EXPECT_EQ(recorder::ReadSecretFile(file), "open sesame");

    fs::create_symlink("password", Scratch("folder/link"));
    EXPECT_EQ(recorder::ReadSecretFile(Scratch("folder/link")), "open sesame");
}

TEST_F(SecretFile, IsRefusedIfOthersCanReadIt) {
    for (const mode_t mode : {0604U, 0644U, 0601U}) {
        chmod(file.c_str(), mode);

        EXPECT_THAT(Refusal(file), HasSubstr(file + " is open to others"));
    }
}

TEST_F(SecretFile, IsRefusedIfItsGroupOrOthersCanWriteIt) {
    for (const mode_t mode : {0660U, 0620U, 0602U, 0664U}) {
        chmod(file.c_str(), mode);

        EXPECT_THAT(Refusal(file), HasSubstr(file + " may be written by its group or by others"));
    }
}

TEST_F(SecretFile, IsRefusedInAFolderThatOthersCanWrite) {
    chmod(Scratch("folder").c_str(), 0777);

    EXPECT_THAT(Refusal(file), HasSubstr("folder " + Scratch("folder") + " may be written"));
}

TEST_F(SecretFile, IsRefusedIfItsFirstLineIsEmpty) {
    Put("\nopen sesame\n");

    EXPECT_THAT(Refusal(file), HasSubstr("has no password in its first line"));
}

TEST_F(SecretFile, IsRefusedIfItIsTooLarge) {
    Put(std::string(4097, 'x'));

    EXPECT_THAT(Refusal(file), HasSubstr("is too large; expected at most 4096 bytes"));
}

TEST_F(SecretFile, IsRefusedIfItIsMissing) {
    fs::remove(file);

    EXPECT_THAT(Refusal(file), HasSubstr(file + " does not exist"));
}

TEST_F(SecretFile, IsRefusedIfItIsNotRegular) {
    fs::remove(file);
    ASSERT_EQ(mkfifo(file.c_str(), 0600), 0);

    EXPECT_THAT(Refusal(file), HasSubstr(file + " is a FIFO; expected a regular file"));
}

} // namespace
