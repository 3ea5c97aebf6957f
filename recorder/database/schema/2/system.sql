-- Database instance 0: the runs of the re-index tool.

CREATE TABLE run (
    id       INTEGER PRIMARY KEY AUTOINCREMENT,
    pid      INTEGER NOT NULL,                    -- process that does the work
    start_tm INTEGER NOT NULL,                    -- seconds since the epoch
    end_tm   INTEGER                              -- NULL = it hasn't ended, or it was killed
);
