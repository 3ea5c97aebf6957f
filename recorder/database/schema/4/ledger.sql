-- Every database: how long its ledger has been kept, by time that the kernel counted.

-- One row: the age of the ledger and the moment at which it was last brought up to date. The age
-- is the time that runs saw pass; it is never more than the time that passed.
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

-- What an older version removed counts from now on.
INSERT INTO removal_age (run, age_s) SELECT DISTINCT run, 0 FROM removed;
