// The removal of many rows while the recorder continues to record.

#pragma once

#include "platform/database.h"

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace recorder {

// A transaction removes whole blocks of this many rows, so that a caller can prepare its checks for
// each block.
constexpr std::size_t kRowsOfBlock = 2000;

// Called before the rows with the ids at `first` up to, but excluding, `end` are removed. Returns a
// further condition for these rows in SQL: an empty text, or one that begins with " AND ". Throws
// if the rows must stay.
using RequireRemovable = std::function<std::string(std::size_t first, std::size_t end)>;

// For messages: "no row is removed" or "only 20 of 100 rows are removed".
[[nodiscard]] std::string ShareRemoved(std::size_t removed, std::size_t rows);

// Removes the table's rows with these ids as part of this process's run, in transactions that are
// short enough not to delay other writers. `ids` must be sorted. Throws Error; the rows removed
// before the failure are in the ledger and counted.
void RemoveRows(KRDB::DB_INSTANCE instance, const std::string& table, const std::vector<long>& ids,
                const RequireRemovable& requireRemovable);

} // namespace recorder
