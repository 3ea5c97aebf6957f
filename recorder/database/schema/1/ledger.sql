-- Every database: the changes that runs made to its tables.

-- An exact copy of each row that a run removed or changed, made in the transaction that did so. The columns
-- from ds_id on are NULL if the row's table doesn't have them. The id has no AUTOINCREMENT, with which
-- SQLite would write to the disk for each deletion without effect.
CREATE TABLE removed (
    id               INTEGER PRIMARY KEY,         -- ascending with time
    run              INTEGER NOT NULL,            -- run.id in database instance 0
    removed_tm       INTEGER NOT NULL,            -- seconds since the epoch
    kind             TEXT NOT NULL,               -- the row's table
    row_id           INTEGER NOT NULL,            -- the row's id
    changed          INTEGER NOT NULL DEFAULT 0,  -- 1 = the row was changed; 0 = it was removed
    ds_id            INTEGER,
    camera_id        INTEGER,
    path             TEXT,
    filename         TEXT,
    start_tm         INTEGER,
    end_tm           INTEGER,
    size             INTEGER,
    vdo_type         INTEGER,
    aud_fmt          TEXT,
    img_w            INTEGER,
    img_h            INTEGER,
    alert_event_type INTEGER,
    device_type      INTEGER
);

CREATE INDEX removed_by_run ON removed (run);
CREATE INDEX changed_by_row ON removed (kind, row_id) WHERE changed = 1;

-- The number of rows of a table that a run added, removed and changed, by the camera of the rows. A
-- database has rows of only one run of each number, and this table has that run's token.
CREATE TABLE run_count (
    run       INTEGER NOT NULL,                   -- run.id in database instance 0
    token     INTEGER NOT NULL,                   -- run.token
    kind      TEXT NOT NULL,                      -- the table
    camera_id INTEGER NOT NULL,                   -- camera_id of the rows; 0 = no cameras
    added     INTEGER NOT NULL,
    removed   INTEGER NOT NULL,
    changed   INTEGER NOT NULL DEFAULT 0,
    PRIMARY KEY (run, token, kind, camera_id)
);

-- The rows that a run added, as ranges of ids without gaps: about one for each transaction. Kept as
-- long as the run's parts (run_part in database instance 0).
CREATE TABLE added (
    run      INTEGER NOT NULL,                    -- run.id in database instance 0
    kind     TEXT NOT NULL,                       -- the rows' table
    first_id INTEGER NOT NULL,                    -- the lowest id
    last_id  INTEGER NOT NULL,                    -- the highest id
    PRIMARY KEY (run, kind, first_id)
);

-- The age of the ledger, in time that the kernel counted, and the moment of its last update. One row.
-- The age is the time between runs, and never more than the elapsed time.
CREATE TABLE ledger_age (
    id       INTEGER NOT NULL PRIMARY KEY CHECK (id = 1),
    age_s    INTEGER NOT NULL,                    -- seconds
    machine  TEXT NOT NULL,                       -- machine-id(5); '' = unknown
    boot     TEXT NOT NULL,                       -- the kernel's boot id; '' = unknown
    uptime_s INTEGER NOT NULL,                    -- seconds since that boot
    clock_tm INTEGER NOT NULL                     -- the system clock, seconds since the epoch
);

-- The age of the ledger at a run's last removal.
CREATE TABLE removal_age (
    run      INTEGER NOT NULL PRIMARY KEY,        -- removed.run
    age_s    INTEGER NOT NULL                     -- seconds
);
