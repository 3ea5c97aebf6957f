// SQL texts: values as literals, lists of ids, and texts that the engines share.

#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace recorder {

// Returns `text` as a literal that is read back unchanged: file names contain quotes, newlines and
// bytes of no encoding. `text` must not contain NUL.
[[nodiscard]] std::string Quote(std::string_view text);

// The ids of all items, in decimal, separated by ",". `idOf` returns the id of an item.
template <typename Items, typename IdOf>
[[nodiscard]] std::string JoinIds(const Items& items, const IdOf& idOf) {
    std::string text;
    for (const auto& item : items) {
        if (!text.empty()) {
            text += ',';
        }
        text += std::to_string(idOf(item));
    }
    return text;
}

// The statements of a text, without the ";" between them. Quoted literals can contain ";"; comments
// are not recognised.
[[nodiscard]] std::vector<std::string> SplitStatements(const std::string& sql);

// The end of an INSERT into run_count: adds to an existing row.
constexpr const char* kAddRunCountsSql = "ON CONFLICT (run, token, kind, camera_id) DO UPDATE SET "
                                         "added = run_count.added + excluded.added, "
                                         "removed = run_count.removed + excluded.removed;";

// Deletes the rows of runs before `run` from run_day, because only those of the last run are
// needed.
[[nodiscard]] std::string ForgetDaysSql(long run, const std::string& condition = "true");

// The day of a row's start time, rounded down, also before the epoch. `startTm` is a column.
[[nodiscard]] std::string DayOfSql(const std::string& startTm);

// The beginning of a text, for a message.
[[nodiscard]] std::string Excerpt(const char* sql);

} // namespace recorder
