-- Database instance 4: the days of what a run did to the recordings.

-- How many rows of event the last run that changed any added, and how many it removed, by the days of
-- their start times.
CREATE TABLE run_day (
    run       INTEGER NOT NULL,                   -- run.id in database instance 0
    camera_id INTEGER NOT NULL,                   -- of the rows
    day       INTEGER NOT NULL,                   -- days since the epoch, UTC
    added     INTEGER NOT NULL,
    removed   INTEGER NOT NULL,
    PRIMARY KEY (run, camera_id, day)
);
