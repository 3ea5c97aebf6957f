// One group of checks, whatever becomes of it.

#pragma once

#include "tools/krctl/doctor/check.h"

struct CheckGroup {
    const char* subject;
    Checks (*check)();
    bool needsSettings;
};

// What the groups that come first found, on which others depend.
struct Ground {
    bool hasSettings = true;
    bool hasDatabases = true;
};

// The checks of the group. What keeps one group from being checked keeps no other: whatever is
// thrown becomes a problem, or a warning where another group has reported the cause.
[[nodiscard]] Checks Examine(const CheckGroup& group, const Ground& ground);
