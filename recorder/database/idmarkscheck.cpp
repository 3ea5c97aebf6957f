#include "recorder/database/idmarks.h"

#include "recorder/support/error.h"
#include "recorder/support/paths.h"
#include "recorder/support/uninterrupted.h"

#include <cerrno>
#include <string>

#include <sys/stat.h>
#include <unistd.h>

namespace recorder {

void RequireUsableIdMarks() {
    struct stat64 st = {};
    if (Uninterrupted([&] { return lstat64(kIdMarksFile, &st); }) != 0) {
        if (errno == ENOENT) {
            return;
        }
        throw SystemError(std::string("examine ") + kIdMarksFile);
    }
    if (!S_ISREG(st.st_mode)) {
        throw Error(std::string(kIdMarksFile) + " is not a regular file");
    }
    if (access(kIdMarksFile, R_OK | W_OK) != 0) {
        throw SystemError(std::string("read and write ") + kIdMarksFile);
    }
}

} // namespace recorder
