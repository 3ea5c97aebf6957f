-- Every database: what runs did to its tables.

-- Each row that a run removed, as it was, in the transaction that removed it. Of the columns from
-- ds_id on those are filled that the row's table has. The id has no AUTOINCREMENT: with it SQLite
-- would write to the disk for each deletion that finds nothing.
CREATE TABLE removed (
    id               INTEGER PRIMARY KEY,         -- in the order of time
    run              INTEGER NOT NULL,            -- run.id in database instance 0
    removed_tm       INTEGER NOT NULL,            -- seconds since the epoch
    kind             TEXT NOT NULL,               -- the row's table
    row_id           INTEGER NOT NULL,            -- the row's id
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

-- The number of rows that a run added to a table and removed from it, by the camera of the rows. A
-- database has rows of only one run of each number, and this table has that run's token.
CREATE TABLE run_count (
    run       INTEGER NOT NULL,                   -- run.id in database instance 0
    token     INTEGER NOT NULL,                   -- run.token
    kind      TEXT NOT NULL,                      -- the table
    camera_id INTEGER NOT NULL,                   -- camera_id of the rows; 0 = no cameras
    added     INTEGER NOT NULL,
    removed   INTEGER NOT NULL,
    PRIMARY KEY (run, token, kind, camera_id)
);

-- How long the ledger has been kept, by time that the kernel counted. One row: the age of the ledger
-- and the moment at which it was last brought up to date. The age is the time that runs saw pass; it
-- is never more than the time that passed.
CREATE TABLE ledger_age (
    id       INTEGER NOT NULL PRIMARY KEY CHECK (id = 1),
    age_s    INTEGER NOT NULL,                    -- seconds
    machine  TEXT NOT NULL,                       -- machine-id(5); '' = unknown
    boot     TEXT NOT NULL,                       -- the kernel's boot id; '' = unknown
    uptime_s INTEGER NOT NULL,                    -- seconds since that boot
    clock_tm INTEGER NOT NULL                     -- what the clock showed, seconds since the epoch
);

-- The age of the ledger at a run's last removal.
CREATE TABLE removal_age (
    run      INTEGER NOT NULL PRIMARY KEY,        -- removed.run
    age_s    INTEGER NOT NULL                     -- seconds
);
