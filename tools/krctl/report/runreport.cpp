#include "tools/krctl/report/reports.h"

#include "platform/database.h"
#include "recorder/camera/cameratable.h"
#include "recorder/recording/daycount.h"
#include "recorder/run/live.h"
#include "recorder/support/paths.h"
#include "tools/common/findingview.h"
#include "tools/common/texts.h"
#include "tools/krctl/report/dates.h"
#include "tools/krctl/run/runview.h"

#include <algorithm>
#include <ctime>
#include <map>

namespace {

using Answer = recorder::RunInProgress::Answer;

constexpr double kMsPerSecond = 1000.0;
constexpr std::size_t kUnreadableShown = 10;
constexpr double kShortS = 10.0;

// For a short run the parts' durations in milliseconds are more exact than the start and end times.
std::string Took(const RunView& run) {
    const double ofParts = static_cast<double>(TotalOf(run.parts).durationMs) / kMsPerSecond;
    const auto byClock = static_cast<double>(*run.record.endTm - run.record.startTm);
    return "took " + DurationText(byClock < kShortS ? ofParts : byClock);
}

// Returns whether the run, whose end is not recorded, is in progress.
Answer InProgress(const recorder::RunRecord& record) {
    const recorder::RunInProgress found = recorder::FindRunInProgress();
    return found.answer == Answer::Yes && found.live.run != record.id ? Answer::No : found.answer;
}

void AddUnended(const recorder::RunRecord& record, Report& report) {
    report.tone = Tone::Waiting;
    switch (InProgress(record)) {
    case Answer::Yes:
        report.title = "In progress";
        report.sentence = "The figures below show its progress when this report was written.";
        break;
    case Answer::No:
        report.title = "Not ended";
        report.sentence = "The run was stopped or killed. Its changes are kept; the next run "
                          "completes the work.";
        break;
    case Answer::Unknown:
        report.title = "Not ended";
        report.sentence = "Unknown whether the run is in progress, or was stopped or killed. The "
                          "figures below show its progress when this report was written.";
        break;
    }
}

void AddOutcome(const RunView& run, Report& report) {
    const recorder::RunRecord& record = run.record;
    report.title = Capitalised(OutcomeText(run));
    switch (OutcomeOf(record)) {
    case RunOutcome::Complete:
        report.tone = run.knownFindings == 0 ? Tone::Good : Tone::Change;
        report.sentence = "The run finished without failures and refusals. Files that already had "
                          "rows were compared by name only.";
        break;
    case RunOutcome::Failures:
        report.tone = Tone::Bad;
        report.sentence = "The run finished, but files and rows may still differ.";
        break;
    case RunOutcome::Unfinished:
        AddUnended(record, report);
        break;
    }
}

void AddNotices(const RunView& run, const CameraNames& names, Report& report) {
    const std::vector<std::string> refusals = RefusalsOf(run, names);
    if (!refusals.empty()) {
        report.notices.push_back(
            {"Refused",
             "Nothing was changed here, to prevent the loss of rows. Correct the cause and "
             "run krctl run again.",
             refusals});
    }
    std::vector<std::string> failures;
    for (const recorder::RunPart& part : run.parts) {
        if (part.failures > 0) {
            failures.push_back(PartText(part.kind, part.camId == 0 ? "" : CameraOf(names, part)) +
                               ": " + Grouped(part.failures, "failure"));
        }
    }
    for (std::size_t i = 0; i < std::min(run.unreadable.size(), kUnreadableShown); ++i) {
        failures.push_back(FindingText(run.unreadable[i], names));
    }
    if (run.unreadable.size() > kUnreadableShown) {
        failures.push_back("and " +
                           Grouped(static_cast<long>(run.unreadable.size() - kUnreadableShown)) +
                           " more; \"krctl findings\" lists them");
    }
    if (!failures.empty() || run.record.failures > 0) {
        report.notices.push_back(
            {"Failed",
             std::string("The log names the files and the reasons: ") + recorder::kLogFile,
             failures});
    }
}

// Counts only: there may be millions.
void AddFindings(const recorder::MediaSelection& selection, const CameraNames& names,
                 Report& report) {
    std::vector<std::string> counts;
    for (const recorder::FindingCount& count : recorder::CountFindings(selection)) {
        const std::string camera = count.camId == 0 ? "" : CameraText(names, count.camId);
        counts.push_back(PartText(count.kind, camera) + ": " + Grouped(count.count) + " " +
                         NameOf(count.type));
    }
    if (!counts.empty()) {
        report.notices.push_back({"Known findings",
                                  "What runs and checks found wrong with files, until it is seen "
                                  "to be right. \"krctl findings\" lists the files.",
                                  counts});
    }
}

ReportRow RowOf(const std::string& kind, const std::string& camera, const recorder::RunPart& part) {
    return {kind,
            camera,
            {part.files, part.known, part.added, part.removed, part.failures},
            DurationText(static_cast<double>(part.durationMs) / kMsPerSecond)};
}

// "camera 3", "snapshots"; empty without a selection.
std::string SelectionText(const recorder::MediaSelection& selection) {
    std::string text;
    for (const int camera : selection.cameras) {
        text += (text.empty() ? "" : ", ") + ("camera " + std::to_string(camera));
    }
    for (const std::string& kind : selection.kinds) {
        text += (text.empty() ? "" : ", ") + KindText(kind);
    }
    return text;
}

// Keeps the selected parts. The part in which a camera couldn't be loaded has no kind.
void Select(const recorder::MediaSelection& selection, RunView& run) {
    std::erase_if(run.parts, [&](const recorder::RunPart& part) {
        return !selection.IsAll() && !selection.Includes(part.kind, part.camId) &&
               !(part.kind.empty() && selection.Includes(gszTableEvent, part.camId));
    });
}

void AddTable(const RunView& run, const CameraNames& names, Report& report) {
    report.columns = {"Files", "Rows before", "Added", "Removed", "Failures"};
    for (const recorder::RunPart& part : run.parts) {
        if (IsShown(part)) {
            report.rows.push_back(
                RowOf(Capitalised(KindText(part.kind)), CameraOf(names, part), part));
        }
    }
    report.filesLegend = FilesLegend(run.parts);
    recorder::RunPart total = TotalOf(run.parts);
    total.failures = std::max(total.failures, run.record.failures);
    report.rows.push_back(RowOf("Total", "", total));
    report.totals = {
        {total.files, "files examined"},
        {total.added, "rows added"},
        {total.removed, "rows removed"},
        {total.failures, "failures", total.failures > 0},
        {total.refusals, "refusals", total.refusals > 0},
    };
}

// Takes the changes from the run's record: changes that other programs made to the counts in the
// meantime are not the run's.
DaysByCamera DaysOf(const std::optional<recorder::RunRecord>& record) {
    DaysByCamera days;
    for (const recorder::DayCount& count : recorder::ListDayCounts()) {
        days[count.camId][count.day].count = count.count;
    }
    if (record) {
        for (const recorder::DayChange& change :
             recorder::ChangesByDay(record->id, record->token)) {
            RecordingDay& day = days[change.camId][change.day];
            day.gained = change.added;
            day.lost = change.removed;
        }
    }
    return days;
}

// For the cameras that this recorder records.
void AddTimes(std::vector<CameraCalendar>& calendars) {
    const long nowTm = std::time(nullptr);
    for (const recorder::CameraRow& camera : recorder::ListCameras()) {
        for (CameraCalendar& calendar : calendars) {
            if (calendar.camId == camera.id && camera.dsId == 0) {
                calendar.times = ReadRecordingTimes(camera.id, nowTm);
            }
        }
    }
}

} // namespace

Report LastRunReport(const recorder::MediaSelection& selection) {
    Report report;
    const CameraNames names = ReadCameraNames();
    const std::optional<recorder::RunRecord> last = recorder::NewestRun();
    if (last) {
        RunView run = ViewOf(*last);
        Select(selection, run);
        report.subject = "Run " + std::to_string(last->id);
        report.facts = {LongTimeText(last->startTm)};
        if (last->endTm) {
            report.facts.push_back(Took(run));
        }
        if (!selection.IsAll()) {
            report.facts.push_back("only " + SelectionText(selection));
        }
        AddOutcome(run, report);
        AddNotices(run, names, report);
        AddTable(run, names, report);
    } else {
        report.subject = "Kestora re-index";
        report.title = "No run yet";
        report.sentence = "\"krctl run\" adds and removes rows until they match the files.";
    }
    AddFindings(selection, names, report);
    report.calendars = CalendarsOf(names, DaysOf(last));
    std::erase_if(report.calendars, [&](const CameraCalendar& calendar) {
        return !selection.Includes(gszTableEvent, calendar.camId);
    });
    AddTimes(report.calendars);
    return report;
}
