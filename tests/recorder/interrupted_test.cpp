// A signal that arrives while the recorder reads a file. This program is linked so that the
// recorder's calls of read pass through here.

#include "recorder/support/secretfile.h"
#include "tests/unit/support/tempdir.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <fstream>
#include <string>

#include <sys/stat.h>
#include <unistd.h>

// Their names are the linker's.
extern "C" {
ssize_t ReadOfSystem(int file, void* buffer, size_t size) __asm__("__real_read");
ssize_t ReadOfRecorder(int file, void* buffer, size_t size) __asm__("__wrap_read");
}

namespace {

int& InterruptionsToCome() {
    static int interruptions = 0;
    return interruptions;
}

TEST(InterruptedRead, OfAPasswordFileIsRepeated) {
    const unit::TempDir folder;
    const std::string path = folder.Path() + "/password";
    std::ofstream(path) << "secret\n";
    ASSERT_EQ(chmod(path.c_str(), S_IRUSR | S_IWUSR), 0);
    InterruptionsToCome() = 2;

    EXPECT_EQ(recorder::ReadSecretFile(path), "secret");

    EXPECT_EQ(InterruptionsToCome(), 0);
}

} // namespace

ssize_t ReadOfRecorder(int file, void* buffer, size_t size) {
    if (InterruptionsToCome() == 0) {
        return ReadOfSystem(file, buffer, size);
    }
    --InterruptionsToCome();
    errno = EINTR;
    return -1;
}
