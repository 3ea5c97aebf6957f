-- Database instance 0: cameras, e-maps, tasks and runs.

-- Which recorder this is: one row.
CREATE TABLE recorder (
    id   INTEGER NOT NULL PRIMARY KEY CHECK (id = 1),
    uuid TEXT NOT NULL                            -- made with the database; its copies have it, too
);

CREATE TABLE camera (
    id           INTEGER PRIMARY KEY              -- the camera's number, chosen by the operator
                 CHECK (id BETWEEN 1 AND 2147483647),
    name         TEXT NOT NULL,                   -- for people
    ds_id        INTEGER NOT NULL DEFAULT 0,      -- data source that records it; 0 = this recorder
    storage_path TEXT NOT NULL,                   -- absolute path of the folder of its half-day folders
    volume_id    TEXT,                            -- UUID of the volume of its storage folder; NULL = any
    uuid         TEXT                             -- as in its storage folder; NULL = none yet
);

CREATE UNIQUE INDEX camera_by_uuid ON camera (uuid);

CREATE TABLE emap (
    id       INTEGER PRIMARY KEY AUTOINCREMENT
             CHECK (id BETWEEN 1 AND 2147483647),
    filename TEXT                                 -- name of the image in the e-map folder
);

-- The state of the package's long-running tasks, one row each.
CREATE TABLE task (
    name            TEXT PRIMARY KEY,             -- 'reindex'
    registered      INTEGER NOT NULL DEFAULT 0,   -- 1 = a run is registered, if its process lives
    pid             INTEGER NOT NULL DEFAULT 0,   -- process that does the work
    progress        TEXT NOT NULL DEFAULT '0',    -- 0.0 to 1.0, with all digits
    start_tm        INTEGER NOT NULL DEFAULT 0,   -- when the run began, seconds since the epoch
    recording_count INTEGER NOT NULL DEFAULT 0,   -- recording rows added plus removed
    done            INTEGER NOT NULL DEFAULT 0    -- 1 = the run has ended
);

-- The runs of the re-index tool, and of krctl check --fix.
CREATE TABLE run (
    id       INTEGER PRIMARY KEY AUTOINCREMENT,
    token    INTEGER NOT NULL DEFAULT 0,          -- random; with the id it is the run's identity
    is_fix   INTEGER NOT NULL DEFAULT 0,          -- 1 = krctl check --fix
    pid      INTEGER NOT NULL,                    -- process that does the work
    start_tm INTEGER NOT NULL,                    -- seconds since the epoch
    end_tm   INTEGER,                             -- NULL = in progress, or killed
    failures INTEGER NOT NULL DEFAULT 0,          -- counted when it ends
    refusals INTEGER NOT NULL DEFAULT 0,          -- counted when it ends
    unlogged INTEGER NOT NULL DEFAULT 0,          -- lines that the log didn't take
    age_s    INTEGER NOT NULL DEFAULT 0           -- ledger_age.age_s at its end
);

-- The finished parts of a run: one kind of media or, if the kind has cameras, one kind of one camera.
CREATE TABLE run_part (
    run         INTEGER NOT NULL,                 -- run.id
    part        INTEGER NOT NULL,                 -- 1, 2, ... ascending with time
    kind        TEXT NOT NULL,                    -- the table; '' = the camera couldn't be loaded
    camera_id   INTEGER NOT NULL,                 -- 0 = no camera
    duration_ms INTEGER NOT NULL,
    files       INTEGER NOT NULL,                 -- regular files that were visited
    known       INTEGER NOT NULL,                 -- rows before the part
    failures    INTEGER NOT NULL,
    refusals    INTEGER NOT NULL,                 -- requests that the recorder refused for safety
    refusal     TEXT NOT NULL,                    -- reason of the first refusal; '' = none
    PRIMARY KEY (run, part)
);
