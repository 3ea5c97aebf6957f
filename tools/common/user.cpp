#include "tools/common/user.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <optional>

#include <pwd.h>
#include <sys/stat.h>

namespace {

bool NeedsNoQuotes(unsigned char c) {
    return std::isalnum(c) != 0 ||
           std::string("/._-+:@%,=").find(static_cast<char>(c)) != std::string::npos;
}

std::optional<std::string> NameIfAny(uid_t user) {
    constexpr std::size_t kMaxEntry = 4096;
    std::array<char, kMaxEntry> buffer{};
    struct passwd entry = {};
    struct passwd* found = nullptr;
    getpwuid_r(user, &entry, buffer.data(), buffer.size(), &found);
    return found != nullptr ? std::optional<std::string>(found->pw_name) : std::nullopt;
}

} // namespace

std::string UserName(uid_t user) {
    return NameIfAny(user).value_or("#" + std::to_string(user)); // the form for sudo -u
}

std::string ShellQuoted(const std::string& text) {
    if (!text.empty() && std::all_of(text.begin(), text.end(), NeedsNoQuotes)) {
        return text;
    }
    std::string quoted = "'";
    for (const char c : text) {
        quoted += c == '\'' ? "'\\''" : std::string(1, c);
    }
    return quoted + "'";
}

std::string AsUser(uid_t user, const std::string& command) {
    if (const std::optional<std::string> name = NameIfAny(user)) {
        return "runuser -u " + ShellQuoted(*name) + " -- " + command;
    }
    const std::string number = std::to_string(user); // runuser accepts names only
    return "setpriv --reuid=" + number + " --regid=" + number + " --clear-groups " + command;
}

bool IsRoot(uid_t user) {
    struct stat64 root = {};
    return user == 0 || (stat64("/", &root) == 0 && user == root.st_uid);
}
