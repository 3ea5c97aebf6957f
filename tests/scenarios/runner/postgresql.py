"""Access to the recorder's databases on PostgreSQL by a second process: rows, locks, commits.

Uses psql, so that no module outside the standard library is needed.
"""

import os
import re
import subprocess

import server
from runner.database import UNREADABLE, tables_of
from runner.systemcalls import is_in_call
from runner.text import CaseError

POLLS = ("poll", "ppoll")

ESCAPES = {b"b": b"\b", b"f": b"\f", b"n": b"\n", b"r": b"\r", b"t": b"\t", b"v": b"\v"}

# After rows with given ids were added, the next id must be larger than theirs, as on SQLite.
SEQUENCES_SQL = """
DO $$
DECLARE
    sequence REGCLASS;
    rows     TEXT;
BEGIN
    FOR sequence, rows IN
        SELECT oid, substring(relname FROM '^(.*)_id_seq$') FROM pg_class
        WHERE relkind = 'S' AND relnamespace = current_schema()::regnamespace
    LOOP
        EXECUTE format('SELECT setval(%1$L, highest) FROM (SELECT max(id) AS highest FROM %2$I) '
                       'AS found WHERE highest >= (SELECT last_value FROM %1$s)', sequence, rows);
    END LOOP;
END $$;"""

CHECKS_SQL = """
SELECT format('ALTER TABLE {table} DROP CONSTRAINT %1$I;', conname),
       format('ALTER TABLE {table} ADD CONSTRAINT %1$I %2$s NOT VALID;', conname,
              pg_get_constraintdef(oid))
FROM pg_constraint WHERE contype = 'c' AND conrelid = '{table}'::regclass"""


class Postgresql:
    """The tables of one recorder: a schema of the server that the cases share."""

    name = "postgresql"
    locked = "canceling statement due to lock timeout"

    def __init__(self, address, schema):
        self.address, self.schema = address, schema
        self.directory = address.partition("host=")[2]
        self.psql = [os.path.join(server.bin_dir(), "psql"), "-XqAt", "-v", "ON_ERROR_STOP=1",
                     "-d", f"{address}&options=-csearch_path%3D{schema}"]

    @property
    def settings(self):
        return f'dsn = "{self.address}"\nschema = "{self.schema}"\n'.encode()

    def begin(self):
        self.run(f"SET client_min_messages TO warning; DROP SCHEMA IF EXISTS {self.schema} CASCADE;")

    def end(self):
        """Starts the server again if the case has stopped it."""
        if os.path.exists(os.path.join(self.directory, "down")):
            self.start_server()

    def run(self, script):
        """Executes statements; returns the output, as bytes."""
        if isinstance(script, str):
            script = script.encode()
        done = subprocess.run(self.psql, input=script, env=server.without_pg_variables(),
                              capture_output=True, check=False)
        if done.returncode:
            raise CaseError(done.stderr.decode(errors="replace"))
        return done.stdout

    def name_in_log(self, _name):
        return f"PostgreSQL schema {self.schema}"

    def insert(self, table, columns, rows, unchecked):
        """Adds rows. `unchecked` admits what the schema's CHECKs would refuse, as old data may be."""
        checks = self._rows_of(CHECKS_SQL.format(table=table)) if unchecked else []
        values = b", ".join(b"(" + b", ".join(map(literal, row)) + b")" for row in rows)
        script = b"".join(drop for drop, _ in checks)
        if rows:
            script += f"INSERT INTO {table} ({', '.join(columns)}) VALUES ".encode() + values + b";"
        script += b"".join(add for _, add in checks)
        self.run(script + SEQUENCES_SQL.encode())

    def run_script(self, _name, script):
        self.run(script + SEQUENCES_SQL)

    def select(self, table, columns):
        return self._rows_of(f"SELECT {', '.join(columns)} FROM {table}")

    def dump(self, table):
        """All columns and rows of a table, or why they can't be read."""
        try:
            return with_header(self._rows_of(f"SELECT * FROM {table}", "WITH (HEADER)"))
        except CaseError as error:
            return UNREADABLE, [(str(error).encode(),)]

    def dump_all(self, tables):
        """Dumps all tables with one call of psql, which takes longer to start than to read them."""
        between = "\\echo '\\\\.'\n"  # COPY writes no such row
        try:
            output = self.run(between.join(f"COPY (SELECT * FROM {table}) TO STDOUT WITH (HEADER);\n"
                                           for table in tables))
        except CaseError:
            return {table: self.dump(table) for table in tables}
        return {table: with_header(rows_in(part))
                for table, part in zip(tables, output.split(b"\\.\n"), strict=True)}

    def hold(self, name, exclusively):
        return Lock(self, tables_of(name), "ACCESS EXCLUSIVE" if exclusively else "EXCLUSIVE")

    def writer(self, _name):
        return self

    def write(self, sql):
        self.run(f"{sql};")

    def watch(self, name):
        return CommitWatch(self, tables_of(name))

    def waits(self, pid, number, _locked):
        """Returns true if the tool waits for the server, and at least `number` sessions for a lock."""
        return is_in_call(pid, POLLS) and int(self.run(
            "SELECT count(DISTINCT pid) FROM pg_locks WHERE NOT granted;")) >= number

    def stop_server(self):
        server.stop_server(self.directory)

    def start_server(self):
        server.start_server(self.directory)

    def _rows_of(self, select, options=""):
        return rows_in(self.run(f"COPY ({select}) TO STDOUT {options};"))


def rows_in(output):
    """Parses the output of COPY."""
    return [tuple(map(field, line.split(b"\t"))) for line in output.split(b"\n")[:-1]]


def with_header(rows):
    return [column.decode() for column in rows[0]], rows[1:]


def literal(value):
    """Returns a value as an SQL literal, in which backslashes have no special meaning."""
    if value is None:
        return b"NULL"
    if isinstance(value, bytes):
        return b"'" + value.replace(b"'", b"''") + b"'"
    return str(value).encode()


def field(text):
    """Decodes a field of COPY's text format."""
    if text == b"\\N":
        return None
    return re.sub(rb"\\(.)", lambda m: ESCAPES.get(m[1], m[1]), text, flags=re.DOTALL)


class Lock:
    """Locks on tables, held by another session on the server."""

    def __init__(self, engine, tables, mode):
        self.session = subprocess.Popen(engine.psql, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                        stderr=subprocess.DEVNULL, env=server.without_pg_variables())
        self.session.stdin.write(f"BEGIN; LOCK TABLE {', '.join(tables)} IN {mode} MODE;\n"
                                 "SELECT 'held';\n".encode())
        self.session.stdin.flush()
        if self.session.stdout.readline() != b"held\n":
            raise CaseError("can't take the lock")

    def write(self, sql):
        self.session.stdin.write(f"{sql};\nSELECT 'written';\n".encode())
        self.session.stdin.flush()
        if self.session.stdout.readline() != b"written\n":
            raise CaseError("can't write within the lock")

    def release(self):
        """Releases the lock; when this returns, another session can have it."""
        try:
            self.session.communicate(b"COMMIT;\n")
        except BrokenPipeError:  # the server was stopped
            self.session.wait()


class CommitWatch:
    """Counts the transactions that wrote to tables, by logical decoding of the server's log."""

    SLOT = "commit_watch"
    CHANGE = re.compile(rb"^table (\S+)\.(\S+): (?:INSERT|UPDATE|DELETE|TRUNCATE):")

    def __init__(self, engine, tables):
        self.engine, self.tables = engine, {table.encode() for table in tables}
        engine.run(f"SELECT pg_create_logical_replication_slot('{self.SLOT}', 'test_decoding');")

    def count(self):
        changes = self.engine.run("SELECT data FROM pg_logical_slot_get_changes("
                                  f"'{self.SLOT}', NULL, NULL, 'include-xids', 'off');")
        transactions, touched = 0, False
        for line in changes.split(b"\n"):
            if line == b"BEGIN":
                touched = False
            elif line == b"COMMIT":
                transactions += touched
            else:
                change = self.CHANGE.match(line)
                touched |= bool(change) and change[1] == self.engine.schema.encode() \
                    and change[2] in self.tables
        return transactions

    def close(self):
        self.engine.run(f"SELECT pg_drop_replication_slot('{self.SLOT}');")
