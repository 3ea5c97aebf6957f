// An SQLite database that is only read: its file, its folder and the files that SQLite keeps beside
// it stay unchanged.

#pragma once

#include "recorder/database/sqlite.h"

#include <string>

namespace recorder {

// Each call opens the file in the way that its state allows, and reads it again if it was changed
// in the meantime.
class ReadOnlyDatabase final : public SqliteDialect {
public:
    ReadOnlyDatabase(std::string path, int lockTimeoutMs);

    [[nodiscard]] const std::string& Name() const override { return m_name; }
    using Database::Execute;

    // Throws Error also if `sql` would write, or if the file changes too often to be read.
    DBResult_tag Execute(const std::string& sql, const ExecuteOptions& options) override;

    // Throws Error, because it would write.
    void AttributeTo(const RunIdentity& run, const std::vector<MediaTable>& tables) override;

private:
    std::string m_path;
    std::string m_name;
    int m_lockTimeoutMs;
};

} // namespace recorder
