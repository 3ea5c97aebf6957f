// Messages with a file descriptor, over a socket of type SOCK_SEQPACKET.

#pragma once

#include "recorder/support/uniquefd.h"

#include <cstddef>
#include <span>

namespace recorder {

// Sends the message and a copy of the descriptor, without waiting. Returns false if the other end
// is closed or receives nothing at the moment.
[[nodiscard]] bool SendWithDescriptor(int socket, std::span<std::byte> message, int descriptor);

// Waits for a message of exactly this size with a descriptor, which is returned. It is not open if
// the other end was closed or sent something else.
[[nodiscard]] UniqueFd ReceiveWithDescriptor(int socket, std::span<std::byte> message);

} // namespace recorder
