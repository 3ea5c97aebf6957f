// SHA-256, computed by libnettle, which uses the processor's instructions for it where it has them.

#pragma once

#include "recorder/support/error.h"
#include "recorder/support/uniquefd.h"

#include <cstdint>
#include <memory>
#include <span>
#include <string>

struct sha256_ctx;

namespace recorder {

// The checksum of data that arrives in pieces.
class Sha256 {
public:
    Sha256();
    ~Sha256();
    Sha256(Sha256&&) noexcept;
    Sha256& operator=(Sha256&&) noexcept;
    Sha256(const Sha256&) = delete;
    Sha256& operator=(const Sha256&) = delete;

    void Add(std::span<const uint8_t> data);

    // The checksum of the data added since the construction or the last call, as 64 lower-case
    // hexadecimal digits.
    [[nodiscard]] std::string TakeDigest();

private:
    std::unique_ptr<sha256_ctx> m_context;
};

// The disk reports that it can't read bytes of a file.
class DataLost : public Error {
public:
    using Error::Error;
};

// The SHA-256 of the open file's content, from its beginning to its end, whatever the position of
// the descriptor. `path` is for messages. Throws DataLost, and Error if the file can't be read for
// another reason.
[[nodiscard]] std::string Sha256OfFile(const UniqueFd& file, const std::string& path);

} // namespace recorder
