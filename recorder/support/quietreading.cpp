#include "recorder/support/quietreading.h"

#include <fcntl.h>
#include <linux/ioprio.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace recorder {

// glibc has no functions for these calls. 0 is the calling thread.
IdleReading::IdleReading()
    : m_before(static_cast<int>(syscall(SYS_ioprio_get, IOPRIO_WHO_PROCESS, 0))) {
    if (m_before != -1) {
        syscall(SYS_ioprio_set, IOPRIO_WHO_PROCESS, 0, IOPRIO_PRIO_VALUE(IOPRIO_CLASS_IDLE, 0));
    }
}

IdleReading::~IdleReading() {
    if (m_before != -1) {
        syscall(SYS_ioprio_set, IOPRIO_WHO_PROCESS, 0, m_before);
    }
}

void DropFromMemory(const UniqueFd& file) noexcept {
    posix_fadvise64(file.Get(), 0, 0, POSIX_FADV_DONTNEED);
}

} // namespace recorder
