#include "recorder/support/filetype.h"

#include <sys/stat.h>

namespace recorder {

const char* FileTypeText(mode_t mode) {
    switch (mode & S_IFMT) {
    case S_IFDIR:
        return "a folder";
    case S_IFLNK:
        return "a symbolic link";
    case S_IFIFO:
        return "a FIFO";
    case S_IFSOCK:
        return "a socket";
    case S_IFREG:
        return "a regular file";
    default:
        return "a device";
    }
}

} // namespace recorder
