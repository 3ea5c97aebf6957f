#include "tools/krctl/doctor/check.h"

#include "recorder/support/error.h"

#include <exception>

#include <fcntl.h>
#include <unistd.h>

namespace {

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

bool HasAccess(const std::string& path, int access) {
    return faccessat(AT_FDCWD, path.c_str(), access, AT_EACCESS) == 0;
}
