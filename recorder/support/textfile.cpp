#include "recorder/support/textfile.h"

#include "recorder/support/error.h"
#include "recorder/support/uniquefd.h"

#include <array>

#include <fcntl.h>
#include <unistd.h>

namespace recorder {

namespace {

constexpr std::size_t kReadChunk = 4096;

} // namespace

std::optional<std::string> ReadTextFileIfThere(const std::string& path) {
    const UniqueFd file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!file.IsOpen() && (errno == ENOENT || errno == ENOTDIR)) {
        return std::nullopt;
    }
    if (!file.IsOpen()) {
        throw SystemError("open the file " + path);
    }
    std::string text;
    std::array<char, kReadChunk> chunk{};
    ssize_t length = 0;
    while ((length = read(file.Get(), chunk.data(), chunk.size())) != 0) {
        if (length > 0) {
            text.append(chunk.data(), static_cast<std::size_t>(length));
        } else if (errno != EINTR) {
            throw SystemError("read the file " + path);
        }
    }
    return text;
}

} // namespace recorder
