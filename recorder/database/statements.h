// SQL texts that the engines share.

#pragma once

#include <string>
#include <vector>

namespace recorder {

// The statements of a text, without what stands between them. Literals in quotes may hold ";";
// comments aren't known.
[[nodiscard]] std::vector<std::string> SplitStatements(const std::string& sql);

// The end of an INSERT into run_count: adds to what is there already.
constexpr const char* kAddRunCountsSql = "ON CONFLICT (run, token, kind, camera_id) DO UPDATE SET "
                                         "added = run_count.added + excluded.added, "
                                         "removed = run_count.removed + excluded.removed;";

// Of run_day only the last run's rows are asked for: those of the runs before it go.
[[nodiscard]] std::string ForgetDaysSql(long run, const std::string& condition = "true");

// The day of a row's start time, rounded down, also before the epoch. `startTm` is a column.
[[nodiscard]] std::string DayOfSql(const std::string& startTm);

// The beginning of a text, for a message.
[[nodiscard]] std::string Excerpt(const char* sql);

} // namespace recorder
