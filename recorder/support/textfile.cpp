#include "recorder/support/textfile.h"

#include "recorder/support/error.h"
#include "recorder/support/format.h"
#include "recorder/support/trust.h"
#include "recorder/support/uninterrupted.h"

#include <algorithm>
#include <array>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace recorder {

namespace {

constexpr std::size_t kReadChunk = 4096;
constexpr std::size_t kMaxSecret = 4096;

void RequirePrivate(const UniqueFd& file, const std::string& path) {
    struct stat64 st = {};
    if (Uninterrupted([&] { return fstat64(file.Get(), &st); }) != 0) {
        throw SystemError("examine " + path);
    }
    if ((st.st_mode & S_IRWXO) != 0) {
        throw Error(path + " is open to others; expected mode 0600 or 0640");
    }
}

// The first line, without its end.
std::string ReadLine(const UniqueFd& file, const std::string& path) {
    std::string text = ReadText(file, path, kMaxSecret + 1);
    if (text.size() > kMaxSecret) {
        throw Error(
            Format("%s is too large; expected at most %zu bytes", path.c_str(), kMaxSecret));
    }
    text.resize(std::min(text.size(), text.find('\n')));
    if (text.empty()) {
        throw Error(path + " has no password in its first line");
    }
    return text;
}

} // namespace

UniqueFd OpenTextFileIfThere(const std::string& path, Links links) {
    // O_NONBLOCK, because opening a FIFO in place of the file could block forever.
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

std::string ReadSecretFile(const std::string& path) {
    try {
        const UniqueFd file = OpenTrustedFileIfThere(path);
        if (!file.IsOpen()) {
            throw Error(path + " does not exist");
        }
        RequirePrivate(file, path);
        return ReadLine(file, path);
    } catch (const Error& error) {
        throw Error(std::string("the password file: ") + error.what());
    }
}

} // namespace recorder
