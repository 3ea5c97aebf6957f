"""The recorder's tables, by database.

On SQLite each database is a file. On PostgreSQL the name of a database stands for the tables that the file
would hold.
"""

TABLES = {
    "camera": "system.db", "emap": "system.db", "task": "system.db", "run": "system.db",
    "run_part": "system.db",
    "event": "recording.db", "alert_event": "recording.db", "recording_count": "recording.db",
    "outbox": "recording.db", "unannounced": "recording.db", "finding": "recording.db",
    "snapshot": "snapshot.db",
}

# The tables that are compared after a run. A second run must not change them.
MEDIA_TABLES = ("camera", "emap", "event", "alert_event", "recording_count", "snapshot")

UNREADABLE = ["unreadable"]  # the columns of a table that can't be read; its row is the reason


def tables_of(database):
    return [table for table, name in TABLES.items() if name == database]
