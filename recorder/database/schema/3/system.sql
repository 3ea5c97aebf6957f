-- Database instance 0: a camera's identity, and what a run was made of.

ALTER TABLE camera ADD COLUMN uuid TEXT;          -- as in its storage folder; NULL = none yet
CREATE UNIQUE INDEX camera_by_uuid ON camera (uuid);

ALTER TABLE run ADD COLUMN failures INTEGER NOT NULL DEFAULT 0;  -- counted when it ends
ALTER TABLE run ADD COLUMN refusals INTEGER NOT NULL DEFAULT 0;  -- likewise

-- The parts of a run: one kind of media, of one camera where the kind has cameras. A part is on
-- record once it is over.
CREATE TABLE run_part (
    run         INTEGER NOT NULL,                 -- run.id
    part        INTEGER NOT NULL,                 -- 1, 2, ... in the order of time
    kind        TEXT NOT NULL,                    -- the table; '' = the camera couldn't be loaded
    camera_id   INTEGER NOT NULL,                 -- 0 = of no camera
    duration_ms INTEGER NOT NULL,
    files       INTEGER NOT NULL,                 -- regular files that were looked at
    known       INTEGER NOT NULL,                 -- rows that there were before
    failures    INTEGER NOT NULL,
    refusals    INTEGER NOT NULL,                 -- what the recorder declined to do, for safety
    refusal     TEXT NOT NULL,                    -- why, the first time; '' = there was none
    PRIMARY KEY (run, part)
);
