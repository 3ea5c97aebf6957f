#include "recorder/support/kerneltime.h"

#include "recorder/support/error.h"
#include "recorder/support/textfile.h"

#include <string_view>

#include <sys/sysinfo.h>

namespace recorder {

namespace {

constexpr std::size_t kMaxIdBytes = 64;
constexpr std::string_view kIdDigits = "0123456789abcdef-";

// Returns an empty text if the file can't be read or has no id. In a system image it may say
// "uninitialized".
std::string ReadId(const char* path) {
    try {
        const UniqueFd file = OpenTextFileIfThere(path, Links::Follow);
        if (!file.IsOpen()) {
            return {};
        }
        std::string id = ReadText(file, path, kMaxIdBytes);
        id.erase(id.find_last_not_of('\n') + 1);
        return id.find_first_not_of(kIdDigits) == std::string::npos ? id : std::string();
    } catch (const Error&) {
        return {};
    }
}

} // namespace

// Uses sysinfo(2), because libraries that fake the clock of a program replace clock_gettime(2) for
// all clocks.
KernelTime ReadKernelTime() {
    static const std::string machine = ReadId("/etc/machine-id");
    static const std::string boot = ReadId("/proc/sys/kernel/random/boot_id");
    struct sysinfo info = {};
    return sysinfo(&info) == 0 ? KernelTime{machine, boot, info.uptime}
                               : KernelTime{machine, "", 0};
}

} // namespace recorder
