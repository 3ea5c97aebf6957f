// A helper process that is connected by a socket. Every wait for it has a deadline.

#pragma once

#include "recorder/support/deadline.h"
#include "recorder/support/uniquefd.h"

#include <array>
#include <optional>
#include <utility>

#include <sys/types.h>

namespace recorder {

// Creates two connected sockets of this type, which started programs don't inherit. Throws Error.
[[nodiscard]] std::array<UniqueFd, 2> SocketPair(int type);

// Waits until the descriptor is ready for the events of poll(2) or its other end is closed. Returns
// false at the deadline. A descriptor that is ready at the call counts even after the deadline.
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

    // True until End or Kill is called, even if the process has ended by itself.
    [[nodiscard]] bool IsThere() const { return m_id != 0; }
    [[nodiscard]] int Socket() const { return m_socket.Get(); }

    // True once the process has ended, or if there is none.
    [[nodiscard]] bool HasEnded();

    // Closes the socket, which asks the process to end, and waits for its end. Kills the process at
    // the deadline. Returns the status of waitpid; nothing if it could not be determined.
    std::optional<int> End(const Deadline& deadline);

    void Kill() { (void)End(Deadline::In(std::chrono::milliseconds(0))); }

private:
    pid_t m_id = 0;
    UniqueFd m_socket;
};

} // namespace recorder
