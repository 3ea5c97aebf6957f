#include "tools/krctl/doctor/check.h"

#include <algorithm>
#include <array>
#include <cctype>

#include <fcntl.h>
#include <pwd.h>
#include <unistd.h>

namespace {

bool IsPlain(unsigned char c) {
    return std::isalnum(c) != 0 ||
           std::string("/._-+:@%,=").find(static_cast<char>(c)) != std::string::npos;
}

} // namespace

Check Ok(const std::string& subject, const std::string& message) {
    return {Health::Ok, subject, message, ""};
}

Check Warning(const std::string& subject, const std::string& message, const std::string& remedy) {
    return {Health::Warning, subject, message, remedy};
}

Check Problem(const std::string& subject, const std::string& message, const std::string& remedy) {
    return {Health::Problem, subject, message, remedy};
}

std::string ShellWord(const std::string& text) {
    if (!text.empty() && std::all_of(text.begin(), text.end(), IsPlain)) {
        return text;
    }
    std::string word = "'";
    for (const char c : text) {
        word += c == '\'' ? "'\\''" : std::string(1, c);
    }
    return word + "'";
}

std::string UserName(unsigned int user) {
    constexpr std::size_t kMaxEntry = 4096;
    std::array<char, kMaxEntry> buffer{};
    struct passwd entry = {};
    struct passwd* found = nullptr;
    getpwuid_r(user, &entry, buffer.data(), buffer.size(), &found);
    return found != nullptr ? found->pw_name : "#" + std::to_string(user); // as sudo -u takes it
}

bool MayUse(const std::string& path, int access) {
    return faccessat(AT_FDCWD, path.c_str(), access, AT_EACCESS) == 0;
}
