"""The rows of the demo's recorder, read without the tool: from SQLite's files, or with psql from the PostgreSQL
server that DEMO_DSN names."""

import contextlib
import json
import os
import sqlite3
import subprocess

DATABASES = ("system", "recording", "snapshot")
SCHEMA = "kestora"


def open_databases(folder):
    dsn = os.environ.get("DEMO_DSN")
    return Postgres(dsn) if dsn else Sqlite(folder)


class Sqlite:
    def __init__(self, folder):
        self.folder = folder

    def tables(self):
        """A map from the name of a table to its rows, each a dict. The next ids are a table, too."""
        found = {}
        for database in DATABASES:
            with self._open(database) as connection:
                names = connection.execute("SELECT name FROM sqlite_master WHERE type = 'table'")
                for (table,) in names.fetchall():
                    cursor = connection.execute(f"SELECT * FROM {table} ORDER BY 1, 2")
                    columns = [column[0] for column in cursor.description]
                    rows = [dict(zip(columns, row)) for row in cursor]
                    found.setdefault("next ids" if table == "sqlite_sequence" else table,
                                     []).extend(rows)
        return found

    def delete(self, table, column, value):
        """Returns the number of deleted rows."""
        for database in DATABASES:
            with self._open(database) as connection:
                if self._holds(connection, table):
                    done = connection.execute(f"DELETE FROM {table} WHERE {column} = ?", (value,))
                    return done.rowcount
        raise SystemExit(f"demo: no database has a table {table}")

    def add_emaps(self, names):
        with self._open("system") as connection:
            connection.executemany("INSERT INTO emap (filename) VALUES (?)",
                                   [(name,) for name in names])

    @contextlib.contextmanager
    def _open(self, database):
        """Changes are committed at the end."""
        path = os.path.join(self.folder, database + ".db")
        if not os.path.exists(path):
            raise SystemExit(f"demo: the database {path} does not exist")
        connection = sqlite3.connect(path)
        try:
            with connection:
                yield connection
        finally:
            connection.close()

    @staticmethod
    def _holds(connection, table):
        return connection.execute("SELECT 1 FROM sqlite_master WHERE name = ?", (table,)).fetchone()


class Postgres:
    def __init__(self, dsn):
        self.dsn = dsn

    def tables(self):
        names = self._psql("SELECT tablename FROM pg_tables WHERE schemaname = :'schema'").split()
        found = {table: self._rows(f"SELECT * FROM {table} ORDER BY 1") for table in names}
        found["next ids"] = self._rows("SELECT sequencename AS name, last_value AS seq "
                                       "FROM pg_sequences WHERE schemaname = :'schema' ORDER BY 1")
        for row in found["next ids"]:
            row["name"] = row["name"].removesuffix("_id_seq")
        return found

    def delete(self, table, column, value):
        return len(self._psql(f"DELETE FROM {table} WHERE {column} = :'value' RETURNING id",
                              value=value).split())

    def add_emaps(self, names):
        for name in names:
            self._psql("INSERT INTO emap (filename) VALUES (:'value')", value=name)

    def _rows(self, select):
        return json.loads(self._psql(f"SELECT coalesce(json_agg(r), '[]') FROM ({select}) AS r"))

    def _psql(self, statement, **variables):
        words = [word for name, value in {**variables, "schema": SCHEMA}.items()
                 for word in ("-v", f"{name}={value}")]
        # psql expands variables only on standard input.
        done = subprocess.run(["psql", "-XqAt", "-v", "ON_ERROR_STOP=1", *words, "-d", self.dsn],
                              input=f"SET search_path TO {SCHEMA}; {statement};", text=True,
                              capture_output=True, check=False)
        if done.returncode:
            raise SystemExit(f"demo: psql: {done.stderr}")
        return done.stdout
