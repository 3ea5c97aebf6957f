#include "recorder/support/secretfile.h"

#include "recorder/support/error.h"
#include "recorder/support/format.h"
#include "recorder/support/textfile.h"
#include "recorder/support/trust.h"
#include "recorder/support/uninterrupted.h"

#include <algorithm>

#include <sys/stat.h>

namespace recorder {

namespace {

constexpr std::size_t kMaxSecret = 4096;

void RequirePrivate(const UniqueFd& file, const std::string& path) {
    struct stat64 st = {};
    if (Uninterrupted([&] { return fstat64(file.Get(), &st); }) != 0) {
        throw SystemError("look at " + path);
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

std::string ReadSecretFile(const std::string& path) {
    try {
        const UniqueFd file = OpenTrustedFileIfThere(path);
        if (!file.IsOpen()) {
            throw Error(path + " is not there");
        }
        RequirePrivate(file, path);
        return ReadLine(file, path);
    } catch (const Error& error) {
        throw Error(std::string("the password file: ") + error.what());
    }
}

} // namespace recorder
