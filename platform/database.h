// The database layer: SQL on numbered database instances.
//
// The tool builds these texts, with the table names at the end of this header, and no others:
//
//   DB_SYSTEM     SELECT id as id, filename as path FROM emap;
//                 DELETE FROM emap WHERE id IN (12,7,30);
//   DB_SNAPSHOT   SELECT id as id, filename as path FROM snapshot;
//                 DELETE FROM snapshot WHERE id IN (12,7,30);
//   DB_RECORDING  SELECT id as id, path as path FROM event WHERE camera_id = 7;
//                 SELECT id as id, path as path FROM alert_event WHERE camera_id = 7;
//
// A SELECT may yield its rows in any order. If two paths end in the same file name, the tool uses
// the first. A DELETE lists all ids in one statement, however many they are.
//
// Further texts are what Event::strSqlInsert, AlertEvent::strSqlInsert (DB_RECORDING) and
// ReindexSnapshotSql (DB_SNAPSHOT) return, 1 to 1000 of one kind to a call with nothing in between.
// Those INSERTs have to bring a row that is there already up to date, and those of Event have to
// yield a row with the column "id" each (ON CONFLICT ... DO UPDATE ... RETURNING id, where the
// engine has that).
//
// The tool asks for a result of the SELECTs and of the INSERTs of Event; for the others `result` is
// null. It reads the columns "id" and "path", by these names. The flags are false, true, true, true
// in every call.
//
// Threads, processes and exceptions: platform/taskstatus.h.

#pragma once

#include <string>

// The rows that a text of statements yielded, in statement order. Owned by the
// caller of KRDB::Execute, until KRDBFreeResult. It is complete in memory and needs no connection.
struct DBResult_tag;

class KRDB {
public:
    // The recorder's databases. The numbers are fixed: other programs of the package store them.
    enum DB_INSTANCE : int {
        DB_SYSTEM = 0,    // tables camera, emap, task
        DB_RECORDING = 4, // tables event, alert_event, recording_count
        DB_SNAPSHOT = 8,  // table snapshot
        DB_NONE = 15,     // no database; executing on it fails
    };

    // Runs every statement of `sql` in order. Statements end with ";" and need nothing in between.
    //
    // `result`: where not null, receives a result with one row for each row that a statement
    //   yields, in order; all statements that yield rows must yield the same column names. It is
    //   set on success only (also when there is no row) and is then the caller's to free. On
    //   failure it is left as it was.
    // `readOnly`: refuse statements that would write. Without it, a text of nothing but SELECTs may
    //   still be run on a connection or in a transaction that can only read, so that it waits for
    //   no writer.
    // `transaction`: the statements are one transaction; all of them take effect or none does.
    //   Otherwise each is on its own, and those before a failing one stay.
    // `waitForLock`: wait for other writers, as long as the recorder's settings allow; otherwise a
    //   database that is in use is a failure at once.
    // `logError`: a failure writes one log line that names the database and the reason.
    //
    // A row that is removed from a media table (below) is stored by the recorder in the same
    // transaction, so that an operator can restore it. If it can't be stored, the removal fails.
    //
    // File names within `sql` are bytes, not characters; a quoted literal is stored and read back
    // unchanged, whatever bytes but NUL it holds. There is no limit on the length of `sql` that the
    // tool could reach.
    //
    // Returns 0 on success, any other value on failure. Rows are read to the end before 0 is
    // returned: an incomplete result is a failure.
    [[nodiscard]] static int Execute(DB_INSTANCE db, std::string sql, DBResult_tag** result,
                                     bool readOnly, bool transaction, bool waitForLock,
                                     bool logError);
};

// Moves to the next row, to the first one on the first call. Returns 0 and sets `*row` to the
// handle of that row; when there is no further row, or `result` is null, returns another value and
// sets `*row` to a handle for which every field is null.
int KRDBFetchRow(DBResult_tag* result, int* row);

// The text of a row's field, NUL-terminated, as the database writes it (integers in decimal). Null
// when the field is NULL, the result has no such column, there is no such row, or `result` is null.
//
// Row ids are 32-bit signed throughout the package. A column named "id" whose value isn't an
// integer of 1 to 2147483647 reads as null, so that no caller can take it for another row's id; the
// database layer logs it once for each result.
//
// The text belongs to the result and lives until the next row is fetched: a result gives back the
// memory of rows that were left behind, and they may read as null.
[[nodiscard]] const char* KRDBFetchField(const DBResult_tag* result, int row, const char* column);

// Frees a result; null is allowed.
void KRDBFreeResult(DBResult_tag* result);

// The names of the media tables, usable in SQL as they stand. A path in them is a file name, or
// ends in one behind a "/": the tool compares file names. The e-map images lie in a folder whose
// path is fixed in the tool, /var/packages/Kestora/target/@KREmap; those named thumb_* are
// thumbnails and have no rows.
extern const char* const gszTableEmap;       // in DB_SYSTEM, columns id, filename
extern const char* const gszTableSnapshot;   // in DB_SNAPSHOT, columns id, filename
extern const char* const gszTableEvent;      // in DB_RECORDING, columns id, path, camera_id
extern const char* const gszTableAlertEvent; // in DB_RECORDING, columns id, path, camera_id
