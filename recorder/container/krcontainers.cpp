// krcontainers: libavformat, in a process of its own. Whatever a damaged container does to the
// library, a run goes on; and only a run that meets a container out of the ordinary pays for
// loading it. It opens nothing: the bytes come from the recorder, which starts it and is at the
// other end of its standard input (containerprotocol.h). It ends with the recorder.

#include "recorder/container/avcontainer.h"
#include "recorder/container/containerprotocol.h"
#include "recorder/support/error.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <ctime>
#include <span>
#include <string_view>

#include <sys/prctl.h>
#include <sys/resource.h>
#include <sysexits.h>
#include <unistd.h>

namespace {

using namespace recorder;

constexpr int kRecorder = STDIN_FILENO;
constexpr std::string_view kVersion = KESTORA_VERSION;
constexpr rlim_t kMaxCpuSeconds = 60; // one of ten minutes takes milliseconds

// The container that the recorder has opened.
class RecorderSource : public ByteSource {
public:
    explicit RecorderSource(int64_t size) : m_size(size) {}

    [[nodiscard]] int64_t Size() const override { return m_size; }

    [[nodiscard]] std::size_t ReadAt(int64_t offset, std::span<uint8_t> buffer) override {
        const std::span<uint8_t> wanted = buffer.first(std::min(buffer.size(), kMaxBytesAtOnce));
        ContainerReply reply;
        reply.kind = ContainerReply::Kind::WantsBytes;
        reply.offset = offset;
        reply.length = static_cast<uint32_t>(wanted.size());
        ContainerBytes bytes;
        if (!SendMessage(kRecorder, BytesOf(reply))) {
            throw Error("can't ask the recorder for bytes");
        }
        const std::size_t length =
            ReceiveMessage(kRecorder, BytesOf(bytes), std::as_writable_bytes(wanted));
        if (length < sizeof(bytes) || !bytes.areRead) {
            throw Error("can't read the bytes");
        }
        return length - sizeof(bytes);
    }

private:
    int64_t m_size;
};

ContainerReply ReplyTo(const ContainerQuestion& question) {
    ContainerReply reply;
    try {
        RecorderSource source(question.size);
        reply.info = ReadAvContainer(source, question.kind);
        reply.kind = ContainerReply::Kind::Info;
    } catch (const std::exception& error) {
        const std::string_view text = error.what();
        text.copy(reply.text.data(), reply.text.size() - 1);
        reply.kind = ContainerReply::Kind::Failure;
    }
    return reply;
}

// One that the library never gets done with is given up. This counts no time in which other
// programs have the processor.
void AllowCpuTime() {
    const auto used = static_cast<rlim_t>(std::clock() / CLOCKS_PER_SEC);
    struct rlimit limit = {};
    getrlimit(RLIMIT_CPU, &limit);
    limit.rlim_cur = std::min(used + kMaxCpuSeconds, limit.rlim_max);
    setrlimit(RLIMIT_CPU, &limit);
}

// False when the recorder is gone.
bool AnswerNext() {
    ContainerQuestion question;
    if (ReceiveMessage(kRecorder, BytesOf(question)) != sizeof(question)) {
        return false;
    }
    AllowCpuTime();
    return SendMessage(kRecorder, BytesOf(ReplyTo(question)));
}

} // namespace

int main() {
    prctl(PR_SET_PDEATHSIG, SIGKILL);   // even if the library never gets done
    dup2(STDERR_FILENO, STDOUT_FILENO); // others read what the recorder prints
    if (!SendMessage(kRecorder, std::as_bytes(std::span(kVersion)))) {
        if (errno == EPIPE) {
            return 0; // the recorder has ended meanwhile
        }
        std::fputs("krcontainers: expected krindexer or krctl at the other end of standard input\n",
                   stderr);
        return EX_USAGE;
    }
    while (AnswerNext()) {
    }
    return 0;
}
