#include "recorder/support/paths.h"
#include "tools/krctl/doctor/checks.h"

#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr const char* kSubject = "user";

} // namespace

Checks CheckUser() {
    struct stat64 st = {};
    if (stat64(recorder::kDatabaseDir, &st) != 0 || geteuid() == st.st_uid) {
        return {Ok(kSubject, "runs as " + UserName(geteuid()))};
    }
    const std::string owner = UserName(st.st_uid);
    const std::string belongs = std::string(recorder::kDatabaseDir) + " belongs to " + owner;
    const std::string remedy = "sudo -u " + ShellWord(owner) + " krctl doctor, and so every run";
    if (geteuid() == 0) {
        return {Warning(kSubject, belongs + ", and what root makes there would be root's", remedy)};
    }
    return {Warning(kSubject, belongs + ", not to " + UserName(geteuid()), remedy)};
}
