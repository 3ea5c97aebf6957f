// What the recorder and krcontainers say to each other, over a socket that keeps messages apart.
// Both are of one version: a message is a struct as it lies in memory.
//
// krcontainers first tells its version. Then, for each container: the recorder asks a
// ContainerQuestion; krcontainers asks for bytes as often as it needs some, each time answered by
// one message; and its last reply is what it found.

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
    int64_t offset = 0;           // WantsBytes: from where, in the container
    uint32_t length = 0;          // WantsBytes: at most kMaxBytesAtOnce
    ContainerInfo info;           // Info
    std::array<char, 512> text{}; // Failure: what an Error says, terminated
};

// Comes before the bytes that were wanted.
struct ContainerBytes {
    bool areRead = false; // false: they can't be
};

// Each message costs two changes of processes, so frames are read in large blocks. One has to fit
// the socket's buffer, which has 208 KiB unless the system is told otherwise.
constexpr std::size_t kMaxBytesAtOnce = 128UL * 1024;

// Sends one message, made of two pieces, and waits for room where there is none. False when there
// is nobody any more to take it.
[[nodiscard]] bool SendMessage(int socket, std::span<const std::byte> head,
                               std::span<const std::byte> tail = {});

// Waits for a message; how long it is, at most head and tail together. 0 when there is nobody any
// more to send one.
[[nodiscard]] std::size_t ReceiveMessage(int socket, std::span<std::byte> head,
                                         std::span<std::byte> tail = {});

template <typename Struct> std::span<const std::byte> BytesOf(const Struct& value) {
    return std::as_bytes(std::span(&value, 1));
}

template <typename Struct> std::span<std::byte> BytesOf(Struct& value) {
    return std::as_writable_bytes(std::span(&value, 1));
}

} // namespace recorder
