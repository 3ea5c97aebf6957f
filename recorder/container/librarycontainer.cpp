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

// It has a minute of the processor for a container (krcontainers.cpp). This is for one that doesn't
// use it: it was stopped, or waits for something itself.
constexpr std::chrono::seconds kPatience{90};

// So often is it waited for in vain. One that is stopped at every recording would otherwise hold up
// a run for hours.
constexpr int kMaxTimeOuts = 2;

// From the moment when it closed its socket.
constexpr std::chrono::seconds kTimeToEnd{10};

std::string EndingOf(std::optional<int> status) {
    if (!status) {
        return "ended; how could not be told";
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

Error EndedError(const std::string& ending) {
    return Error(std::string("the program ") + kName + " " + ending);
}

ContainerInfo InfoIn(const ContainerReply& reply, const std::string& readFailure) {
    if (reply.kind == ContainerReply::Kind::Info) {
        return reply.info;
    }
    if (!readFailure.empty()) {
        throw Error(readFailure); // libavformat knows only that there was no more
    }
    throw Error(std::string(reply.text.data(), strnlen(reply.text.data(), reply.text.size())));
}

} // namespace

class ContainerProgram {
public:
    explicit ContainerProgram(std::chrono::milliseconds patience) : m_patience(patience) {}

    // Starts it unless it is there. False when it ended at once, or said nothing. Throws Error,
    // also when it is left alone.
    bool Start() {
        if (IsLeftAlone()) {
            throw Error(std::string("the program ") + kName + " is not used any more: it did not " +
                        "answer " + std::to_string(m_timeOuts) + " times");
        }
        if (m_process.IsThere()) {
            return true;
        }
        m_isSilent = false;
        m_deadline = Deadline::In(m_patience);
        std::array<UniqueFd, 2> ends = SocketPair(SOCK_SEQPACKET);
        // What ends a whole group of processes must not end this one first: the recording at hand
        // would get a row without its length.
        const pid_t id =
            ProgramStart().Input(ends[1].Get()).WithoutEndingSignals().Start(ProgramPath(kName));
        m_process = HelperProcess(id, std::move(ends[0]));
        ends[1].Reset();
        return IsOfThisVersion();
    }

    // Nothing when the program ended over it, or didn't answer. Throws Error.
    std::optional<ContainerReply> Ask(ByteSource& source, ContainerKind kind) {
        if (!Start()) {
            return std::nullopt;
        }
        try {
            return Talk(source, kind);
        } catch (...) {
            m_process.Kill(); // it may wait for bytes, and would take the next question for them
            throw;
        }
    }

    // Why bytes couldn't be read of the container that was asked about last; empty if they could.
    [[nodiscard]] const std::string& ReadFailure() const { return m_readFailure; }

    // It did not answer too often to be used again by this process.
    [[nodiscard]] bool IsLeftAlone() const { return m_timeOuts >= kMaxTimeOuts; }

    // Waits for its end, which comes by itself without the recorder; how it ended.
    std::string End() {
        if (m_isSilent) {
            m_process.Kill();
            ++m_timeOuts;
            return "did not answer within " + std::to_string(m_patience.count()) +
                   " ms and was killed";
        }
        return EndingOf(m_process.End(Deadline::In(kTimeToEnd)));
    }

private:
    // False when it ended, or said nothing, before it told its version.
    bool IsOfThisVersion() {
        std::array<char, kMaxVersionBytes> bytes{};
        const std::string version(bytes.data(), Receive(BytesOf(bytes)));
        if (!version.empty() && version != KESTORA_VERSION) {
            m_process.Kill();
            throw Error(std::string("the program ") + kName + " is of version " + version +
                        "; expected " + KESTORA_VERSION);
        }
        return !version.empty();
    }

    std::optional<ContainerReply> Talk(ByteSource& source, ContainerKind kind) {
        m_isSilent = false;
        m_deadline = Deadline::In(m_patience);
        m_readFailure.clear();
        const ContainerQuestion question{.kind = kind, .size = source.Size()};
        bool isThere = Send(BytesOf(question));
        ContainerReply reply;
        while (isThere && Receive(BytesOf(reply)) == sizeof(reply)) {
            if (reply.kind != ContainerReply::Kind::WantsBytes) {
                return reply;
            }
            isThere = HandOver(source, reply);
        }
        return std::nullopt;
    }

    // Answers what krcontainers wants. False when it is gone.
    bool HandOver(ByteSource& source, const ContainerReply& wanted) {
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
        m_deadline.Extend(Deadline::Clock::now() - start); // however slow the disk is
        return Send(BytesOf(bytes), std::as_bytes(room.first(length)));
    }

    // Both as those of containerprotocol.h, and as if it were gone where it is silent for too long.
    bool Send(std::span<const std::byte> head, std::span<const std::byte> tail = {}) {
        return IsReady(POLLOUT) && SendMessage(m_process.Socket(), head, tail);
    }

    std::size_t Receive(std::span<std::byte> head) {
        return IsReady(POLLIN) ? ReceiveMessage(m_process.Socket(), head) : 0;
    }

    bool IsReady(short events) {
        m_isSilent = !IsReadyBefore(m_deadline, m_process.Socket(), events);
        return !m_isSilent;
    }

    std::chrono::milliseconds m_patience;
    Deadline m_deadline = Deadline::Never();
    HelperProcess m_process;
    bool m_isSilent = false;
    int m_timeOuts = 0;
    std::string m_readFailure;
};

ContainerLibrary::ContainerLibrary(std::chrono::milliseconds patience)
    : m_program(std::make_unique<ContainerProgram>(patience)) {}

ContainerLibrary::~ContainerLibrary() = default;

ContainerInfo ContainerLibrary::Read(ByteSource& source, ContainerKind kind) {
    std::optional<ContainerReply> reply = m_program->Ask(source, kind);
    if (!reply) {
        const Error ended = EndOfProgram();
        if (m_program->IsLeftAlone()) {
            throw ended;
        }
        LogWarning(std::string(ended.what()) + "; it is started again");
        // The second time is for what has nothing to do with the container: somebody ended or
        // stopped the program, or memory was short.
        reply = m_program->Ask(source, kind);
    }
    if (!reply) {
        throw EndOfProgram();
    }
    return InfoIn(*reply, m_program->ReadFailure());
}

Error ContainerLibrary::EndOfProgram() {
    Error ended = EndedError(m_program->End());
    if (m_program->IsLeftAlone()) {
        LogWarning(std::string(ended.what()) + "; it is not used again in this run: recordings "
                                               "that need it count as unreadable");
    }
    return ended;
}

void ContainerLibrary::RequireUsual() {
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

void RequireContainerLibrary() {
    Library().RequireUsual();
}

} // namespace recorder
