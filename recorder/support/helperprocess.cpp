#include "recorder/support/helperprocess.h"

#include "recorder/support/error.h"
#include "recorder/support/uninterrupted.h"

#include <csignal>
#include <utility>

#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>

namespace recorder {

namespace {

constexpr int kPollIntervalMs = 2; // only while a process is ending
// A killed process ends at once, unless it waits for a disk that doesn't respond.
constexpr std::chrono::seconds kTimeToDie{10};

// Returns nothing if the process has not ended by the deadline, or can't be waited for.
std::optional<int> StatusBefore(const Deadline& deadline, pid_t id) {
    while (true) {
        int status = 0;
        const pid_t ended = Uninterrupted([&] { return waitpid(id, &status, WNOHANG); });
        if (ended == id) {
            return status;
        }
        if (ended < 0 || deadline.IsOver()) {
            return std::nullopt;
        }
        poll(nullptr, 0, kPollIntervalMs);
    }
}

} // namespace

std::array<UniqueFd, 2> SocketPair(int type) {
    std::array<int, 2> ends{};
    if (socketpair(AF_UNIX, type | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        throw SystemError("make a pair of sockets");
    }
    return {UniqueFd(ends[0]), UniqueFd(ends[1])};
}

bool IsReadyBefore(const Deadline& deadline, int fd, short events) {
    struct pollfd ready = {.fd = fd, .events = events, .revents = 0};
    return Uninterrupted([&] { return poll(&ready, 1, deadline.LeftMs()); }) > 0;
}

HelperProcess& HelperProcess::operator=(HelperProcess&& other) noexcept {
    if (this != &other) {
        Kill();
        m_id = std::exchange(other.m_id, 0);
        m_socket = std::move(other.m_socket);
    }
    return *this;
}

bool HelperProcess::HasEnded() {
    if (m_id != 0 && Uninterrupted([&] { return waitpid(m_id, nullptr, WNOHANG); }) != 0) {
        m_id = 0;
        m_socket.Reset();
    }
    return m_id == 0;
}

std::optional<int> HelperProcess::End(const Deadline& deadline) {
    m_socket.Reset();
    const pid_t id = std::exchange(m_id, 0);
    if (id == 0) {
        return std::nullopt;
    }
    if (const std::optional<int> status = StatusBefore(deadline, id)) {
        return status;
    }
    kill(id, SIGKILL);
    return StatusBefore(Deadline::In(kTimeToDie), id);
}

} // namespace recorder
