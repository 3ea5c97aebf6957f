#include "recorder/support/secretfile.h"

#include "recorder/support/error.h"
#include "recorder/support/uniquefd.h"

#include <array>

#include <fcntl.h>
#include <sys/stat.h>

namespace recorder {

namespace {

constexpr std::size_t kMaxSecret = 4096;

void DemandPrivate(int file, const std::string& path) {
    struct stat64 st = {};
    if (fstat64(file, &st) != 0) {
        throw SystemError("look at the password file " + path);
    }
    if (!S_ISREG(st.st_mode)) {
        throw Error("the password file " + path + " is no file");
    }
    if ((st.st_mode & (S_IRWXO | S_IWGRP)) != 0) {
        throw Error("the password file " + path + " is open to others; expected mode 0600 or 0640");
    }
}

} // namespace

std::string ReadSecretFile(const std::string& path) {
    const UniqueFd file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!file.IsOpen()) {
        throw SystemError("open the password file " + path);
    }
    DemandPrivate(file.Get(), path);
    std::array<char, kMaxSecret> buffer{};
    const ssize_t length = read(file.Get(), buffer.data(), buffer.size());
    if (length < 0) {
        throw SystemError("read the password file " + path);
    }
    std::string secret(buffer.data(), static_cast<std::size_t>(length));
    secret.resize(std::min(secret.size(), secret.find('\n')));
    if (secret.empty()) {
        throw Error("the password file " + path + " has no password in its first line");
    }
    return secret;
}

} // namespace recorder
