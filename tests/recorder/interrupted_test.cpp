// A signal that arrives while the recorder reads a file. The linker leads the recorder's calls of
// read through the function below.

#include "recorder/support/textfile.h"
#include "tests/unit/support/tempdir.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <fstream>
#include <string>

#include <sys/stat.h>
#include <unistd.h>

// The linker defines these names.
extern "C" {
ssize_t ReadOfSystem(int file, void* buffer, size_t size) __asm__("__real_read");
ssize_t ReadOfRecorder(int file, void* buffer, size_t size) __asm__("__wrap_read");
}

namespace {

int& RemainingInterruptions() {
    static int interruptions = 0;
    return interruptions;
}

TEST(InterruptedRead, OfAPasswordFileIsRepeated) {
    const unit::TempDir folder;
    const std::string path = folder.Path() + "/password";
    std::ofstream(path) << "secret\n";
    ASSERT_EQ(chmod(path.c_str(), S_IRUSR | S_IWUSR), 0);
    RemainingInterruptions() = 2;

    EXPECT_EQ(recorder::ReadSecretFile(path), "secret");

    EXPECT_EQ(RemainingInterruptions(), 0);
}

} // namespace

ssize_t ReadOfRecorder(int file, void* buffer, size_t size) {
    if (RemainingInterruptions() == 0) {
        return ReadOfSystem(file, buffer, size);
    }
    --RemainingInterruptions();
    errno = EINTR;
    return -1;
}
