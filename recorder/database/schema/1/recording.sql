-- Database instance 4: one row per recording.
--
-- Ids are never used twice (AUTOINCREMENT), so that an id that another program still has never means
-- another recording.

CREATE TABLE event (
    id        INTEGER PRIMARY KEY AUTOINCREMENT
              CHECK (id BETWEEN 1 AND 2147483647),
    ds_id     INTEGER NOT NULL DEFAULT 0,         -- data source; 0 = this recorder
    camera_id INTEGER NOT NULL,                   -- camera.id in database instance 0
    path      TEXT,                               -- half-day folder, '/', file name; bytes
    start_tm  INTEGER NOT NULL DEFAULT 0,         -- seconds since the epoch
    end_tm    INTEGER NOT NULL DEFAULT 0,         -- seconds since the epoch
    size      INTEGER NOT NULL DEFAULT 0,         -- bytes
    vdo_type  INTEGER NOT NULL DEFAULT 0,         -- video codec number; 0 = unknown
    aud_fmt   TEXT NOT NULL DEFAULT '',           -- audio codec name; empty = none or unknown
    img_w     INTEGER NOT NULL DEFAULT 0,         -- picture width, pixels
    img_h     INTEGER NOT NULL DEFAULT 0,         -- picture height, pixels
    UNIQUE (camera_id, path)
);

-- The recordings of a camera by time, and the counts by day.
CREATE INDEX event_by_camera_and_start ON event (camera_id, start_tm);

CREATE TABLE alert_event (
    id               INTEGER PRIMARY KEY AUTOINCREMENT
                     CHECK (id BETWEEN 1 AND 2147483647),
    ds_id            INTEGER NOT NULL DEFAULT 0,
    camera_id        INTEGER NOT NULL,
    path             TEXT,                        -- as event.path, within the camera's laRec folder
    start_tm         INTEGER NOT NULL DEFAULT 0,
    end_tm           INTEGER NOT NULL DEFAULT 0,
    size             INTEGER NOT NULL DEFAULT 0,
    vdo_type         INTEGER NOT NULL DEFAULT 0,
    aud_fmt          TEXT NOT NULL DEFAULT '',
    img_w            INTEGER NOT NULL DEFAULT 0,
    img_h            INTEGER NOT NULL DEFAULT 0,
    alert_event_type INTEGER NOT NULL DEFAULT 0,  -- what raised the alert; 0 = unknown
    device_type      INTEGER NOT NULL DEFAULT 0,  -- what recorded it; 1 = camera
    UNIQUE (camera_id, path)
);

CREATE INDEX alert_event_by_camera_and_start ON alert_event (camera_id, start_tm);

-- The number of rows of event for each camera and day.
CREATE TABLE recording_count (
    camera_id INTEGER NOT NULL,
    day       INTEGER NOT NULL,                   -- days since the epoch, UTC, of the start time
    count     INTEGER NOT NULL,
    stamp     INTEGER NOT NULL,                   -- time of the last change, microseconds since the epoch
    PRIMARY KEY (camera_id, day)
);

-- Messages to the rest of the package, oldest first. Without a broker this is a journal of limited size.
CREATE TABLE outbox (
    id         INTEGER PRIMARY KEY AUTOINCREMENT,
    created_tm INTEGER NOT NULL,                  -- seconds since the epoch
    topic      TEXT NOT NULL,
    payload    TEXT NOT NULL,                     -- JSON
    due        INTEGER NOT NULL DEFAULT 0         -- 1 = to be published
);

-- The recordings that runs added and that have no message in the outbox yet.
CREATE TABLE unannounced (
    id        INTEGER PRIMARY KEY,                -- event.id
    camera_id INTEGER NOT NULL
);

-- The number of rows of event that a run added and removed, by camera and day of their start times.
-- Only the last run that changed rows of event is kept.
CREATE TABLE run_day (
    run       INTEGER NOT NULL,                   -- run.id in database instance 0
    camera_id INTEGER NOT NULL,                   -- of the rows
    day       INTEGER NOT NULL,                   -- days since the epoch, UTC
    added     INTEGER NOT NULL,
    removed   INTEGER NOT NULL,
    PRIMARY KEY (run, camera_id, day)
);
