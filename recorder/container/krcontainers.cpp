// krcontainers: libavformat in a separate process. A container that crashes or blocks the library
// doesn't end the run, and only a run that finds an unusual container loads the library.
// krcontainers opens no file. The recorder starts it, sends it the bytes through its standard
// input, a socket (containerprotocol.h), and takes krcontainers with it when it ends.

#include "recorder/container/container.h"
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
constexpr rlim_t kMaxCpuSeconds = 60; // a recording of ten minutes takes milliseconds

// The bytes of the container, which the recorder has opened.
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

// Limits the processor time for the next container, so that the kernel ends this process if the
// library never finishes. Time in which other programs have the processor doesn't count.
void AllowCpuTime() {
    const auto used = static_cast<rlim_t>(std::clock() / CLOCKS_PER_SEC);
    struct rlimit limit = {};
    getrlimit(RLIMIT_CPU, &limit);
    limit.rlim_cur = std::min(used + kMaxCpuSeconds, limit.rlim_max);
    setrlimit(RLIMIT_CPU, &limit);
}

// Answers the next question. Returns false if the recorder has ended.
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
    prctl(PR_SET_PDEATHSIG, SIGKILL);   // also if the library never finishes
    dup2(STDERR_FILENO, STDOUT_FILENO); // the output of the recorder is for its callers only
    if (!SendMessage(kRecorder, std::as_bytes(std::span(kVersion)))) {
        if (errno == EPIPE) {
            return 0; // the recorder has ended in the meantime
        }
        std::fputs("krcontainers: expected krindexer or krctl at the other end of standard input\n",
                   stderr);
        return EX_USAGE;
    }
    while (AnswerNext()) {
    }
    return 0;
}
