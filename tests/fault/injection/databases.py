"""The contents of SQLite databases, and of backup sets."""

import hashlib
import os
import shutil
import sqlite3

NAMES = ("system", "recording", "snapshot")
DAMAGED = "damaged"
UNCOMPARED = {"sqlite_sequence"}  # a restore doesn't lower the ids


def contents(folder, scratch):
    """Returns, for each database, all rows of all tables as text, DAMAGED, or None if it does not exist."""
    os.makedirs(scratch)
    try:
        for entry in os.scandir(folder):
            if entry.name.split(".")[0] in NAMES and not entry.name.endswith("-shm"):
                shutil.copyfile(entry.path, os.path.join(scratch, entry.name))
        return {name: _content(os.path.join(scratch, name + ".db")) for name in NAMES}
    finally:
        shutil.rmtree(scratch)


def _content(path):
    if not os.path.exists(path):
        return None
    connection = sqlite3.connect(path)
    connection.text_factory = bytes
    try:
        if connection.execute("PRAGMA integrity_check").fetchall() != [(b"ok",)]:
            return DAMAGED
        tables = connection.execute("SELECT name, sql FROM sqlite_master ORDER BY name, type").fetchall()
        rows = {name.decode(): connection.execute(f'SELECT * FROM "{name.decode()}" ORDER BY 1, 2').fetchall()
                for name, sql in tables if sql and sql.upper().startswith(b"CREATE TABLE")
                and name.decode() not in UNCOMPARED}
        return repr((tables, rows))
    except sqlite3.DatabaseError:
        return DAMAGED
    finally:
        connection.close()


def problems_of_set(folder):
    """Checks that a set is complete, and that its checksums are right."""
    expected = {f"{name}.db" for name in NAMES} | {"set", "SHA256SUMS"}
    if set(os.listdir(folder)) != expected:
        return [f"the set {folder} has the files {sorted(os.listdir(folder))}"]
    with open(folder + "/SHA256SUMS", encoding="ascii") as file:
        sums = dict(reversed(line.split()) for line in file)
    if set(sums) != expected - {"SHA256SUMS"}:
        return [f"the set {folder} has checksums of {sorted(sums)}"]
    return [f"{folder}/{name} differs from its checksum" for name in sorted(sums)
            if _sha256(f"{folder}/{name}") != sums[name]]


def _sha256(path):
    with open(path, "rb") as file:
        return hashlib.sha256(file.read()).hexdigest()
