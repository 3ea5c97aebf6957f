#include "tools/krctl/report/reports.h"

#include "recorder/recording/daycount.h"
#include "recorder/support/medianames.h"
#include "tools/common/words.h"
#include "tools/krctl/plan/planreader.h"
#include "tools/krctl/plan/plansummary.h"
#include "tools/krctl/plan/planview.h"
#include "tools/krctl/report/dates.h"
#include "tools/krctl/report/texts.h"

#include <algorithm>
#include <cstdio>
#include <ctime>

#include <CLI/CLI.hpp>

using plan::Reason;

namespace {

constexpr std::size_t kMostCases = 100; // of a notice
constexpr long kSecondsPerDay = 86400;

// The days on which files and rows of recordings differ. There may be millions of items: only the
// days are kept.
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

    // Together with what the recorder knows.
    [[nodiscard]] DaysByCamera Take() && {
        for (const recorder::DayCount& count : recorder::ListDayCounts()) {
            m_days[count.camId][count.day].count = count.count;
        }
        return std::move(m_days);
    }

private:
    DaysByCamera m_days;
};

// Whether the camera's recordings are.
bool IsPlanned(const JobOptions& jobs, int camId) {
    const bool isAll = jobs == JobOptions();
    return isAll || (jobs.eventCamera && (*jobs.eventCamera < 0 || *jobs.eventCamera == camId));
}

[[noreturn]] void FailForNoPlan(int status, const std::string& why) {
    std::fprintf(stderr, "krctl: can't make a plan: %s\n",
                 why.empty() ? ("krplan ended with status " + std::to_string(status)).c_str()
                             : why.c_str());
    throw CLI::RuntimeError(status);
}

std::string ChangesTitle(const PlanPart& total) {
    const long added = total.Count(Reason::FileWithoutRow);
    const long removed = total.Count(Reason::RowWithoutFile);
    if (added > 0 && removed > 0) {
        return Grouped(added, "row") + " to add, " + Grouped(removed) + " to remove";
    }
    if (added + removed == 0) {
        return "Small repairs to make";
    }
    return added > 0 ? Grouped(added, "row") + " to add" : Grouped(removed, "row") + " to remove";
}

void PrintOutcome(const PlanSummary& plan, Report& report) {
    report.sentence = plan.Sentence();
    if (!plan.IsComplete()) {
        report.tone = Tone::Bad;
        report.title = "Could not be planned in full";
    } else if (plan.HasChanges()) {
        report.tone = Tone::Change;
        report.title = ChangesTitle(plan.Total());
    } else {
        report.tone = Tone::Good;
        report.title = "Nothing to add or remove";
    }
    if (const std::optional<plan::Note>& run = plan.RunInProgress()) {
        report.sentence += run->text.empty() ? " A run is in progress: this shows how far it is."
                                             : " " + run->text + ".";
    }
}

void AddNotice(const PlanSummary& plan, Reason reason, ReportNotice notice, Report& report) {
    std::size_t more = 0;
    for (const plan::Note& problem : plan.Problems()) {
        if (problem.reason != reason) {
            continue;
        }
        if (notice.cases.size() < kMostCases) {
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
    report.columns = {"Files", "Rows", "To add", "To remove", "Badly named", "Left for later"};
    for (const PlanPart& part : plan.Parts()) {
        report.rows.push_back(
            RowOf(Capitalised(KindText(part.kind)), CameraText(plan.Cameras(), part.camId), part));
    }
    const PlanPart total = plan.Total();
    report.rows.push_back(RowOf("Total", "", total));
    report.totals = {
        {total.files, "files looked at"},
        {total.rows, "rows"},
        {total.Count(Reason::FileWithoutRow), "rows to add"},
        {total.Count(Reason::RowWithoutFile), "rows to remove"},
        {total.Count(Reason::BadlyNamed), "files badly named"},
    };
}

} // namespace

Report PlanReport(const JobOptions& jobs) {
    RequireOneCamera(jobs);
    PlanSummary plan;
    DriftDays drift;
    const int status = ReadPlan(jobs, [&](const plan::Note& note) {
        plan.Add(note);
        drift.Add(note);
    });
    if (status != 0) {
        FailForNoPlan(status, plan.WhyNone());
    }
    Report report;
    report.subject = "Plan";
    report.facts = {LongTimeText(std::time(nullptr)), "nothing was changed"};
    report.words = {"to add", "to remove"};
    PrintOutcome(plan, report);
    AddNotice(plan, Reason::Refusal,
              {"Refused", "To do no harm, nothing would be changed here.", {}}, report);
    AddNotice(plan, Reason::Failure, {"Failed", "This could not be looked at.", {}}, report);
    AddNotice(plan, Reason::Warning, {"Worth knowing", "This would be passed over.", {}, true},
              report);
    AddTable(plan, report);
    report.calendars = CalendarsOf(plan.Cameras(), std::move(drift).Take());
    std::erase_if(report.calendars,
                  [&](const CameraCalendar& calendar) { return !IsPlanned(jobs, calendar.camId); });
    return report;
}
