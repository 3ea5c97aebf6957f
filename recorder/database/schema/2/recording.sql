-- Database instance 4: word that waits for a receiver is told from the journal's.

ALTER TABLE outbox ADD COLUMN due INTEGER NOT NULL DEFAULT 0;  -- 1 = to be published
