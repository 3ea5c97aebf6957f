-- Every database: the contents of the files of its rows, as krctl check --contents first saw them.
CREATE TABLE content (
    kind        TEXT NOT NULL,                    -- the table of the file's kind
    row_id      INTEGER NOT NULL,                 -- the row's id
    camera_id   INTEGER NOT NULL,                 -- 0 = the kind has no cameras
    sha256      TEXT NOT NULL,                    -- 64 hexadecimal digits; '' = never read to its end
    size        INTEGER NOT NULL,                 -- bytes, when it last had this checksum
    mtime_ns    INTEGER NOT NULL,                 -- nanoseconds since the epoch, when it last had this checksum
    taken_tm    INTEGER NOT NULL,                 -- when the checksum was taken, seconds since the epoch
    examined_tm INTEGER NOT NULL,                 -- when the file was last read, seconds since the epoch
    examination INTEGER NOT NULL,                 -- the last check that read it; ascending with time
    PRIMARY KEY (kind, row_id)
);

CREATE INDEX content_by_examination ON content (kind, camera_id, examination, row_id);
