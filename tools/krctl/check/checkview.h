// The output of krctl check.

#pragma once

#include "recorder/check/check.h"
#include "recorder/check/contentcheck.h"
#include "tools/common/jsonlist.h"
#include "tools/common/texts.h"

#include <optional>
#include <string>
#include <vector>

// What was compared besides names and sizes.
struct CheckLevels {
    bool containers = false;
    bool contents = false;
};

struct CheckView {
    CheckLevels levels;
    bool asJson = false;
    CameraNames names;
};

struct CheckedView {
    recorder::CheckedPart part;
    recorder::PartCheck result;
    std::optional<recorder::PartContents> contents; // nothing: contents were not read

    [[nodiscard]] bool IsComplete() const;
    [[nodiscard]] long BeingWritten() const;
};

// What is said of the check as a whole.
struct CheckTotals {
    long fixRun = 0;          // the number of the fixes for krctl undo; 0: there are none
    long onRecord = 0;        // findings on record, also those of other levels and of runs
    long rowsWithoutPart = 0; // of deleted cameras, or cameras of other recorders
};

// Prints findings when they are found, because there may be millions, and the result at the end.
class CheckPrinter {
public:
    explicit CheckPrinter(CheckView view);

    // Prints a difference, and what became of it.
    void Print(const recorder::Finding& finding, const recorder::FixResult& fix = {});

    // The differences that were not fixed.
    [[nodiscard]] long Findings() const { return m_printed - m_fixed; }

    void End(const std::vector<CheckedView>& parts, const CheckTotals& totals);

private:
    void EndJson(const std::vector<CheckedView>& parts, const CheckTotals& totals);
    void EndText(const std::vector<CheckedView>& parts, const CheckTotals& totals) const;

    CheckView m_view;
    JsonList m_json;
    long m_printed = 0;
    long m_fixed = 0;
};

// Returns true if everything could be examined. Files for which there was no time don't count.
[[nodiscard]] bool IsComplete(const std::vector<CheckedView>& parts);
