#include "recorder/recording/librarycontainer.h"

#include "recorder/recording/containertalk.h"
#include "recorder/support/error.h"
#include "recorder/support/program.h"
#include "recorder/support/uninterrupted.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstring>
#include <optional>
#include <string>
#include <utility>

#include <sys/socket.h>
#include <sys/wait.h>

namespace recorder {

namespace {

constexpr const char* kName = "krcontainers";
constexpr std::size_t kMaxVersionBytes = 64;
constexpr int kLoaderFailed = 127;

// The first thing that it says. Empty when it ended before.
std::string VersionTold(int socket) {
    std::array<char, kMaxVersionBytes> version{};
    return {version.data(), ReceiveMessage(socket, BytesOf(version))};
}

// Answers what krcontainers wants; `failure` says why the bytes can't be read, if they can't. False
// when it is gone.
bool HandOver(int socket, ByteSource& source, const ContainerReply& wanted, std::string& failure) {
    ContainerBytes bytes;
    std::array<uint8_t, kMaxBytesAtOnce> buffer{};
    const std::span<uint8_t> room =
        std::span(buffer).first(std::min<std::size_t>(wanted.length, buffer.size()));
    std::size_t length = 0;
    try {
        length = source.ReadAt(wanted.offset, room);
        bytes.areRead = true;
    } catch (const Error& error) {
        failure = error.what();
    }
    return SendMessage(socket, BytesOf(bytes), std::as_bytes(room.first(length)));
}

std::string EndingOf(int status) {
    if (WIFSIGNALED(status)) {
        return "was ended by signal " + std::to_string(WTERMSIG(status)) + " (" +
               strsignal(WTERMSIG(status)) + ")";
    }
    if (WEXITSTATUS(status) == kLoaderFailed) {
        return "can't be loaded: is a library that it needs missing?";
    }
    return "ended with status " + std::to_string(WEXITSTATUS(status));
}

Error EndedError(const std::string& ending) {
    return Error(std::string("the program ") + kName + " " + ending);
}

class ContainerProgram {
public:
    ContainerProgram() = default;
    ~ContainerProgram() { Kill(); }
    ContainerProgram(const ContainerProgram&) = delete;
    ContainerProgram& operator=(const ContainerProgram&) = delete;
    ContainerProgram(ContainerProgram&&) = delete;
    ContainerProgram& operator=(ContainerProgram&&) = delete;

    // Starts it unless it is there. False when it ended at once. Throws Error.
    bool Start() {
        if (m_id != 0) {
            return true;
        }
        std::array<int, 2> ends{};
        if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0) {
            throw SystemError("make a pair of sockets");
        }
        m_socket = UniqueFd(ends[0]);
        UniqueFd itsEnd(ends[1]);
        // What ends a whole group of processes must not end this one first: the recording at hand
        // would get a row without its length.
        m_id = ProgramStart().Input(itsEnd.Get()).WithoutEndingSignals().Start(ProgramPath(kName));
        itsEnd.Reset();
        return IsOfThisVersion();
    }

    // Nothing when the program ended over it. Throws Error.
    std::optional<ContainerReply> Ask(ByteSource& source, ContainerKind kind) {
        if (!Start()) {
            return std::nullopt;
        }
        try {
            return Talk(source, kind);
        } catch (...) {
            Kill(); // it may wait for bytes, and would take the next question for them
            throw;
        }
    }

    // Why bytes couldn't be read of the container that was asked about last; empty if they could.
    [[nodiscard]] const std::string& ReadFailure() const { return m_readFailure; }

    // Waits for its end, which comes by itself without the recorder; how it ended.
    std::string End() {
        m_socket.Reset();
        int status = 0;
        const pid_t id = std::exchange(m_id, 0);
        if (id == 0 || Uninterrupted([&] { return waitpid(id, &status, 0); }) != id) {
            return "ended";
        }
        return EndingOf(status);
    }

private:
    // False when it ended before it told its version.
    bool IsOfThisVersion() {
        const std::string version = VersionTold(m_socket.Get());
        if (!version.empty() && version != KESTORA_VERSION) {
            Kill();
            throw Error(std::string("the program ") + kName + " is of version " + version +
                        "; expected " + KESTORA_VERSION);
        }
        return !version.empty();
    }

    std::optional<ContainerReply> Talk(ByteSource& source, ContainerKind kind) {
        m_readFailure.clear();
        const ContainerQuestion question{.kind = kind, .size = source.Size()};
        bool isThere = SendMessage(m_socket.Get(), BytesOf(question));
        ContainerReply reply;
        while (isThere && ReceiveMessage(m_socket.Get(), BytesOf(reply)) == sizeof(reply)) {
            if (reply.kind != ContainerReply::Kind::WantsBytes) {
                return reply;
            }
            isThere = HandOver(m_socket.Get(), source, reply, m_readFailure);
        }
        return std::nullopt;
    }

    void Kill() {
        if (m_id != 0) {
            kill(m_id, SIGKILL);
            (void)End();
        }
    }

    UniqueFd m_socket;
    pid_t m_id = 0;
    std::string m_readFailure;
};

ContainerProgram& Program() {
    static ContainerProgram program;
    return program;
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

ContainerInfo ReadContainerByLibrary(ByteSource& source, ContainerKind kind) {
    std::string ending;
    // The second time is for what has nothing to do with the container: somebody ended the program,
    // or memory was short.
    for (int attempt = 0; attempt < 2; ++attempt) {
        const std::optional<ContainerReply> reply = Program().Ask(source, kind);
        if (reply) {
            return InfoIn(*reply, Program().ReadFailure());
        }
        ending = Program().End();
    }
    throw EndedError(ending);
}

void DemandContainerLibrary() {
    if (!Program().Start()) {
        throw EndedError(Program().End());
    }
}

} // namespace recorder
