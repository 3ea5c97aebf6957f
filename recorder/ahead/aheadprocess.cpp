#include "recorder/ahead/aheadprocess.h"

#include "recorder/ahead/descriptormessage.h"
#include "recorder/support/deadline.h"
#include "recorder/support/error.h"
#include "recorder/support/program.h"
#include "recorder/support/uninterrupted.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <new>
#include <string_view>

#include <fcntl.h>
#include <linux/futex.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace recorder {

namespace {

constexpr const char* kName = "krahead";
constexpr std::string_view kVersion = KESTORA_VERSION;

// krahead removes its temporary files when it ends.
constexpr std::chrono::seconds kTimeToEnd{1};

// The longest wait for one thumbnail. A krahead that takes longer is not used any more, so that a
// stopped one costs this time once.
constexpr std::chrono::seconds kPatience{2};
constexpr long kFutexNs = 50'000'000; // after which it is checked that krahead still exists

UniqueFd NewSharedMemory() {
    UniqueFd memory(memfd_create("kestora-ahead", MFD_CLOEXEC | MFD_ALLOW_SEALING));
    // Without the seal, another process could shorten the memory, and this one would crash.
    if (!memory.IsOpen() ||
        Uninterrupted([&] { return ftruncate64(memory.Get(), sizeof(AheadPage)); }) != 0 ||
        fcntl(memory.Get(), F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_SEAL) != 0) {
        throw SystemError("make shared memory");
    }
    return memory;
}

AheadPage* Map(const UniqueFd& memory) {
    void* const address =
        mmap(nullptr, sizeof(AheadPage), PROT_READ | PROT_WRITE, MAP_SHARED, memory.Get(), 0);
    if (address == MAP_FAILED) {
        throw SystemError("map shared memory");
    }
    return new (address) AheadPage();
}

void AwaitChange(std::atomic<AheadThumbnailState>& state, AheadThumbnailState from) {
    const struct timespec timeout = {0, kFutexNs};
    syscall(SYS_futex, &state, FUTEX_WAIT, static_cast<uint32_t>(from), &timeout, nullptr, 0);
}

} // namespace

void AheadProcess::Unmap::operator()(AheadPage* page) const {
    munmap(page, sizeof(AheadPage));
}

AheadProcess::AheadProcess(int maxConcurrent) {
    const UniqueFd memory = NewSharedMemory();
    m_page.reset(Map(memory));
    std::array<UniqueFd, 2> ends = SocketPair(SOCK_SEQPACKET);
    // The output of a run is the same with and without krahead.
    const pid_t id = ProgramStart()
                         .Input(ends[1].Get())
                         .WithoutOutput()
                         .WithoutEndingSignals()
                         .Start(ProgramPath(kName));
    m_process = HelperProcess(id, std::move(ends[0]));
    AheadHello hello = {.version = {}, .maxConcurrent = static_cast<uint32_t>(maxConcurrent)};
    kVersion.copy(hello.version.data(), hello.version.size() - 1);
    if (!SendWithDescriptor(m_process.Socket(), std::as_writable_bytes(std::span(&hello, 1)),
                            memory.Get())) {
        throw Error(std::string("can't send a message to ") + kName);
    }
}

AheadProcess::~AheadProcess() {
    LeaveFolder();
    (void)m_process.End(Deadline::In(kTimeToEnd));
}

bool AheadProcess::TurnTo(int folder) {
    AheadFolder message = {.number = ++m_folders};
    m_page->position.store(1, std::memory_order_relaxed);
    m_page->folder.store(m_folders, std::memory_order_release);
    return SendWithDescriptor(m_process.Socket(), std::as_writable_bytes(std::span(&message, 1)),
                              folder);
}

void AheadProcess::LeaveFolder() noexcept {
    m_page->folder.store(0, std::memory_order_release);
}

bool AheadProcess::HasEnded() {
    return m_process.HasEnded();
}

// Returns false if krahead ended or took too long.
bool AheadProcess::AwaitThumbnail(AheadThumbnail& thumbnail) {
    const Deadline deadline = Deadline::In(kPatience);
    while (thumbnail.state.load(std::memory_order_acquire) == AheadThumbnailState::Working) {
        if (deadline.IsOver() || HasEnded()) {
            return false;
        }
        AwaitChange(thumbnail.state, AheadThumbnailState::Working);
    }
    return true;
}

AheadThumbnail* AheadProcess::ClaimThumbnail(const std::string& name) {
    const uint64_t index = m_page->position.load(std::memory_order_relaxed) - 1;
    AheadThumbnail& thumbnail = m_page->thumbnails.at(index % kAheadThumbnails);
    const AheadThumbnailState state = thumbnail.state.load(std::memory_order_acquire);
    if ((state != AheadThumbnailState::Working && state != AheadThumbnailState::Made) ||
        thumbnail.folder != m_folders || thumbnail.index != index ||
        name != std::string_view(thumbnail.name.data(),
                                 strnlen(thumbnail.name.data(), thumbnail.name.size()))) {
        return nullptr;
    }
    if (!AwaitThumbnail(thumbnail)) {
        m_process.Kill();
        return nullptr;
    }
    AheadThumbnailState expected = AheadThumbnailState::Made;
    return thumbnail.state.compare_exchange_strong(expected, AheadThumbnailState::Claiming)
               ? &thumbnail
               : nullptr;
}

} // namespace recorder
