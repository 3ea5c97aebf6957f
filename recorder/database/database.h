// An open database of either engine.

#pragma once

#include "recorder/database/mediatable.h"
#include "recorder/database/resultset.h"
#include "recorder/database/runidentity.h"

#include <string>
#include <vector>

namespace recorder {

struct ExecuteOptions {
    bool readOnly = false;   // refuse statements that would write
    bool transaction = true; // all statements or none
    bool waitForLock = true; // wait for other writers
    bool awaitDisk = true;   // a transaction is on the disk when it ends; otherwise soon after, and
                             // even if the rows that it yields can't be taken
};

class Database {
public:
    Database() = default;
    virtual ~Database() = default;
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    // For messages: "database /var/...".
    [[nodiscard]] virtual const std::string& Name() const = 0;

    // Runs all statements of `sql` and returns the rows that they yielded. Throws Error; with
    // `transaction` nothing has then changed.
    virtual DBResult_tag Execute(const std::string& sql, const ExecuteOptions& options) = 0;
    DBResult_tag Execute(const std::string& sql) { return Execute(sql, {}); }

    // Between two transactions of one large change: returns once writers that wait for the first
    // one's end have had the time to begin.
    virtual void LetOthersWrite() {}

    // The condition that a row's id is one of these, in the words that the engine is quickest with.
    // `ids` in decimal, separated by ",".
    [[nodiscard]] virtual std::string HasIdOf(const std::string& ids) const = 0;

    // What stands behind FROM to read the table's rows with these ids; a further condition can
    // follow with AND. The table's columns go by its name: others may be there, too.
    [[nodiscard]] virtual std::string RowsWithIds(const std::string& table,
                                                  const std::string& ids) const {
        return table + " WHERE " + HasIdOf(ids);
    }

    // Statements for the beginning of a transaction: the ids that the table gives to new rows from
    // then on are higher than `highest`.
    [[nodiscard]] virtual std::string RaiseIdsSql(const std::string& table, long highest) const = 0;

    // The version of its tables; 0 when there are none.
    [[nodiscard]] virtual long SchemaVersion() = 0;

    // Runs a step of the schema, which is written in SQLite's words for types, and notes the
    // version that it leads to, in one transaction. Throws Error.
    virtual void ApplySchema(const std::string& sql, long version) = 0;

    // From now on each row that is removed from one of these tables by this connection goes to the
    // ledger as removed by `run`, rows added and removed are counted, and those that are told of
    // are noted as unannounced, all of it within the transaction that adds or removes. Throws
    // Error.
    virtual void AttributeTo(const RunIdentity& run, const std::vector<MediaTable>& tables) = 0;

protected:
    Database(Database&&) = default;
    Database& operator=(Database&&) = default;
};

} // namespace recorder
