// The report as an HTML page: one file that loads no other.

#pragma once

#include "tools/krctl/report/calendar.h"
#include "tools/krctl/report/html.h"
#include "tools/krctl/report/recordingdays.h"

#include <string>
#include <vector>

enum class Tone {
    Good,    // nothing failed, or nothing to do
    Bad,     // something failed or was refused
    Waiting, // the run has not ended
    Change,  // a run would change something
};

struct ReportTotal {
    long number = 0;
    std::string what;
    bool isHighlighted = false;
};

struct ReportRow {
    std::string kind;
    std::string camera;
    std::vector<long> numbers;
    std::string time; // empty in a plan
};

// Refusals, failures or warnings: a title, a sentence, and the cases.
struct ReportNotice {
    std::string title;
    std::string sentence;
    std::vector<std::string> cases;
    bool isWarning = false; // shown less prominently
};

struct Report {
    Tone tone = Tone::Waiting;
    std::string title;              // the outcome in a few words
    std::string subject;            // "Run 17", "Plan"
    std::vector<std::string> facts; // when, how long
    std::string sentence;           // what the outcome means
    std::vector<ReportTotal> totals;
    std::vector<ReportNotice> notices;
    std::vector<std::string> columns; // titles of the numbers in each row
    std::vector<ReportRow> rows;      // the last one is the total
    std::string filesLegend;          // what the column "Files" counts; may be empty
    std::vector<CameraCalendar> calendars;
    DriftLabels labels;
    std::string footer;
};

[[nodiscard]] std::string PageOf(const Report& report);
