// An open database of either engine.

#pragma once

#include "recorder/database/mediatable.h"
#include "recorder/database/resultset.h"

#include <string>
#include <vector>

namespace recorder {

// Changes are attributed to a run by its number and token. The number alone could mean two runs if
// databases were restored.
struct RunIdentity {
    long number = 0; // 0 = no run
    long token = 0;  // random

    bool operator==(const RunIdentity&) const = default;
};

struct ExecuteOptions {
    bool readOnly = false;   // refuse statements that would write
    bool transaction = true; // all statements or none
    bool waitForLock = true; // wait for other writers
    bool awaitDisk = true;   // a transaction is on the disk when it ends; if false, soon after, and
                             // also if its result can't be read
};

class Database {
public:
    Database() = default;
    virtual ~Database() = default;
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    // For messages: "database /var/...".
    [[nodiscard]] virtual const std::string& Name() const = 0;

    // Executes all statements of `sql` and returns their rows. Throws Error; with `transaction`
    // nothing has changed then.
    virtual DBResult_tag Execute(const std::string& sql, const ExecuteOptions& options) = 0;
    DBResult_tag Execute(const std::string& sql) { return Execute(sql, {}); }

    // To be called between two transactions of one large change. Returns when writers that waited
    // for the first transaction have had time to begin.
    virtual void LetOthersWrite() {}

    // The condition that a row's id is one of `ids`, in the form that is fastest on the engine.
    // `ids` are in decimal, separated by ",".
    [[nodiscard]] virtual std::string HasIdOf(const std::string& ids) const = 0;

    // The text behind FROM that reads the table's rows with these ids. A further condition can
    // follow with AND. Columns must be qualified with the table's name.
    [[nodiscard]] virtual std::string RowsWithIds(const std::string& table,
                                                  const std::string& ids) const {
        return table + " WHERE " + HasIdOf(ids);
    }

    // Statements for the beginning of a transaction, after which the table gives new rows ids
    // higher than `highest`.
    [[nodiscard]] virtual std::string RaiseIdsSql(const std::string& table, long highest) const = 0;

    // The version of the database's tables; 0 without tables.
    [[nodiscard]] virtual long SchemaVersion() = 0;

    // Executes a step of the schema, written with SQLite's types, and stores the new version, in
    // one transaction. Throws Error.
    virtual void ApplySchema(const std::string& sql, long version) = 0;

    // Attributes all further changes of this connection to `run`. Rows removed from these tables
    // are copied to the ledger, added and removed rows are counted for their cameras, and added
    // rows of announced tables are noted as unannounced, always in the transaction of the change.
    // Throws Error.
    virtual void AttributeTo(const RunIdentity& run, const std::vector<MediaTable>& tables) = 0;

protected:
    Database(Database&&) = default;
    Database& operator=(Database&&) = default;
};

} // namespace recorder
