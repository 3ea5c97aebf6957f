-- Database instance 4: word of recordings, which must not be lost with the run that owes it.

ALTER TABLE outbox ADD COLUMN due INTEGER NOT NULL DEFAULT 0;  -- 1 = to be published

-- The recordings that runs added and have left no word of in the outbox yet.
CREATE TABLE untold (
    id        INTEGER PRIMARY KEY,                -- event.id
    camera_id INTEGER NOT NULL
);
