#include "recorder/support/paths.h"
#include "tools/krctl/doctor/check.h"

#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr const char* kSubject = "user";

} // namespace

Checks CheckUser() {
    struct stat64 st = {};
    if (stat64(recorder::kDatabaseDir, &st) != 0 || geteuid() == st.st_uid) {
        return {Ok(kSubject, "running as " + UserName(geteuid()))};
    }
    const std::string owner = UserName(st.st_uid);
    const std::string belongs = std::string(recorder::kDatabaseDir) + " belongs to " + owner;
    const std::string remedy = "run krctl doctor and every run as that user: sudo -u " +
                               ShellQuoted(owner) + " krctl doctor";
    if (geteuid() == 0) {
        return {Warning(kSubject, belongs + ", but files that root creates there belong to root",
                        remedy)};
    }
    return {Warning(kSubject, belongs + ", not to " + UserName(geteuid()), remedy)};
}
