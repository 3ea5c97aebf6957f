#include "tools/krctl/commands.h"

#include "recorder/backup/backupjob.h"
#include "recorder/camera/cameratable.h"
#include "recorder/run/live.h"
#include "recorder/run/runlist.h"
#include "recorder/settings/settings.h"
#include "recorder/support/error.h"
#include "recorder/support/paths.h"
#include "recorder/support/program.h"
#include "recorder/support/trust.h"
#include "tools/common/exitstatus.h"
#include "tools/common/joboptions.h"
#include "tools/common/terminal.h"
#include "tools/common/texts.h"
#include "tools/krctl/brakeplan.h"
#include "tools/krctl/childprocess.h"
#include "tools/krctl/run/liveview.h"
#include "tools/krctl/run/runview.h"

#include <chrono>
#include <cstdio>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace {

constexpr std::chrono::milliseconds kPollInterval{250};

// The progress that the child publishes; empty until it does.
std::optional<recorder::LiveRun> LiveRunOf(const ChildProcess& child) {
    try {
        const std::optional<recorder::LiveRun> live = recorder::ReadLiveRun();
        return live && live->pid == child.Id() ? live : std::nullopt;
    } catch (const std::exception&) {
        return std::nullopt; // the run must not depend on its progress display
    }
}

recorder::RunTotals CurrentTotals(long run) {
    try {
        return run == 0 ? recorder::RunTotals() : recorder::TotalsOfRun(run);
    } catch (const std::exception&) {
        return {}; // the database may be in use
    }
}

// Until the child releases the run lock, failures can still be added to its record.
bool IsRegistered(const ChildProcess& child) {
    const recorder::RunInProgress found = recorder::FindRegisteredRun();
    return found.answer == recorder::RunInProgress::Answer::Yes && found.live.pid == child.Id();
}

// Returns true if the run has ended and its record is complete. The child may still be publishing.
bool HasRunEnded(const ChildProcess& child, std::optional<long> newestBefore) {
    try {
        const std::optional<recorder::RunRecord> run =
            newestBefore ? recorder::NewestRunOf(child.Id(), *newestBefore) : std::nullopt;
        return run && run->endTm && !IsRegistered(child);
    } catch (const std::exception&) {
        return false; // the end of the child will show it
    }
}

// Shows the progress. Returns true if the child has ended, false if only its run has ended and the
// child is publishing.
bool Watch(ChildProcess& child, ProgressDisplay& display, const RunShares& shares,
           std::optional<long> newestBefore) {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point start = Clock::now();
    bool hasRunEnded = false;
    while (!child.EndsWithin(kPollInterval)) {
        if (hasRunEnded) {
            display.End();
            return false;
        }
        hasRunEnded = HasRunEnded(child, newestBefore);
        if (const std::optional<recorder::LiveRun> live = LiveRunOf(child)) {
            const std::chrono::duration<double> elapsed = Clock::now() - start;
            display.Show(
                {*live, CurrentTotals(live->run), FractionOf(*live, shares), elapsed.count()});
        }
    }
    display.End();
    return true;
}

// The number of the last run, 0 without runs; empty if the database can't be read.
std::optional<long> NewestNumber() {
    try {
        const std::optional<recorder::RunRecord> newest = recorder::NewestRun();
        return newest ? newest->id : 0;
    } catch (const recorder::SettingsError&) {
        throw;
    } catch (const recorder::Error&) {
        return std::nullopt;
    }
}

// The record of the child's run; empty if there is none. It is found by its process id and a number
// above the previous run's, because the clock can change.
std::optional<RunView> RunOf(const ChildProcess& child, std::optional<long> newestBefore) {
    const std::optional<recorder::RunRecord> run =
        newestBefore ? recorder::NewestRunOf(child.Id(), *newestBefore) : std::nullopt;
    return run ? std::optional(ViewOf(*run)) : std::nullopt;
}

// The reason for status 78. A log that is not trusted is not referred to.
std::string TrustFailure(const std::string& seeLog) {
    try {
        recorder::RequireTrustedUnlinked(recorder::kLogFile);
    } catch (const recorder::Error& error) {
        return std::string("the log is not trusted, so nothing was changed: ") + error.what();
    }
    return "the settings or the log were not trusted" + seeLog;
}

[[noreturn]] void FailFor(int status) {
    const std::string log = std::string("; the log has the reason: ") + recorder::kLogFile;
    switch (status) {
    case kExitRunInProgress:
        std::fputs("krctl: another run, an undo or an adoption is in progress; \"krctl status\" "
                   "shows a run\n",
                   stderr);
        break;
    case kExitNoDatabases:
        std::fprintf(
            stderr,
            "krctl: the task store can't be used%s; if it was never created, run krctl init\n",
            log.c_str());
        break;
    case kExitSettings:
        std::fprintf(stderr, "krctl: %s\n", Printable(TrustFailure(log)).c_str());
        break;
    default:
        std::fprintf(stderr, "krctl: krindexer ended with status %d%s\n", status, log.c_str());
        status = kExitFailed;
        break;
    }
    throw CLI::RuntimeError(status);
}

void PrintResult(const RunView& run, bool asJson) {
    if (asJson) {
        PrintJson("run", JsonOf(run));
    } else {
        PrintRun(run);
    }
}

// Empty if the cameras can't be read for another reason than unusable databases: krindexer then
// reports that by its exit status.
std::optional<std::vector<recorder::CameraRow>> CamerasIfReadable() {
    try {
        return recorder::ListCameras();
    } catch (const recorder::SettingsError&) {
        throw;
    } catch (const recorder::DatabaseUnusable&) {
        throw;
    } catch (const recorder::Error&) {
        return std::nullopt;
    }
}

std::set<int> IdsOf(const std::vector<recorder::CameraRow>& cameras) {
    std::set<int> ids;
    for (const recorder::CameraRow& camera : cameras) {
        ids.insert(camera.id);
    }
    return ids;
}

struct RunOptions {
    JobSelection jobs;
    std::string maxRemoved; // empty: no limit
    bool asJson = false;
    bool isQuiet = false;
};

// What the process of a run does after the run; empty if the settings ask for nothing.
std::string TextOfWorkAfterRun() {
    const recorder::Settings& settings = recorder::GetSettings();
    std::string text = settings.notifications.broker ? "publishing notifications" : "";
    if (settings.backup.afterRun) {
        text += std::string(text.empty() ? "" : " and ") + "taking a backup";
    }
    return text;
}

// Prints the result of the ended run, and waits for the end of its process.
void AwaitPublication(ChildProcess& child, std::optional<long> newestBefore,
                      const RunOptions& options) {
    if (const std::optional<RunView> run = RunOf(child, newestBefore)) {
        PrintResult(*run, options.asJson);
    }
    std::fflush(stdout);
    if (const std::string after = TextOfWorkAfterRun(); !options.isQuiet && !after.empty()) {
        std::fprintf(stderr, "krctl: the run has ended; %s\n", after.c_str());
    }
    while (!child.EndsWithin(kPollInterval)) {
    }
}

// The exit status of a run that was killed: a refusal outranks the kill. The run may have no
// record, or not of all refusals, so that its last progress counts, too.
int StatusOfKilled(const ChildProcess& child, const std::optional<RunView>& run) {
    const std::optional<recorder::LiveRun> live = LiveRunOf(child);
    const bool hasRefused = live && live->refusals > 0;
    return WorseStatus(hasRefused ? kExitRefused : kExitFailed,
                       run ? ExitStatusOf(run->record) : kExitFailed);
}

void FailIfStopped(const ChildProcess& child, bool whileAtWork, const std::optional<RunView>& run) {
    if (child.WasStopped()) {
        std::fprintf(
            stderr, whileAtWork
                        ? "krctl: stopped; completed changes stay, and the next run does the rest\n"
                        : "krctl: stopped; unpublished messages stay queued\n");
        throw CLI::RuntimeError(kExitInterrupted);
    }
    if (!child.Status()) {
        std::fprintf(stderr, "krctl: krindexer was killed; %s\n",
                     whileAtWork ? "the next run completes its work"
                                 : "unpublished messages stay queued");
        throw CLI::RuntimeError(StatusOfKilled(child, run));
    }
}

// Makes the plan, and gives the run its limit. The recorder applies the limit again when rows are
// to be removed, because files may have gone since the plan.
void ApplyLimit(const RunOptions& options) {
    const recorder::RemovalLimit limit(options.maxRemoved);
    if (const int status = AnnounceBraked(options.jobs, limit); status != 0) {
        throw CLI::RuntimeError(status);
    }
    setenv(recorder::kMaxRemovedVariable, limit.Text().c_str(), 1);
}

// Checks the value of --max-removed.
std::string LimitProblem(const std::string& text) {
    try {
        (void)recorder::RemovalLimit(text);
        return "";
    } catch (const recorder::Error& error) {
        return error.what();
    }
}

// Runs krindexer once and prints the result. Returns the exit status for it.
int RunOnce(const JobOptions& jobs, const RunShares& shares, const RunOptions& options) {
    const std::string krindexer = recorder::ProgramPath("krindexer");
    const std::optional<long> newestBefore = NewestNumber();
    ChildProcess child(krindexer, ArgumentsOf(jobs));
    ProgressDisplay display(!options.asJson && !options.isQuiet);
    const bool hasEnded = Watch(child, display, shares, newestBefore);
    if (!hasEnded) {
        AwaitPublication(child, newestBefore, options);
    }

    if (child.Status() && *child.Status() != 0) {
        FailFor(*child.Status());
    }
    const std::optional<RunView> run = RunOf(child, newestBefore);
    if (run && hasEnded) {
        PrintResult(*run, options.asJson);
    }
    FailIfStopped(child, hasEnded, run);
    if (!run) {
        throw recorder::Error(std::string("the run left no record; the log has the reason: ") +
                              recorder::kLogFile);
    }
    if (!run->record.endTm) {
        throw recorder::Error(std::string("krindexer ended, but the end of the run could not be "
                                          "recorded; the log has the reason: ") +
                              recorder::kLogFile);
    }
    return ExitStatusOf(run->record);
}

void PrintNotStarted(long runs) {
    if (runs > 0) {
        std::fprintf(stderr, "krctl: not started: %s\n", Counted(runs, "further run").c_str());
    }
}

// Runs krindexer for each of these. A run that can't start or is stopped is the last one, because
// the others would be, too. Returns the most serious exit status.
int RunEach(const std::vector<JobOptions>& runs, const std::vector<recorder::CameraRow>& cameras,
            const RunOptions& options) {
    int status = kExitOk;
    auto left = static_cast<long>(runs.size());
    for (const JobOptions& run : runs) {
        --left;
        try {
            status = WorseStatus(status, RunOnce(run, SharesOf(run, cameras), options));
        } catch (const CLI::RuntimeError& error) {
            PrintNotStarted(left);
            return WorseStatus(status, error.get_exit_code());
        } catch (const std::exception&) {
            PrintNotStarted(left);
            throw;
        }
    }
    return status;
}

// Reports a failure of the backup after the run. Returns the exit status for it.
int BackupStatus() {
    const std::string failure =
        recorder::GetSettings().backup.afterRun ? recorder::LastBackupFailure() : "";
    if (failure.empty()) {
        return kExitOk;
    }
    std::fprintf(stderr, "krctl: the last backup failed: %s\n", Printable(failure).c_str());
    return kExitFailed;
}

void Run(const RunOptions& options) {
    const std::optional<std::vector<recorder::CameraRow>> cameras = CamerasIfReadable();
    if (cameras) {
        RequireKnownCameras(options.jobs, IdsOf(*cameras));
    }
    if (!options.maxRemoved.empty()) {
        ApplyLimit(options);
    }
    int status = RunEach(RunsOf(options.jobs), cameras.value_or(std::vector<recorder::CameraRow>()),
                         options);
    status = WorseStatus(status, BackupStatus());
    if (status != kExitOk) {
        throw CLI::RuntimeError(status);
    }
}

} // namespace

void AddRunCommand(CLI::App& app) {
    CLI::App* const command = app.add_subcommand("run", "run krindexer and show the result");
    const auto options = std::make_shared<RunOptions>();
    AddJobOptions(*command, options->jobs);
    command
        ->add_option("--max-removed", options->maxRemoved,
                     "remove at most this many rows of a kind and camera, or none of them")
        ->type_name("N|P%")
        ->check(CLI::Validator(LimitProblem, ""));
    command->add_flag("--json", options->asJson, "print the result as JSON, without progress");
    command->add_flag("--quiet", options->isQuiet, "show no progress");
    command->footer(kAllJobsText);
    command->callback([options] { Run(*options); });
}
