"""The working folder of a benchmark: its media, trees and recorders."""

import contextlib
import shutil

from benchlib.recorder import Engines, Recorder
from benchlib.tree import Media, Tree


class Workshop:
    """Creates each tree once, and a recorder for each case. Without `durable` the PostgreSQL server flushes nothing,
    which is only for runs whose times are not used."""

    def __init__(self, work, programs, cameras, durable=True):
        self.work, self.programs, self.cameras = work, programs, cameras
        self.distinct = False
        self.media = Media(work)
        self._trees = {}
        self._engines = Engines(durable)
        self._numbers = iter(range(1, 1_000_000))

    def __enter__(self):
        return self

    def __exit__(self, *_):
        with self._engines:
            pass

    def folder(self, name):
        folder = self.work / f"{name}{next(self._numbers)}"
        folder.mkdir()
        return folder

    def tree(self, kind, files, cameras=None):
        key = (kind, files, cameras or self.cameras, self.distinct)
        if key not in self._trees:
            root = self.folder("tree")
            self._trees[key] = Tree(root, self.media, kind, key[2], files, self.distinct)
        return self._trees[key]

    @contextlib.contextmanager
    def recorder(self, engine):
        folder = self.folder("recorder")
        recorder = Recorder(folder, self.programs, engine, self._engines)
        try:
            yield recorder
        finally:
            recorder.store.remove()
            shutil.rmtree(folder)
