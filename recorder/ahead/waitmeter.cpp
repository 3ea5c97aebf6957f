#include "recorder/ahead/waitmeter.h"

#include <ctime>
#include <utility>

#include <sys/resource.h>
#include <sys/time.h>

namespace recorder {

namespace {

constexpr int64_t kNsPerS = 1'000'000'000;
constexpr int64_t kNsPerUs = 1000;
constexpr int64_t kSampleNs = 20'000'000;

// A single long wait, such as for one cold block of a folder, is no reason to work ahead.
constexpr int64_t kMinWaits = 3;

// Changes with the kernel's tick only, every 1 to 10 ms, and takes 5 ns to read.
int64_t CoarseNs() {
    struct timespec now = {};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    return now.tv_sec * kNsPerS + now.tv_nsec;
}

int64_t Nanoseconds(const struct timeval& time) {
    return time.tv_sec * kNsPerS + time.tv_usec * kNsPerUs;
}

} // namespace

bool WaitSample::IsWaiting() const {
    return waits >= kMinWaits && waits * 2 >= files && cpuNs * 2 <= wallNs;
}

double WaitSample::FilesPerS() const {
    return static_cast<double>(files) * static_cast<double>(kNsPerS) /
           static_cast<double>(wallNs > 0 ? wallNs : 1);
}

WaitSample& WaitSample::operator+=(const WaitSample& other) {
    wallNs += other.wallNs;
    cpuNs += other.cpuNs;
    waits += other.waits;
    files += other.files;
    return *this;
}

WaitMeter::Counters WaitMeter::Now() {
    struct rusage usage = {};
    getrusage(RUSAGE_THREAD, &usage);
    return {CoarseNs(), Nanoseconds(usage.ru_utime) + Nanoseconds(usage.ru_stime), usage.ru_nvcsw};
}

void WaitMeter::Resume() {
    m_resumed = Now();
}

void WaitMeter::Pause() {
    const Counters now = Now();
    m_sample += {.wallNs = now.wallNs - m_resumed.wallNs,
                 .cpuNs = now.cpuNs - m_resumed.cpuNs,
                 .waits = now.waits - m_resumed.waits,
                 .files = 0};
}

std::optional<WaitSample> WaitMeter::CountFile() {
    ++m_sample.files;
    if (m_sample.wallNs + CoarseNs() - m_resumed.wallNs < kSampleNs) {
        return std::nullopt;
    }
    Pause();
    Resume();
    return std::exchange(m_sample, {});
}

} // namespace recorder
