"""PostgreSQL for tests: one server for a module, a new database for each test."""

import unittest

import server


class ServedDatabase:
    """A database for one test, on the server of its module."""

    server = None
    count = 0

    def __init__(self):
        if ServedDatabase.server is None:
            ServedDatabase.server = server.Server()
            ServedDatabase.server.start()
            unittest.addModuleCleanup(ServedDatabase.server.stop)
        ServedDatabase.count += 1
        self.name = f"test{ServedDatabase.count}"
        self.server.psql(f"CREATE DATABASE {self.name}", database="postgres")

    @property
    def dsn(self):
        return self.server.dsn_of(self.name)

    def psql(self, *statements):
        return self.server.psql(*statements, database=self.name)
