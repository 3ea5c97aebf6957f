// A process that works for this one and is reached by a socket. Whatever becomes of it, this one
// waits for it no longer than a deadline says.

#pragma once

#include "recorder/support/deadline.h"
#include "recorder/support/uniquefd.h"

#include <array>
#include <optional>
#include <utility>

#include <sys/types.h>

namespace recorder {

// Two connected sockets of this type, closed in programs that are started. Throws Error.
[[nodiscard]] std::array<UniqueFd, 2> SocketPair(int type);

// Whether the descriptor is ready for the events of poll(2), or its other end is gone, before the
// deadline. What is ready already counts, however late it is.
[[nodiscard]] bool IsReadyBefore(const Deadline& deadline, int fd, short events);

class HelperProcess {
public:
    HelperProcess() = default;
    HelperProcess(pid_t id, UniqueFd socket) : m_id(id), m_socket(std::move(socket)) {}
    ~HelperProcess() { Kill(); }
    HelperProcess(const HelperProcess&) = delete;
    HelperProcess& operator=(const HelperProcess&) = delete;
    HelperProcess(HelperProcess&& other) noexcept
        : m_id(std::exchange(other.m_id, 0)), m_socket(std::move(other.m_socket)) {}
    HelperProcess& operator=(HelperProcess&& other) noexcept;

    // False also for one that has ended, until End or Kill was called.
    [[nodiscard]] bool IsThere() const { return m_id != 0; }
    [[nodiscard]] int Socket() const { return m_socket.Get(); }

    // Closes the socket, by which it learns that it is over, and waits for its end; kills it if it
    // is still there at the deadline. Returns how it ended, as waitpid has it; nothing when that
    // could not be told.
    std::optional<int> End(const Deadline& deadline);

    void Kill() { (void)End(Deadline::In(std::chrono::milliseconds(0))); }

private:
    pid_t m_id = 0;
    UniqueFd m_socket;
};

} // namespace recorder
