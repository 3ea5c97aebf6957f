-- Every database: what is wrong with the files of its rows, until it is seen to be right again.
CREATE TABLE finding (
    kind        TEXT NOT NULL,                    -- the table of the file's kind
    camera_id   INTEGER NOT NULL,                 -- 0 = the kind has no cameras
    path        TEXT NOT NULL,                    -- as in the row; the absolute path if has_row is 0
    what        TEXT NOT NULL,                    -- see recorder/finding/finding.h
    detail      TEXT NOT NULL,                    -- for people: a reason, or what differs
    has_row     INTEGER NOT NULL,                 -- 1 = void without a row of this path; 0 = no row is needed
    first_tm    INTEGER NOT NULL,                 -- seconds since the epoch
    last_tm     INTEGER NOT NULL,                 -- seconds since the epoch
    run         INTEGER NOT NULL,                 -- run.id of the last run that found it; 0 = a check
    examination INTEGER NOT NULL,                 -- the last examination that found it
    PRIMARY KEY (kind, camera_id, path, what)
);
