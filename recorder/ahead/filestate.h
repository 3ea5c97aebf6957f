// Recognising that a file has not changed.

#pragma once

#include "recorder/ahead/aheadpage.h"

#include <sys/stat.h>

namespace recorder {

[[nodiscard]] inline AheadFileState StateOf(const struct stat64& st) {
    constexpr int64_t kNsPerS = 1'000'000'000;
    return {.device = st.st_dev,
            .number = st.st_ino,
            .size = st.st_size,
            .modifiedNs = st.st_mtim.tv_sec * kNsPerS + st.st_mtim.tv_nsec,
            .changedNs = st.st_ctim.tv_sec * kNsPerS + st.st_ctim.tv_nsec};
}

} // namespace recorder
