#include "tools/krctl/doctor/check.h"

#include "recorder/support/error.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <exception>

#include <fcntl.h>
#include <pwd.h>
#include <unistd.h>

namespace {

bool NeedsNoQuotes(unsigned char c) {
    return std::isalnum(c) != 0 ||
           std::string("/._-+:@%,=").find(static_cast<char>(c)) != std::string::npos;
}

Check CheckFailed(const CheckGroup& group, const std::string& why) {
    return Problem(group.subject, "check failed: " + why, "");
}

} // namespace

Checks RunChecks(const CheckGroup& group, const Prerequisites& prerequisites) {
    if (group.needsSettings && !prerequisites.areSettingsValid) {
        return {Warning(group.subject, "not checked because the settings are invalid", "")};
    }
    try {
        return group.check();
    } catch (const recorder::Error& error) {
        return {prerequisites.areDatabasesUsable
                    ? CheckFailed(group, error.what())
                    : Warning(group.subject, "not checked because a database can't be used", "")};
    } catch (const std::exception& error) {
        return {CheckFailed(group, error.what())};
    } catch (...) {
        return {CheckFailed(group, "unknown failure")};
    }
}

Check Ok(const std::string& subject, const std::string& message) {
    return {Health::Ok, subject, message, ""};
}

Check Warning(const std::string& subject, const std::string& message, const std::string& remedy) {
    return {Health::Warning, subject, message, remedy};
}

Check Problem(const std::string& subject, const std::string& message, const std::string& remedy) {
    return {Health::Problem, subject, message, remedy};
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

std::string UserName(unsigned int user) {
    constexpr std::size_t kMaxEntry = 4096;
    std::array<char, kMaxEntry> buffer{};
    struct passwd entry = {};
    struct passwd* found = nullptr;
    getpwuid_r(user, &entry, buffer.data(), buffer.size(), &found);
    return found != nullptr ? found->pw_name : "#" + std::to_string(user); // the form for sudo -u
}

bool HasAccess(const std::string& path, int access) {
    return faccessat(AT_FDCWD, path.c_str(), access, AT_EACCESS) == 0;
}
