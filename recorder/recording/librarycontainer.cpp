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
#include <vector>

#include <sys/socket.h>
#include <sys/wait.h>

namespace recorder {

namespace {

constexpr const char* kName = "krcontainers";
constexpr std::size_t kMaxVersionBytes = 64;

// The first thing that it says. Empty when it ended before.
std::string VersionTold(int socket) {
    std::array<char, kMaxVersionBytes> version{};
    return {version.data(), ReceiveMessage(socket, BytesOf(version))};
}

// Answers what krcontainers wants; `failure` says why the bytes can't be read, if they can't. False
// when it is gone.
bool HandOver(int socket, ByteSource& source, const ContainerReply& wanted, std::string& failure) {
    ContainerBytes bytes;
    std::vector<uint8_t> buffer(std::min<std::size_t>(wanted.length, kMaxBytesAtOnce));
    try {
        buffer.resize(source.ReadAt(wanted.offset, buffer));
        bytes.areRead = true;
    } catch (const std::exception& error) {
        buffer.clear();
        failure = error.what();
    }
    return SendMessage(socket, BytesOf(bytes), std::as_bytes(std::span(buffer)));
}

std::string EndingOf(int status) {
    if (WIFSIGNALED(status)) {
        return "was ended by signal " + std::to_string(WTERMSIG(status)) + " (" +
               strsignal(WTERMSIG(status)) + ")";
    }
    return "ended with status " + std::to_string(WEXITSTATUS(status));
}

Error EndedError(const std::string& ending) {
    return Error(std::string("the program ") + kName + " " + ending);
}

class ContainerProgram {
public:
    ContainerProgram() = default;
    ~ContainerProgram() { End(); }
    ContainerProgram(const ContainerProgram&) = delete;
    ContainerProgram& operator=(const ContainerProgram&) = delete;
    ContainerProgram(ContainerProgram&&) = delete;
    ContainerProgram& operator=(ContainerProgram&&) = delete;

    // Starts it unless it is there. Throws Error.
    void Start() {
        if (m_id != 0) {
            return;
        }
        std::array<int, 2> ends{};
        if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0) {
            throw SystemError("make a pair of sockets");
        }
        m_socket = UniqueFd(ends[0]);
        UniqueFd itsEnd(ends[1]);
        // Ctrl-C and systemd speak to it, too; but this program brings its run to an end first.
        m_id = ProgramStart().Input(itsEnd.Get()).WithoutEndingSignals().Start(ProgramPath(kName));
        itsEnd.Reset();
        DemandVersion();
    }

    // Nothing when the program ended over it. Throws Error.
    std::optional<ContainerReply> Ask(ByteSource& source, ContainerKind kind) {
        Start();
        const ContainerQuestion question{.kind = kind, .size = source.Size()};
        if (!SendMessage(m_socket.Get(), BytesOf(question))) {
            return std::nullopt;
        }
        std::string readFailure;
        ContainerReply reply;
        while (ReceiveMessage(m_socket.Get(), BytesOf(reply)) == sizeof(reply)) {
            if (reply.kind == ContainerReply::Kind::Failure && !readFailure.empty()) {
                throw Error(readFailure); // libavformat takes it for the end of the container
            }
            if (reply.kind != ContainerReply::Kind::WantsBytes) {
                return reply;
            }
            if (!HandOver(m_socket.Get(), source, reply, readFailure)) {
                break;
            }
        }
        return std::nullopt;
    }

    // How it ended: without the recorder it does so by itself.
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
    void DemandVersion() {
        const std::string version = VersionTold(m_socket.Get());
        if (version == KESTORA_VERSION) {
            return;
        }
        const std::string ending = End();
        throw version.empty() ? EndedError(ending)
                              : Error(std::string("the program ") + kName + " is of version " +
                                      version + "; expected " + KESTORA_VERSION);
    }

    UniqueFd m_socket;
    pid_t m_id = 0;
};

ContainerProgram& Program() {
    static ContainerProgram program;
    return program;
}

ContainerInfo InfoIn(const ContainerReply& reply) {
    if (reply.kind == ContainerReply::Kind::Info) {
        return reply.info;
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
            return InfoIn(*reply);
        }
        ending = Program().End();
    }
    throw EndedError(ending);
}

void DemandContainerLibrary() {
    Program().Start();
}

} // namespace recorder
