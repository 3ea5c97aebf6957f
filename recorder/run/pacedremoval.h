// The removal of many rows beside a recorder that goes on recording.

#pragma once

#include "platform/database.h"

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace recorder {

// Whole blocks of so many rows go in one transaction: what is asked before they go can be kept by
// block.
constexpr std::size_t kRowsOfBlock = 2000;

// Called before the rows at `first` to `end`, exclusive, of the ids go. Returns what the rows must
// fulfil besides, in SQL: empty, or a text that begins with " AND ". Throws where they have to
// stay.
using RequireRemovable = std::function<std::string(std::size_t first, std::size_t end)>;

// For messages: "no row is removed", or how many of them.
[[nodiscard]] std::string ShareRemoved(std::size_t removed, std::size_t rows);

// Removes the table's rows with these ids, which are sorted, on behalf of this process's run, in
// transactions that no other writer waits for longer than a moment. Throws Error; what went before
// the failure is in the ledger, and counted, like all the rest.
void RemoveRows(KRDB::DB_INSTANCE instance, const std::string& table, const std::vector<long>& ids,
                const RequireRemovable& requireRemovable);

} // namespace recorder
