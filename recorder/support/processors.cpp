#include "recorder/support/processors.h"

#include <sched.h>

namespace recorder {

int UsableProcessors() {
    cpu_set_t usable;
    CPU_ZERO(&usable);
    return sched_getaffinity(0, sizeof usable, &usable) == 0 ? CPU_COUNT(&usable) : 1;
}

} // namespace recorder
