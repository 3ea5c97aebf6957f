// krahead: prepares what the tool does next (recorder/ahead/ahead.h). It holds no lock of the
// recorder's and no database, and opens regular files only, in the folders whose descriptors the
// recorder sends to its standard input, a socket. It ends with the recorder.

#include "recorder/ahead/aheadpage.h"
#include "recorder/ahead/descriptormessage.h"
#include "recorder/krahead/crew.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <span>
#include <string_view>

#include <fcntl.h>
#include <linux/ioprio.h>
#include <malloc.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sysexits.h>
#include <unistd.h>

namespace {

using namespace recorder;

constexpr int kRecorder = STDIN_FILENO;
constexpr rlim_t kMaxMemory = 64UL * 1024 * 1024;
constexpr std::size_t kStackBytes = 512UL * 1024;
constexpr int kMemoryPools = 4; // of malloc; each thread would have one otherwise
constexpr int kLowestBestEffort = 7;

// A picture that needs more memory is left to the tool. AddressSanitizer needs far more itself.
void LimitMemory() {
#ifndef __SANITIZE_ADDRESS__
    const struct rlimit memory = {kMaxMemory, kMaxMemory};
    setrlimit(RLIMIT_DATA, &memory);
#endif
    mallopt(M_ARENA_MAX, kMemoryPools);
    pthread_attr_t attributes;
    if (pthread_attr_init(&attributes) == 0) {
        pthread_attr_setstacksize(&attributes, kStackBytes);
        pthread_setattr_default_np(&attributes);
        pthread_attr_destroy(&attributes);
    }
}

// Programs that record have the disks first, if the disks' scheduler has priorities.
void YieldDisks() {
    const long inherited = syscall(SYS_ioprio_get, IOPRIO_WHO_PROCESS, 0);
    if (inherited >= 0 && IOPRIO_PRIO_CLASS(inherited) != IOPRIO_CLASS_IDLE) {
        syscall(SYS_ioprio_set, IOPRIO_WHO_PROCESS, 0,
                IOPRIO_PRIO_VALUE(IOPRIO_CLASS_BE, kLowestBestEffort));
    }
}

// Keeps only what is needed to read files.
void DropPrivileges() {
    prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
    const struct rlimit none = {0, 0};
    setrlimit(RLIMIT_CORE, &none);
    YieldDisks();
    (void)!chdir("/");
}

bool IsSocket(int descriptor) {
    struct stat64 st = {};
    return fstat64(descriptor, &st) == 0 && S_ISSOCK(st.st_mode);
}

AheadPage* MapPage(const UniqueFd& memory) {
    void* const address =
        mmap(nullptr, sizeof(AheadPage), PROT_READ | PROT_WRITE, MAP_SHARED, memory.Get(), 0);
    return address == MAP_FAILED ? nullptr : static_cast<AheadPage*>(address);
}

int WorkFor(const AheadHello& hello, const UniqueFd& memory) {
    AheadPage* const page = MapPage(memory);
    if (page == nullptr || std::string_view(hello.version.data()) != KESTORA_VERSION) {
        return EX_UNAVAILABLE;
    }
    Crew crew(*page, std::max(1, static_cast<int>(hello.maxConcurrent)));
    while (true) {
        AheadFolder folder{};
        UniqueFd descriptor =
            ReceiveWithDescriptor(kRecorder, std::as_writable_bytes(std::span(&folder, 1)));
        if (!descriptor.IsOpen()) {
            _exit(0); // the recorder has closed the socket; a thread may wait for a disk forever
        }
        crew.TurnTo(folder.number, std::move(descriptor));
    }
}

} // namespace

int main() {
    prctl(PR_SET_PDEATHSIG, SIGKILL); // also if a disk never responds
    AheadHello hello{};
    const UniqueFd memory =
        ReceiveWithDescriptor(kRecorder, std::as_writable_bytes(std::span(&hello, 1)));
    if (!memory.IsOpen() && IsSocket(kRecorder)) {
        return EX_UNAVAILABLE; // the recorder has ended in the meantime
    }
    if (!memory.IsOpen()) {
        std::fputs("krahead: expected krindexer or krctl at the other end of standard input\n",
                   stderr);
        return EX_USAGE;
    }
    DropPrivileges();
    LimitMemory();
    return WorkFor(hello, memory);
}
