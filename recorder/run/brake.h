// The brake: a limit on the rows that a run may remove. A walk that finds only some of the files,
// for a reason that nothing else detects, must not empty the index.

#pragma once

#include "platform/database.h"

#include <map>
#include <string>

namespace recorder {

// The environment variable with the limit, which applies to every run of the process. It can only
// prevent removals. Without it there is no limit.
constexpr const char* kMaxRemovedVariable = "KESTORA_MAX_REMOVED";

// A number of rows, or a share of the rows of one kind and, where the kind has cameras, one camera.
class RemovalLimit {
public:
    // From "500" or "20%". Throws Error for any other text, and for a share above 100%.
    explicit RemovalLimit(const std::string& text);

    [[nodiscard]] bool Allows(long removed, long rows) const;

    // The smallest limit of the same sort that allows this removal: "813", "91%".
    [[nodiscard]] std::string TextToAllow(long removed, long rows) const;

    [[nodiscard]] const std::string& Text() const { return m_text; }

private:
    std::string m_text;
    bool m_isShare = false;
    double m_limit = 0; // rows, or percent
};

// A number of rows for each camera id; the id is empty for a kind without cameras. Ids are texts,
// because rows of deleted cameras can have numbers that are no camera's id.
using RowsByCamera = std::map<std::string, long>;

// The number of the table's rows that fulfil the SQL condition. Throws Error.
[[nodiscard]] RowsByCamera CountRows(KRDB::DB_INSTANCE instance, const std::string& table,
                                     const std::string& condition);

// The cameras of which the limit forbids to remove this many rows, with the reason for people; none
// without a limit. Throws Error if the limit or the number of existing rows can't be determined.
[[nodiscard]] std::map<std::string, std::string>
Braked(KRDB::DB_INSTANCE instance, const std::string& table, const RowsByCamera& removed);

// Notes a refusal and throws Error if the limit forbids to remove these rows.
void RequireWithinLimit(KRDB::DB_INSTANCE instance, const std::string& table,
                        const RowsByCamera& removed);

// Returns true if the process has a limit, valid or not.
[[nodiscard]] bool HasRemovalLimit();

} // namespace recorder
