#include "recorder/backup/afterrun.h"

#include "recorder/logging/logexceptions.h"
#include "recorder/settings/settings.h"
#include "recorder/support/error.h"
#include "recorder/support/helperprocess.h"
#include "recorder/support/program.h"
#include "recorder/support/uninterrupted.h"

#include <chrono>
#include <csignal>
#include <optional>
#include <string>
#include <thread>

#include <fcntl.h>
#include <sys/wait.h>

namespace recorder {

namespace {

constexpr std::chrono::minutes kDeadline{30};
constexpr std::chrono::milliseconds kPollInterval{50};

// Returns nothing if the process was killed at the deadline.
std::optional<int> EndOf(pid_t process) {
    const Deadline deadline = Deadline::In(kDeadline);
    int status = 0;
    while (Uninterrupted([&] { return waitpid(process, &status, WNOHANG); }) == 0) {
        if (deadline.IsOver()) {
            kill(process, SIGKILL);
            Uninterrupted([&] { return waitpid(process, &status, 0); });
            return std::nullopt;
        }
        std::this_thread::sleep_for(kPollInterval);
    }
    return status;
}

// In a process of krctl, because a disk that hangs must not keep the run's process.
void RunBackup() {
    const UniqueFd nowhere(open("/dev/null", O_WRONLY | O_CLOEXEC));
    if (!nowhere.IsOpen()) {
        throw SystemError("open /dev/null");
    }
    const std::optional<int> status =
        EndOf(ProgramStart()
                  .Output(nowhere.Get())
                  .Start(ProgramPath("krctl"), {"backup", "--if-changed"}));
    if (!status) {
        throw Error("the backup after the run did not end within 30 minutes, and was killed");
    }
    if (*status != 0) {
        throw Error("the backup after the run failed; krctl doctor has the reason");
    }
}

} // namespace

void BackUpAfterRun() noexcept {
    LogExceptions([] {
        const Settings& settings = GetSettings();
        if (settings.backup.afterRun && !settings.database.postgres) {
            RunBackup();
        }
    });
}

} // namespace recorder
