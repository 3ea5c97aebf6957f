#include "recorder/container/librarycontainer.h"

#include "recorder/container/containerprotocol.h"
#include "recorder/logging/recorderlog.h"
#include "recorder/support/error.h"
#include "recorder/support/helperprocess.h"
#include "recorder/support/program.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>
#include <string>
#include <utility>

#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>

namespace recorder {

namespace {

constexpr const char* kName = "krcontainers";
constexpr std::size_t kMaxVersionBytes = 64;
constexpr int kLoaderFailed = 127;

// The time-out for one container. krcontainers itself has a limit of one minute of processor time
// (krcontainers.cpp), which doesn't end a process that was stopped or waits.
constexpr std::chrono::seconds kPatience{90};

// After so many time-outs krcontainers is no longer used: if it were stopped at each recording, a
// run would take hours.
constexpr int kMaxTimeOuts = 2;

// The time-out for the end of krcontainers after it has closed its socket.
constexpr std::chrono::seconds kTimeToEnd{10};

std::string EndingOf(std::optional<int> status) {
    if (!status) {
        return "ended, but its exit status is unknown";
    }
    if (WIFSIGNALED(*status)) {
        return "was ended by signal " + std::to_string(WTERMSIG(*status)) + " (" +
               strsignal(WTERMSIG(*status)) + ")";
    }
    if (WEXITSTATUS(*status) == kLoaderFailed) {
        return "can't be loaded: is a library that it needs missing?";
    }
    return "ended with status " + std::to_string(WEXITSTATUS(*status));
}

HelperFailure EndedError(const std::string& ending) {
    return HelperFailure(std::string("the program ") + kName + " " + ending);
}

ContainerInfo InfoIn(const ContainerReply& reply, const std::string& readFailure) {
    if (reply.kind == ContainerReply::Kind::Info) {
        return reply.info;
    }
    if (!readFailure.empty()) {
        throw Error(readFailure); // libavformat only knows that bytes were missing
    }
    throw Error(std::string(reply.text.data(), strnlen(reply.text.data(), reply.text.size())));
}

} // namespace

class ContainerProgram {
public:
    explicit ContainerProgram(std::chrono::milliseconds patience) : m_patience(patience) {}

    // Starts krcontainers if it isn't running. Returns false if it ended or timed out before it
    // sent its version. Throws Error if it can't be started or is no longer used.
    bool Start() {
        if (IsAbandoned()) {
            throw HelperFailure(std::string("the program ") + kName +
                                " is no longer used: it did not " + "answer " +
                                std::to_string(m_timeOuts) + " times");
        }
        if (m_process.IsThere()) {
            return true;
        }
        m_hasTimedOut = false;
        m_deadline = Deadline::In(m_patience);
        std::array<UniqueFd, 2> ends = SocketPair(SOCK_SEQPACKET);
        // A signal to the whole process group must not end krcontainers before the recorder: the
        // current recording would get a row without its length.
        const pid_t id =
            ProgramStart().Input(ends[1].Get()).WithoutEndingSignals().Start(ProgramPath(kName));
        m_process = HelperProcess(id, std::move(ends[0]));
        ends[1].Reset();
        return IsOfThisVersion();
    }

    // Returns nothing if krcontainers ended or timed out. Throws Error.
    std::optional<ContainerReply> Ask(ByteSource& source, ContainerKind kind) {
        if (!Start()) {
            return std::nullopt;
        }
        try {
            return Exchange(source, kind);
        } catch (...) {
            // krcontainers may wait for bytes, and would read the next question as them.
            m_process.Kill();
            throw;
        }
    }

    // Why bytes of the last container couldn't be read; empty if all were read.
    [[nodiscard]] const std::string& ReadFailure() const { return m_readFailure; }

    // Returns true if krcontainers is no longer used because of its time-outs.
    [[nodiscard]] bool IsAbandoned() const { return m_timeOuts >= kMaxTimeOuts; }

    // Waits for the end of krcontainers, or kills it after a time-out. Returns how it ended.
    std::string End() {
        if (m_hasTimedOut) {
            m_process.Kill();
            ++m_timeOuts;
            return "did not answer within " + std::to_string(m_patience.count()) +
                   " ms and was killed";
        }
        return EndingOf(m_process.End(Deadline::In(kTimeToEnd)));
    }

private:
    // Returns false if krcontainers ended or timed out before it sent its version.
    bool IsOfThisVersion() {
        std::array<char, kMaxVersionBytes> bytes{};
        const std::string version(bytes.data(), Receive(BytesOf(bytes)));
        if (!version.empty() && version != KESTORA_VERSION) {
            m_process.Kill();
            throw HelperFailure(std::string("the program ") + kName + " is of version " + version +
                                "; expected " + KESTORA_VERSION);
        }
        return !version.empty();
    }

    std::optional<ContainerReply> Exchange(ByteSource& source, ContainerKind kind) {
        m_hasTimedOut = false;
        m_deadline = Deadline::In(m_patience);
        m_readFailure.clear();
        const ContainerQuestion question{.kind = kind, .size = source.Size()};
        bool isRunning = Send(BytesOf(question));
        ContainerReply reply;
        while (isRunning && Receive(BytesOf(reply)) == sizeof(reply)) {
            if (reply.kind != ContainerReply::Kind::WantsBytes) {
                return reply;
            }
            isRunning = SendBytes(source, reply);
        }
        return std::nullopt;
    }

    // Sends the requested bytes. Returns false if krcontainers has ended.
    bool SendBytes(ByteSource& source, const ContainerReply& wanted) {
        const Deadline::Clock::time_point start = Deadline::Clock::now();
        ContainerBytes bytes;
        std::array<uint8_t, kMaxBytesAtOnce> buffer{};
        const std::span<uint8_t> room =
            std::span(buffer).first(std::min<std::size_t>(wanted.length, buffer.size()));
        std::size_t length = 0;
        try {
            length = source.ReadAt(wanted.offset, room);
            bytes.areRead = true;
        } catch (const Error& error) {
            m_readFailure = error.what();
        }
        m_deadline.Extend(Deadline::Clock::now() - start); // the disk may be slow
        return Send(BytesOf(bytes), std::as_bytes(room.first(length)));
    }

    // SendMessage and ReceiveMessage of containerprotocol.h. A time-out counts as an ended
    // krcontainers.
    bool Send(std::span<const std::byte> head, std::span<const std::byte> tail = {}) {
        return IsReady(POLLOUT) && SendMessage(m_process.Socket(), head, tail);
    }

    std::size_t Receive(std::span<std::byte> head) {
        return IsReady(POLLIN) ? ReceiveMessage(m_process.Socket(), head) : 0;
    }

    bool IsReady(short events) {
        m_hasTimedOut = !IsReadyBefore(m_deadline, m_process.Socket(), events);
        return !m_hasTimedOut;
    }

    std::chrono::milliseconds m_patience;
    Deadline m_deadline = Deadline::Never();
    HelperProcess m_process;
    bool m_hasTimedOut = false;
    int m_timeOuts = 0;
    std::string m_readFailure;
};

ContainerLibrary::ContainerLibrary(std::chrono::milliseconds patience)
    : m_program(std::make_unique<ContainerProgram>(patience)) {}

ContainerLibrary::~ContainerLibrary() = default;

ContainerInfo ContainerLibrary::Read(ByteSource& source, ContainerKind kind) {
    std::optional<ContainerReply> reply = m_program->Ask(source, kind);
    if (!reply) {
        const HelperFailure ended = EndOfProgram();
        if (m_program->IsAbandoned()) {
            throw ended;
        }
        LogWarning(std::string(ended.what()) + "; it is started again");
        // The second attempt is for causes other than the container: somebody ended or stopped
        // krcontainers, or memory was short.
        reply = m_program->Ask(source, kind);
    }
    if (!reply) {
        throw EndOfProgram();
    }
    return InfoIn(*reply, m_program->ReadFailure());
}

HelperFailure ContainerLibrary::EndOfProgram() {
    HelperFailure ended = EndedError(m_program->End());
    if (m_program->IsAbandoned()) {
        LogWarning(std::string(ended.what()) + "; it is not used again in this run: recordings "
                                               "that need it count as unreadable");
    }
    return ended;
}

void ContainerLibrary::Start() {
    if (!m_program->Start()) {
        throw EndedError(m_program->End());
    }
}

namespace {

ContainerLibrary& Library() {
    static ContainerLibrary library(kPatience);
    return library;
}

} // namespace

ContainerInfo ReadContainerByLibrary(ByteSource& source, ContainerKind kind) {
    return Library().Read(source, kind);
}

ContainerInfo ReadContainer(ByteSource& source, ContainerKind kind) {
    const std::optional<ContainerInfo> ordinary = ReadContainerHeader(source, kind);
    return ordinary ? *ordinary : ReadContainerByLibrary(source, kind);
}

void RequireContainerLibrary() {
    Library().Start();
}

} // namespace recorder
