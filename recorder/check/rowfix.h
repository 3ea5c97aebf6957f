// Bringing rows up to date with their files. No file is changed.

#pragma once

#include "recorder/check/namecheck.h"
#include "recorder/ledger/rowchanges.h"

#include <string>
#include <vector>

namespace recorder {

// What of a row is brought up to date.
struct FixSelection {
    bool path = false;   // Moved
    bool size = false;   // Size
    bool length = false; // Length and Codec
};

struct FixResult {
    enum class Outcome {
        NotSelected, // differences of this type are not to be fixed
        Fixed,
        NotFixed, // `why` is set
    };
    Outcome outcome = Outcome::NotSelected;
    std::string why;
};

// Everything that is selected is brought up to date in each row with a difference of a selected
// type. A recording that can't be read now, but could be when its row was made, is not fixed: its
// row describes what it was.
class RowFix {
public:
    // Takes the run lock. Throws Busy if another process holds it, Error.
    RowFix(FixSelection selection, long startTm) : m_selection(selection), m_changes(startTm) {}

    // Fixes the row of a difference, and resolves its findings. Throws Error if the database fails.
    [[nodiscard]] FixResult Apply(const CheckedPart& part, const Difference& difference);

    // To be called after the last row. Throws Error.
    void End() { m_changes.End(); }

    // The number for krctl undo; 0: nothing was fixed.
    [[nodiscard]] long Run() const { return m_changes.Run(); }

private:
    [[nodiscard]] bool IsSelected(FindingType type) const;
    [[nodiscard]] MediaRow UpToDate(const CheckedPart& part, const Difference& difference) const;
    [[nodiscard]] std::vector<FindingType> FixedTypes() const;

    FixSelection m_selection;
    RowChanges m_changes;
};

} // namespace recorder
