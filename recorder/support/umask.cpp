#include "recorder/support/umask.h"

#include <sys/stat.h>

namespace recorder {

namespace {

constexpr mode_t kNotForOthers = 027;

} // namespace

mode_t TightenUmask() noexcept {
    const mode_t callers = umask(kNotForOthers); // it can't be read without being set
    umask(callers | kNotForOthers);
    return callers;
}

} // namespace recorder
