// The formats of the tool's messages from which a plan takes notes. tests/unit/taps compares them
// with the messages that the tool logs.

#pragma once

#include "platform/database.h"

#include <array>
#include <string_view>

namespace plan {

inline constexpr std::string_view kChangedAfterStart =
    "Skip file [%s] modified after task start time.\n";
inline constexpr std::string_view kBadEventName = "Event [%s] doesn't match naming pattern.\n";
inline constexpr std::string_view kBadSnapshotName =
    "Snapshot [%s] doesn't match naming pattern.\n";
inline constexpr std::string_view kDamaged = "Failed to get rec info of event [%s]\n";

struct JobBeginning {
    std::string_view format;
    const char* const* table;
};

inline constexpr std::array kJobBeginnings{
    JobBeginning{"Start to re-index emap.\n", &gszTableEmap},
    JobBeginning{"Start to re-index snapshot.\n", &gszTableSnapshot},
    JobBeginning{"Start to re-index event.\n", &gszTableEvent},
    JobBeginning{"Start to re-index alert event.\n", &gszTableAlertEvent},
};

} // namespace plan
