#include "tools/krctl/report/reports.h"

#include "recorder/recording/daycount.h"
#include "recorder/support/medianames.h"
#include "tools/common/texts.h"
#include "tools/krctl/plan/planreader.h"
#include "tools/krctl/plan/plansummary.h"
#include "tools/krctl/plan/planview.h"
#include "tools/krctl/report/dates.h"

#include <algorithm>
#include <ctime>

using plan::Reason;

namespace {

constexpr std::size_t kMaxCases = 100; // in one notice
constexpr long kSecondsPerDay = 86400;

// The days on which files and rows of recordings differ. A plan may have millions of items, so only
// the days are kept.
class DriftDays {
public:
    void Add(const plan::Note& item) {
        const bool gains = item.reason == Reason::FileWithoutRow;
        if (item.kind != "event" || (!gains && item.reason != Reason::RowWithoutFile)) {
            return;
        }
        const std::optional<int64_t> startTm = recorder::StartTmOfName(item.text);
        if (!startTm) {
            return;
        }
        RecordingDay& day = m_days[item.camId][*startTm / kSecondsPerDay];
        if (gains) {
            ++day.gained;
        } else {
            ++day.lost;
        }
    }

    // Returns these days, with the number of recordings that the database has for each day.
    [[nodiscard]] DaysByCamera Take() && {
        for (const recorder::DayCount& count : recorder::ListDayCounts()) {
            m_days[count.camId][count.day].count = count.count;
        }
        return std::move(m_days);
    }

private:
    DaysByCamera m_days;
};

// Returns true if the plan covers the camera's recordings.
bool IsPlanned(const JobSelection& jobs, int camId) {
    const std::vector<JobOptions> runs = RunsOf(jobs);
    return std::any_of(runs.begin(), runs.end(), [&](const JobOptions& run) {
        return run == JobOptions() ||
               (run.eventCamera && (*run.eventCamera < 0 || *run.eventCamera == camId));
    });
}

std::string ChangesTitle(const PlanPart& total) {
    const long added = total.Count(Reason::FileWithoutRow);
    const long removed = total.Count(Reason::RowWithoutFile);
    if (added > 0 && removed > 0) {
        return Grouped(added, "row") + " to add, " + Grouped(removed) + " to remove";
    }
    if (added + removed == 0) {
        return "No rows to add or remove, but other changes";
    }
    return added > 0 ? Grouped(added, "row") + " to add" : Grouped(removed, "row") + " to remove";
}

void PrintOutcome(const PlanSummary& plan, Report& report) {
    report.sentence = plan.Sentence();
    if (!plan.IsComplete()) {
        report.tone = Tone::Bad;
        report.title = "The plan is incomplete";
    } else if (plan.HasChanges()) {
        report.tone = Tone::Change;
        report.title = ChangesTitle(plan.Total());
    } else {
        report.tone = Tone::Good;
        report.title = "Nothing to add or remove";
    }
    if (const std::optional<plan::Note>& run = plan.RunInProgress()) {
        report.sentence += run->text.empty()
                               ? " A run is in progress: the plan shows what it has not done yet."
                               : " " + run->text + ".";
    }
}

void AddNotice(const PlanSummary& plan, Reason reason, ReportNotice notice, Report& report) {
    std::size_t more = 0;
    for (const plan::Note& problem : plan.Problems()) {
        if (problem.reason != reason) {
            continue;
        }
        if (notice.cases.size() < kMaxCases) {
            notice.cases.push_back(ProblemText(plan, problem));
        } else {
            ++more;
        }
    }
    if (more > 0) {
        notice.cases.push_back("and " + std::to_string(more) + " more");
    }
    if (!notice.cases.empty()) {
        report.notices.push_back(std::move(notice));
    }
}

ReportRow RowOf(const std::string& kind, const std::string& camera, const PlanPart& part) {
    return {kind,
            camera,
            {part.files, part.rows, part.Count(Reason::FileWithoutRow),
             part.Count(Reason::RowWithoutFile), part.Count(Reason::BadlyNamed),
             part.Count(Reason::ChangedAfterStart)},
            ""};
}

void AddTable(const PlanSummary& plan, Report& report) {
    report.columns = {"Files",     "Rows",        "To add",
                      "To remove", "Badly named", "Left to the next run"};
    for (const PlanPart& part : plan.Parts()) {
        report.rows.push_back(
            RowOf(Capitalised(KindText(part.kind)), CameraText(plan.Cameras(), part.camId), part));
    }
    report.filesLegend = FilesLegend(plan.Parts());
    const PlanPart total = plan.Total();
    report.rows.push_back(RowOf("Total", "", total));
    report.totals = {
        {total.files, "files examined"},
        {total.rows, "rows"},
        {total.Count(Reason::FileWithoutRow), "rows to add"},
        {total.Count(Reason::RowWithoutFile), "rows to remove"},
        {total.Count(Reason::BadlyNamed), "files badly named"},
    };
}

} // namespace

Report PlanReport(const JobSelection& jobs) {
    PlanSummary plan;
    DriftDays drift;
    const int status = ReadPlan(jobs, [&](const plan::Note& note) {
        plan.Add(note);
        drift.Add(note);
    });
    if (status != 0) {
        FailWithoutPlan(status, plan);
    }
    Report report;
    report.subject = "Plan";
    report.facts = {LongTimeText(std::time(nullptr)), "nothing was changed"};
    report.labels = {"to add", "to remove"};
    PrintOutcome(plan, report);
    AddNotice(plan, Reason::Refusal,
              {"Refused", "A run would change nothing here, to prevent the loss of rows.", {}},
              report);
    AddNotice(plan, Reason::Failure, {"Failed", "These could not be examined.", {}}, report);
    AddNotice(plan, Reason::Warning, {"Warnings", "A run would skip these.", {}, true}, report);
    AddTable(plan, report);
    report.calendars = CalendarsOf(plan.Cameras(), std::move(drift).Take());
    std::erase_if(report.calendars,
                  [&](const CameraCalendar& calendar) { return !IsPlanned(jobs, calendar.camId); });
    return report;
}
