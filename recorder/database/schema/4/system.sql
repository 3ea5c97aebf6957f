-- Database instance 0: what the record of a run also says.

ALTER TABLE run ADD COLUMN unlogged INTEGER NOT NULL DEFAULT 0;  -- lines that the log didn't take
ALTER TABLE run ADD COLUMN age_s INTEGER NOT NULL DEFAULT 0;     -- ledger_age.age_s at its end
