#include "tools/krctl/childprocess.h"

#include "recorder/support/error.h"
#include "recorder/support/program.h"
#include "recorder/support/uninterrupted.h"

#include <array>
#include <csignal>

#include <poll.h>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <unistd.h>

// glibc 2.36 declares these functions without extern "C".
extern "C" {
#include <sys/pidfd.h>
}

using recorder::SystemError;
using recorder::UniqueFd;

namespace {

UniqueFd ReceiveEndingSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    UniqueFd received(signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
    if (!received.IsOpen()) {
        throw SystemError("receive signals");
    }
    return received;
}

} // namespace

ChildProcess::ChildProcess(const std::string& path, const std::vector<std::string>& arguments)
    : m_signals(ReceiveEndingSignals()), m_id(recorder::ProgramStart().Start(path, arguments)),
      m_process(pidfd_open(m_id, 0)) {
    if (!m_process.IsOpen()) {
        throw SystemError("watch " + path);
    }
}

bool ChildProcess::EndsWithin(std::chrono::milliseconds time) {
    std::array<struct pollfd, 2> events{{{.fd = m_process.Get(), .events = POLLIN, .revents = 0},
                                         {.fd = m_signals.Get(), .events = POLLIN, .revents = 0}}};
    if (poll(events.data(), events.size(), static_cast<int>(time.count())) < 0 && errno != EINTR) {
        throw SystemError("wait for the started program");
    }
    if ((events[1].revents & POLLIN) != 0) {
        PassOnSignal();
    }
    if ((events[0].revents & POLLIN) == 0) {
        return false;
    }
    int ended = 0;
    if (recorder::Uninterrupted([&] { return waitpid(m_id, &ended, 0); }) < 0) {
        throw SystemError("wait for the started program");
    }
    m_status = WIFEXITED(ended) ? std::optional(WEXITSTATUS(ended)) : std::nullopt;
    return true;
}

// A terminal sends the signal to the child, too. A second one does no harm.
void ChildProcess::PassOnSignal() {
    struct signalfd_siginfo info = {};
    if (read(m_signals.Get(), &info, sizeof info) == sizeof info) {
        m_wasAskedToStop = true;
        kill(m_id, SIGTERM);
        kill(m_id, SIGCONT); // a stopped process would not react
    }
}
