#include "recorder/support/textfile.h"

#include "recorder/support/error.h"
#include "recorder/support/uninterrupted.h"

#include <algorithm>
#include <array>

#include <fcntl.h>
#include <unistd.h>

namespace recorder {

namespace {

constexpr std::size_t kReadChunk = 4096;

} // namespace

UniqueFd OpenTextFileIfThere(const std::string& path, Links links) {
    // Not blocking: nobody may ever write to a pipe in the file's place.
    const int noFollow = links == Links::Refuse ? O_NOFOLLOW : 0;
    UniqueFd file(Uninterrupted(
        [&] { return open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | noFollow); }));
    if (file.IsOpen() || errno == ENOENT || errno == ENOTDIR) {
        return file;
    }
    if (links == Links::Refuse && errno == ELOOP) {
        throw Error("can't open the file " + path + ": it is a symbolic link");
    }
    throw SystemError("open the file " + path);
}

std::string ReadText(const UniqueFd& file, const std::string& path, std::size_t maxBytes) {
    std::string text;
    std::array<char, kReadChunk> chunk{};
    while (text.size() < maxBytes) {
        const std::size_t wanted = std::min(chunk.size(), maxBytes - text.size());
        const ssize_t length =
            Uninterrupted([&] { return read(file.Get(), chunk.data(), wanted); });
        if (length < 0) {
            throw SystemError("read the file " + path);
        }
        if (length == 0) {
            break;
        }
        text.append(chunk.data(), static_cast<std::size_t>(length));
    }
    return text;
}

} // namespace recorder
