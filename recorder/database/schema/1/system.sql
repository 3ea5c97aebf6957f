-- Database instance 0: what the recorder itself is made of.

CREATE TABLE camera (
    id           INTEGER PRIMARY KEY              -- the camera's number, chosen by the operator
                 CHECK (id BETWEEN 1 AND 2147483647),
    name         TEXT NOT NULL,                   -- for people
    ds_id        INTEGER NOT NULL DEFAULT 0,      -- data source that records it; 0 = this recorder
    storage_path TEXT NOT NULL,                   -- absolute path of its half-day folders' folder
    volume_id    TEXT                             -- UUID of the volume it lies on; NULL = any
);

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
    progress        TEXT NOT NULL DEFAULT '0',    -- 0.0 to 1.0, with every digit that it takes
    start_tm        INTEGER NOT NULL DEFAULT 0,   -- when the run began, seconds since the epoch
    recording_count INTEGER NOT NULL DEFAULT 0,   -- recording rows added plus removed
    done            INTEGER NOT NULL DEFAULT 0    -- 1 = the run is over
);
