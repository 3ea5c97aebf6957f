"""Recorders for measurements, with their rows in SQLite or on the PostgreSQL server of the benchmark."""

import shutil
import sqlite3
import subprocess
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent.parent
SANDBOX = ROOT / "script" / "sandbox"
sys.path.append(str(ROOT / "tests" / "postgresql"))

# pylint: disable-next=wrong-import-position
from server import Server, bin_dir, start_server, stop_server, without_pg_variables  # noqa: E402

INSIDE = "/var/packages/Kestora"  # where the package root appears
SCHEMA = "bench"
EVENT_COLUMNS = "camera_id, path, start_tm, end_tm, size"

# Enables the ledger, as for run 1: on SQLite only the connection of a run has triggers.
SQLITE_LEDGER = """
CREATE TEMP TRIGGER keep_removed_event AFTER DELETE ON main.event BEGIN
INSERT INTO removed (run, removed_tm, kind, row_id, ds_id, camera_id, path, start_tm, end_tm, size,
vdo_type, aud_fmt, img_w, img_h) VALUES (1, unixepoch(), 'event', OLD.id, OLD.ds_id, OLD.camera_id,
OLD.path, OLD.start_tm, OLD.end_tm, OLD.size, OLD.vdo_type, OLD.aud_fmt, OLD.img_w, OLD.img_h); END;
"""


class SqliteStore:
    """The rows of a recorder in SQLite's files."""

    ledger = SQLITE_LEDGER
    settings = ""

    def __init__(self, folder, _server):
        self.folder = folder / "package/var/db"

    def address(self, name):
        """The database that a floor opens, as seen in the sandbox."""
        return f"{INSIDE}/var/db/{name}.db"

    def table(self, name):
        return name

    def query(self, name, sql):
        """The rows of a SELECT as lines, with columns separated by bars."""
        connection = sqlite3.connect(self.folder / f"{name}.db")
        try:
            lines = ["|".join(map(str, row)) for row in connection.execute(sql)]
        finally:
            connection.close()
        return "\n".join(lines)

    def insert(self, name, table, columns, rows):
        connection = sqlite3.connect(self.folder / f"{name}.db")
        marks = ", ".join("?" for _ in columns.split(","))
        with connection:
            connection.executemany(f"INSERT INTO {table} ({columns}) VALUES ({marks})", rows)
        connection.execute("PRAGMA wal_checkpoint(TRUNCATE)")
        connection.close()

    def save(self):
        self.query("recording", "PRAGMA wal_checkpoint(TRUNCATE)")
        self.query("snapshot", "PRAGMA wal_checkpoint(TRUNCATE)")
        shutil.copytree(self.folder, self.folder.with_name("saved"))

    def restore(self):
        shutil.rmtree(self.folder)
        shutil.copytree(self.folder.with_name("saved"), self.folder)

    def cool_down(self):
        """SQLite's files are cached only by the kernel."""

    def remove(self):
        """The files are removed with their folder."""


class PostgresStore:
    """The rows of a recorder on the server, in a separate database."""

    ledger = "SET kestora.run TO '1'; SET kestora.token TO '1';"
    made = 0

    def __init__(self, _folder, server):
        PostgresStore.made += 1
        self.server, self.database = server, f"bench{PostgresStore.made}"
        self._admin(f"CREATE DATABASE {self.database}")
        self.settings = (f'[database]\ndsn = "{server.dsn_of(self.database)}"\nschema = "{SCHEMA}"\n'
                         "statement_timeout_ms = 600000\n")

    def address(self, _name):
        return f"{self.server.dsn_of(self.database)}&options=-csearch_path%3D{SCHEMA}"

    def table(self, name):
        return f"{SCHEMA}.{name}"

    def query(self, _name, sql):
        return self.server.psql(f"SET search_path TO {SCHEMA}", sql, database=self.database).strip()

    def insert(self, _name, table, columns, rows):
        command = [f"{bin_dir()}/psql", "-XqAt", "-v", "ON_ERROR_STOP=1", "-d",
                   self.server.dsn_of(self.database), "-c",
                   f"COPY {SCHEMA}.{table} ({columns}) FROM STDIN"]
        with subprocess.Popen(command, stdin=subprocess.PIPE, env=without_pg_variables(),
                              text=True) as psql:
            for row in rows:
                psql.stdin.write("\t".join(map(str, row)) + "\n")
            psql.stdin.close()
            if psql.wait() != 0:
                raise RuntimeError(f"can't insert the rows of {table}")
        self.query("", f"VACUUM ANALYZE {table}")

    def save(self):
        self._admin(f"CREATE DATABASE {self.database}_saved TEMPLATE {self.database}")

    def restore(self):
        self._admin(f"DROP DATABASE {self.database} WITH (FORCE)",
                    f"CREATE DATABASE {self.database} TEMPLATE {self.database}_saved", "CHECKPOINT")

    def cool_down(self):
        stop_server(self.server.directory)
        start_server(self.server.directory)

    def remove(self):
        for name in (self.database, f"{self.database}_saved"):
            self._admin(f"DROP DATABASE IF EXISTS {name} WITH (FORCE)")

    def _admin(self, *statements):
        self.server.psql(*statements, database="postgres")


STORES = {"sqlite": SqliteStore, "postgresql": PostgresStore}


class Engines:
    """The engines to measure; the server is started at its first use."""

    def __init__(self, durable):
        self.durable, self.server = durable, None

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self.server:
            self.server.stop()

    def store(self, engine, folder):
        if engine == "postgresql" and not self.server:
            self.server = Server(self.durable)
            self.server.start()
        return STORES[engine](folder, self.server)


class Recorder:
    """A recorder with the given folder as its package root."""

    def __init__(self, folder, programs, engine, engines):
        self.folder, self.programs, self.engine = folder, programs, engine
        self.package = folder / "package"
        (self.package / "etc").mkdir(parents=True)
        self.store = engines.store(engine, folder)
        (self.package / "etc/kestora.toml").write_text(self.store.settings, encoding="utf-8")
        self.run("krctl", "init")
        if not (folder.parent / ".kestora-volume").exists():
            self.run("krctl", "volume", "init", "--force", folder.parent)

    def inside(self, *words):
        return [str(word) for word in (SANDBOX, self.package, *words)]

    def run(self, program, *arguments):
        return subprocess.run(self.inside(self.programs / program, *arguments), check=True,
                              stdout=subprocess.PIPE, text=True).stdout

    def ours(self, *arguments):
        return [str(self.programs / "krindexer"), *arguments]

    def floor(self, name, *arguments):
        """The floor program for this engine."""
        return [str(self.programs / f"floor_{name}_{self.engine}"), *map(str, arguments)]

    def add_settings(self, text):
        with open(self.package / "etc/kestora.toml", "a", encoding="utf-8") as file:
            file.write(text)

    def add_cameras(self, stores):
        """Adds cameras, on folders that may hold the identities of a previous recorder's cameras."""
        for number, store in enumerate(stores, 1):
            (store / ".kestora-camera").unlink(missing_ok=True)
            self.run("krctl", "camera", "add", "--id", number, "--name", f"FrontDoor{number}",
                     "--storage", store)

    def insert_recordings(self, rows):
        self.store.insert("recording", "event", EVENT_COLUMNS, rows)

    def number(self, sql, name="recording"):
        return int(self.store.query(name, sql))
