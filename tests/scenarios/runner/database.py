"""The recorder's tables, by the names of the databases that the cases know them by.

On SQLite each database is a file. On PostgreSQL there are no such files, and a name stands for the
tables that would lie in it.
"""

TABLES = {
    "camera": "system.db", "emap": "system.db", "task": "system.db", "run": "system.db",
    "run_part": "system.db",
    "event": "recording.db", "alert_event": "recording.db", "recording_count": "recording.db",
    "outbox": "recording.db", "unannounced": "recording.db", "snapshot": "snapshot.db",
}

# What a run must bring in line and a second run must leave alone.
MEDIA_TABLES = ("camera", "emap", "event", "alert_event", "recording_count", "snapshot")

UNREADABLE = ["unreadable"]  # the columns of a table that can't be read; its row is the reason


def tables_of(database):
    return [table for table, name in TABLES.items() if name == database]
