-- Database instance 8: one row per snapshot picture.

CREATE TABLE snapshot (
    id       INTEGER PRIMARY KEY AUTOINCREMENT
             CHECK (id BETWEEN 1 AND 2147483647),
    filename TEXT UNIQUE,                         -- name of the picture in the snapshot folder
    start_tm INTEGER NOT NULL DEFAULT 0,          -- when it was taken, seconds since the epoch
    size     INTEGER NOT NULL DEFAULT 0           -- bytes, as a signed 32-bit number
);
