-- Every database: what runs did to its tables, by camera.

ALTER TABLE run_count RENAME TO run_count_2;

-- How many rows a run added to a table for a camera, and how many it removed.
CREATE TABLE run_count (
    run       INTEGER NOT NULL,                   -- run.id in database instance 0
    kind      TEXT NOT NULL,                      -- the table
    camera_id INTEGER NOT NULL,                   -- 0 = of no camera, or of one that is gone
    added     INTEGER NOT NULL,
    removed   INTEGER NOT NULL,
    PRIMARY KEY (run, kind, camera_id)
);

INSERT INTO run_count (run, kind, camera_id, added, removed)
SELECT run, kind, 0, added, removed FROM run_count_2;

DROP TABLE run_count_2;
