// Preloaded (LD_PRELOAD), this shifts the program's real-time clock by CLOCKFAKE_S seconds, as on a
// recorder with an empty battery. Clocks that count from boot are unchanged.

#include <cstdlib>
#include <ctime>

#include <dlfcn.h>
#include <sys/time.h>

namespace {

long ShiftS() {
    const char* const shift = getenv("CLOCKFAKE_S");
    return shift == nullptr ? 0 : strtol(shift, nullptr, 10);
}

} // namespace

extern "C" {

int clock_gettime(clockid_t clock, struct timespec* now) noexcept {
    using Function = int(clockid_t, struct timespec*);
    static auto* const real = reinterpret_cast<Function*>(dlsym(RTLD_NEXT, "clock_gettime"));
    const int outcome = real(clock, now);
    if (outcome == 0 && (clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE)) {
        now->tv_sec += ShiftS();
    }
    return outcome;
}

time_t time(time_t* result) noexcept {
    struct timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    if (result != nullptr) {
        *result = now.tv_sec;
    }
    return now.tv_sec;
}

int gettimeofday(struct timeval* result, void* /*zone*/) noexcept {
    struct timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    result->tv_sec = now.tv_sec;
    result->tv_usec = now.tv_nsec / 1000;
    return 0;
}

} // extern "C"
