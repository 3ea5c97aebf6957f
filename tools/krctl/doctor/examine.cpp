#include "tools/krctl/doctor/examine.h"

#include "recorder/support/error.h"

#include <exception>
#include <string>

namespace {

Check CantBeChecked(const CheckGroup& group, const std::string& why) {
    return Problem(group.subject, "can't be checked: " + why, "");
}

} // namespace

Checks Examine(const CheckGroup& group, const Ground& ground) {
    if (group.needsSettings && !ground.hasSettings) {
        return {Warning(group.subject, "not checked while the settings are invalid", "")};
    }
    try {
        return group.check();
    } catch (const recorder::Error& error) {
        return {ground.hasDatabases
                    ? CantBeChecked(group, error.what())
                    : Warning(group.subject, "not checked while a database can't be used", "")};
    } catch (const std::exception& error) {
        return {CantBeChecked(group, error.what())};
    } catch (...) {
        return {CantBeChecked(group, "unknown failure")};
    }
}
