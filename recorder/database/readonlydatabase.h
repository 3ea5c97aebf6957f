// SQLite's database in a file that is only looked at: neither the file nor its folder is any
// different afterwards, not even the files that SQLite keeps beside it.

#pragma once

#include "recorder/database/database.h"

#include <string>

namespace recorder {

// Each call opens the file anew, in the way that its state allows, and reads again if it was
// changed meanwhile.
class ReadOnlyDatabase final : public Database {
public:
    ReadOnlyDatabase(std::string path, int lockTimeoutMs);

    [[nodiscard]] const std::string& Name() const override { return m_name; }
    using Database::Execute;

    // Throws Error also when `sql` would write, or when the file changes too fast to be read.
    DBResult_tag Execute(const std::string& sql, const ExecuteOptions& options) override;
    [[nodiscard]] std::string HasIdOf(const std::string& ids) const override;
    [[nodiscard]] std::string RowsWithIds(const std::string& table,
                                          const std::string& ids) const override;
    [[nodiscard]] std::string RaiseIdsSql(const std::string& table, long highest) const override;
    [[nodiscard]] long SchemaVersion() override;

    // These throw Error, as RaiseIdsSql does: they would write.
    void ApplySchema(const std::string& sql, long version) override;
    void AttributeTo(const RunIdentity& run, const std::vector<MediaTable>& tables) override;

private:
    std::string m_path;
    std::string m_name;
    int m_lockTimeoutMs;
};

} // namespace recorder
