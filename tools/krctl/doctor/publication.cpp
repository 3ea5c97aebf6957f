#include "tools/krctl/doctor/publication.h"

#include "recorder/support/error.h"
#include "recorder/support/paths.h"
#include "recorder/support/textfile.h"
#include "recorder/support/uninterrupted.h"

#include <cerrno>
#include <string>

#include <sys/file.h>

bool IsPublishing() {
    const recorder::UniqueFd file =
        recorder::OpenTextFileIfThere(recorder::kOutboxLockFile, recorder::Links::Refuse);
    if (!file.IsOpen() ||
        recorder::Uninterrupted([&] { return flock(file.Get(), LOCK_SH | LOCK_NB); }) == 0) {
        return false;
    }
    if (errno != EWOULDBLOCK) {
        throw recorder::SystemError(std::string("query the lock of ") + recorder::kOutboxLockFile);
    }
    return true;
}
