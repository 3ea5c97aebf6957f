#include "recorder/support/sha256.h"

#include "recorder/support/uninterrupted.h"

#include <array>
#include <cerrno>
#include <string_view>
#include <vector>

#include <nettle/sha2.h>
#include <unistd.h>

namespace recorder {

namespace {

constexpr std::size_t kBlockBytes = 256UL * 1024;
constexpr std::string_view kDigits = "0123456789abcdef";

std::string ToHex(std::span<const uint8_t> bytes) {
    std::string text;
    for (const uint8_t byte : bytes) {
        text += kDigits[byte >> 4U];
        text += kDigits[byte & 0xFU];
    }
    return text;
}

// What disks and file systems with checksums report for a block that they can't read.
bool IsLossOfData(int error) {
    return error == EIO || error == EBADMSG || error == EUCLEAN || error == ENODATA ||
           error == EREMOTEIO;
}

[[noreturn]] void FailToRead(const std::string& path) {
    const bool isLoss = IsLossOfData(errno);
    const Error error = SystemError("read " + path);
    if (isLoss) {
        throw DataLost(error.what());
    }
    throw error;
}

} // namespace

Sha256::Sha256() : m_context(std::make_unique<sha256_ctx>()) {
    sha256_init(m_context.get());
}

Sha256::~Sha256() = default;
Sha256::Sha256(Sha256&&) noexcept = default;
Sha256& Sha256::operator=(Sha256&&) noexcept = default;

void Sha256::Add(std::span<const uint8_t> data) {
    sha256_update(m_context.get(), data.size(), data.data());
}

std::string Sha256::TakeDigest() {
    std::array<uint8_t, SHA256_DIGEST_SIZE> digest{};
    sha256_digest(m_context.get(), digest.size(), digest.data()); // also begins the next checksum
    return ToHex(digest);
}

std::string Sha256OfFile(const UniqueFd& file, const std::string& path) {
    Sha256 checksum;
    std::vector<uint8_t> block(kBlockBytes);
    off64_t offset = 0;
    for (;;) {
        const ssize_t length =
            Uninterrupted([&] { return pread64(file.Get(), block.data(), block.size(), offset); });
        if (length < 0) {
            FailToRead(path);
        }
        if (length == 0) {
            return checksum.TakeDigest();
        }
        checksum.Add(std::span(block).first(static_cast<std::size_t>(length)));
        offset += length;
    }
}

} // namespace recorder
