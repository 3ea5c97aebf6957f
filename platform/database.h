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
// The tool also executes the INSERTs that the recorder itself builds: Event::strSqlInsert,
// AlertEvent::strSqlInsert (DB_RECORDING) and ReindexSnapshotSql (DB_SNAPSHOT). One call has 1 to
// 1000 of them, all of one kind, concatenated. If the row of the file already exists, the INSERT
// must update it; each INSERT of Event must yield one row with the column "id" (ON CONFLICT ... DO
// UPDATE ... RETURNING id, where the engine has that).
//
// The tool requests a result for the SELECTs and for the INSERTs of Event, and reads the columns
// "id" and "path" by name; in all other calls `result` is null. The four flags are false, true,
// true, true in every call.
//
// Threads, processes and exceptions: platform/taskstatus.h.

#pragma once

#include <string>

// The rows that the statements of a text yielded, in the order of the statements. The caller of
// KRDB::Execute owns the result and frees it with KRDBFreeResult. It is completely in memory and
// needs no connection.
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
    // `result`: if not null, receives the rows that the statements yield, in order; all statements
    //   that yield rows must yield the same column names. It is set only on success (also if there
    //   are no rows), and the caller must then free it. It is unchanged on failure.
    // `readOnly`: refuse statements that would write. Without it, a text of SELECTs only may still
    //   be executed on a connection or in a transaction that can only read, so that it does not
    //   wait for writers.
    // `transaction`: execute all statements in one transaction: all of them take effect or none.
    //   Otherwise each statement is a transaction, and those before a failed one take effect.
    // `waitForLock`: wait for other writers, as long as the recorder's settings allow; otherwise
    //   fail at once if the database is in use.
    // `logError`: a failure writes one log line that names the database and the reason.
    //
    // A row that is removed from a media table (below) is stored by the recorder in the same
    // transaction, so that an operator can restore it. If it can't be stored, the removal fails.
    //
    // File names within `sql` are bytes, not characters: a quoted literal is stored and read back
    // unchanged, with any bytes except NUL. `sql` can be as long as the tool makes it.
    //
    // Returns 0 on success, any other value on failure. All rows are read before 0 is returned: an
    // incomplete result is a failure.
    [[nodiscard]] static int Execute(DB_INSTANCE db, std::string sql, DBResult_tag** result,
                                     bool readOnly, bool transaction, bool waitForLock,
                                     bool logError);
};

// Moves to the next row; the first call moves to the first row. Returns 0 and sets `*row` to the
// handle of that row. If there are no more rows, or `result` is null, returns another value and
// sets
// `*row` to a handle for which every field is null.
int KRDBFetchRow(DBResult_tag* result, int* row);

// Returns the text of a row's field, NUL-terminated, as the database writes it (integers in
// decimal). Returns null if the field is NULL, if the result has no such column or row, or if
// `result` is null.
//
// Row ids are 32-bit signed throughout the package. A column named "id" whose value is not an
// integer from 1 to 2147483647 reads as null, so that no caller can use it as the id of another
// row; the database layer logs this once for each result.
//
// The text belongs to the result and is valid until the next row is fetched: a result frees the
// memory of earlier rows, whose fields may then read as null.
[[nodiscard]] const char* KRDBFetchField(const DBResult_tag* result, int row, const char* column);

// Frees a result; does nothing for null.
void KRDBFreeResult(DBResult_tag* result);

// The names of the media tables, for use in SQL. A path in these tables is a file name, or ends
// with
// "/" and a file name: the tool compares file names. The e-map images are in a folder whose path is
// fixed in the tool, /var/packages/Kestora/target/@KREmap; files named thumb_* are thumbnails and
// have no rows.
extern const char* const gszTableEmap;       // in DB_SYSTEM, columns id, filename
extern const char* const gszTableSnapshot;   // in DB_SNAPSHOT, columns id, filename
extern const char* const gszTableEvent;      // in DB_RECORDING, columns id, path, camera_id
extern const char* const gszTableAlertEvent; // in DB_RECORDING, columns id, path, camera_id
