// The messages between the recorder and krcontainers, over a socket that preserves their bounds.
// Both programs have the same version: a message is a struct as laid out in memory.
//
// krcontainers first sends its version. For each container, the recorder sends a ContainerQuestion,
// krcontainers requests bytes as often as necessary, each request is answered with one message, and
// the last reply of krcontainers contains the result.

#pragma once

#include "recorder/container/container.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace recorder {

struct ContainerQuestion {
    ContainerKind kind{};
    int64_t size = 0; // of the container, in bytes
};

struct ContainerReply {
    enum class Kind { WantsBytes, Info, Failure };
    Kind kind{};
    int64_t offset = 0;           // WantsBytes: their offset in the container
    uint32_t length = 0;          // WantsBytes: at most kMaxBytesAtOnce
    ContainerInfo info;           // Info
    std::array<char, 512> text{}; // Failure: the text of an Error, NUL-terminated
};

// Precedes the requested bytes in a message.
struct ContainerBytes {
    bool areRead = false; // false if they can't be read
};

// Each message costs two switches between processes, so frames are read in large blocks. A block
// must fit the socket's buffer, which is 208 KiB unless the system is configured otherwise.
constexpr std::size_t kMaxBytesAtOnce = 128UL * 1024;

// Sends one message made of two pieces, and waits while the socket is full. Returns false if the
// other process has ended.
[[nodiscard]] bool SendMessage(int socket, std::span<const std::byte> head,
                               std::span<const std::byte> tail = {});

// Waits for a message and returns its length, at most that of head and tail together; 0 if the
// other process has ended.
[[nodiscard]] std::size_t ReceiveMessage(int socket, std::span<std::byte> head,
                                         std::span<std::byte> tail = {});

template <typename Struct> std::span<const std::byte> BytesOf(const Struct& value) {
    return std::as_bytes(std::span(&value, 1));
}

template <typename Struct> std::span<std::byte> BytesOf(Struct& value) {
    return std::as_writable_bytes(std::span(&value, 1));
}

} // namespace recorder
