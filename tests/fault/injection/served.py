"""A recorder with its rows on a PostgreSQL server, and a broker for its messages."""

import json
import os
import subprocess

import server
from injection import calls
from injection.recorder import SETTINGS_FOLDER, Recorder, recordings_in, rows_of
from runner.database import MEDIA_TABLES
from runner.postgresql import Postgresql, field
from support.broker import Broker


SCHEMA = "kestora"
TOPIC_PREFIX = "kestora/"

# Notes the ids of all messages, because messages leave the outbox and their ids may have gaps.
JOURNAL_SQL = """
CREATE TABLE journal (id BIGINT);
CREATE FUNCTION enter() RETURNS trigger LANGUAGE plpgsql AS $$
BEGIN
    INSERT INTO journal VALUES (NEW.id);
    RETURN NULL;
END
$$;
CREATE TRIGGER journal AFTER INSERT ON outbox FOR EACH ROW EXECUTE FUNCTION enter();
"""

# The session of a killed client ends only when the server notices.
OTHERS_SQL = """
FROM pg_stat_activity WHERE datname = current_database() AND backend_type = 'client backend'
                        AND pid <> pg_backend_pid()"""
ALONE_SQL = f"""
SET statement_timeout TO '60s';
DO $$ BEGIN
    WHILE EXISTS (SELECT 1 {OTHERS_SQL}) LOOP
        PERFORM pg_sleep(0.002);
        PERFORM pg_stat_clear_snapshot();
    END LOOP;
END $$;
"""

TRUNCATE_SQL = """
DO $$ BEGIN
    EXECUTE (SELECT 'TRUNCATE ' || string_agg(format('%I.%I', schemaname, tablename), ', ')
             FROM pg_tables WHERE schemaname = current_schema());
END $$;
"""

READ_TABLES = (*MEDIA_TABLES, "task", "outbox", "removed", "journal")
TABLE_MARK = "table: "  # a row never begins so: its first column is a number


class ServedRecorder(Recorder):
    """A recorder with its own database on PostgreSQL, and with its own broker."""

    name, title = "served", "PostgreSQL, and a broker"
    tried = ("write", "sendto", "recvfrom")
    on_server = True

    def __init__(self, bin_dir, media, scratch, address):
        super().__init__(bin_dir, media, scratch)
        self.scratch, self.address = scratch, address
        self.engine = Postgresql(address, SCHEMA)
        self.broker, self.dump, self.delivered = None, b"", []

    def make(self):
        self.broker = Broker(self.scratch)
        self.build(self.engine)
        with open(SETTINGS_FOLDER + "/kestora.toml", "a", encoding="utf-8") as file:
            # [database] is the last section of the file. If sending fails while libpq connects, there is no
            # session yet that could be ended. The time-out ends the attempt.
            file.write("connect_timeout_s = 2\n"
                       f'[notifications]\nhost = "127.0.0.1"\nport = {self.broker.port}\n')
        self.engine.run(JOURNAL_SQL)
        self.dump = subprocess.run(
            [os.path.join(server.bin_dir(), "pg_dump"), "-d", self.address, "--schema", SCHEMA,
             "--data-only"],
            env=server.without_pg_variables(), stdout=subprocess.PIPE, check=True).stdout
        self.keep()

    def what_follows(self, point):
        """Ends the server's session after a failed send, as if the connection were broken. libpq relies on
        that: it does not report that sending failed, and waits for the answer."""
        if point["call"] != "sendto" or point["fault"] in (calls.KILL, calls.INTERRUPTED):
            return None
        return lambda: self.engine.run(f"SELECT pg_terminate_backend(pid) {OTHERS_SQL};")

    def end(self):
        if self.broker:
            self.broker.end()

    def restore(self):
        super().restore()
        self.engine.run(ALONE_SQL.encode() + TRUNCATE_SQL.encode() + self.dump)
        self.broker.messages()
        self.delivered = []

    def rows(self):
        """Returns the same as SqliteRecorder.rows, with the messages that the subscriber has received since
        the recorder was restored."""
        tables = Tables(self.engine)
        self.delivered += [(topic.removeprefix(TOPIC_PREFIX), message)
                           for topic, _, message in self.broker.messages()]
        return {**{table: rows_of(tables, table) for table in MEDIA_TABLES},
                "task": [(int(registered), int(done))
                         for registered, done in tables.select("task", ["registered", "done"])],
                "announced": recordings_in(_distinct(self.delivered)),
                "removed": [(kind.decode(), int(number))
                            for kind, number in tables.select("removed", ["kind", "row_id"])],
                "messages": [int(number) for number, in tables.select("journal", ["id"])],
                "queued": [int(number) for number, in tables.select("outbox", ["id"])],
                "delivered": [message["id"] for _, message in self.delivered]}


def _distinct(delivered):
    """Returns the topic and the body of each message, without repetitions."""
    seen = dict.fromkeys((message["id"], topic.encode(), json.dumps(message["body"]))
                         for topic, message in delivered)
    return [(topic, body) for _, topic, body in seen]


class Tables:
    """The tables at one moment, read in one transaction."""

    def __init__(self, engine):
        script = "BEGIN ISOLATION LEVEL REPEATABLE READ;\n" + "".join(
            f"\\echo {TABLE_MARK}{table}\n"
            f"COPY (SELECT * FROM {table}) TO STDOUT WITH (HEADER);\n" for table in READ_TABLES)
        self.tables = {}
        for line in engine.run(ALONE_SQL + script).split(b"\n")[:-1]:
            if line.startswith(TABLE_MARK.encode()):
                table = self.tables.setdefault(line.removeprefix(TABLE_MARK.encode()).decode(), [])
            else:
                table.append(tuple(map(field, line.split(b"\t"))))

    def dump(self, table):
        """Returns the columns and the rows of a table."""
        columns, *rows = self.tables[table]
        return [column.decode() for column in columns], rows

    def select(self, table, columns):
        names, rows = self.dump(table)
        at = [names.index(column) for column in columns]
        return [tuple(row[number] for number in at) for row in rows]
