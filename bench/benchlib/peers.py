"""Other programs that index a tree, on the same tree: minidlna, which reads every unknown film, and plocate's
updatedb, which reads only names."""

import os
import shutil
import sqlite3
import statistics
import subprocess
import time

from benchlib import measure
from benchlib.cases import CASES

FILES = 20_000
RUNS = 3
DEADLINE_S = 3600
POLL_S = 0.005
MINIDLNA_SETTINGS = """media_dir=V,{store}
db_dir={folder}
log_dir={folder}
port=18200
network_interface=lo
inotify=no
"""


def measure_all(workshop, files=None):
    """Measures krindexer and the others, first with only new files, then with nothing to do."""
    files = files or FILES
    tree = workshop.tree("small", files, cameras=1)
    peers = []
    with workshop.recorder("sqlite") as recorder:
        pair = CASES["new-small"].prepare(recorder, workshop, files)
        programs = (("krindexer", lambda: measure.run_once(recorder, pair.ours), pair.before),
                    ("minidlna", *_minidlna(recorder, tree, files)),
                    ("updatedb (plocate)", *_updatedb(recorder, tree)))
        for name, run, forget in programs:
            for state, before in (("all files are new", forget), ("nothing is new", lambda: None)):
                peers.append({"program": name, "state": state, "files": files,
                              **_median(run, before)})
    return peers


def _median(run, before):
    seconds, peaks = [], []
    for _ in range(RUNS):
        before()
        taken, peak, *_ = run()
        seconds.append(taken)
        peaks.append(peak)
    return {"seconds": statistics.median(seconds), "peak_kib": max(peaks)}


def _updatedb(recorder, tree):
    database = recorder.folder / "plocate.db"
    command = ["updatedb.plocate", "--require-visibility", "0", "--prunepaths", "", "--prunefs", "",
               "--prunenames", "", "--database-root", str(tree.stores[0]), "--output",
               str(database)]
    return (lambda: measure.run_once(recorder, command),
            lambda: database.unlink(missing_ok=True))


def _minidlna(recorder, tree, files):
    folder = recorder.folder / "minidlna"
    settings = recorder.folder / "minidlna.conf"
    settings.write_text(MINIDLNA_SETTINGS.format(store=tree.stores[0], folder=folder),
                        encoding="utf-8")

    def forget():
        shutil.rmtree(folder, ignore_errors=True)
        folder.mkdir()

    def run():
        """minidlna continues to serve after the scan; its log shows the end of the scan."""
        (folder / "minidlna.log").unlink(missing_ok=True)
        begin = time.monotonic()
        # pylint: disable-next=consider-using-with
        process = subprocess.Popen(["minidlnad", "-S", "-r", "-f", settings, "-P",
                                    recorder.folder / "minidlna.pid"],
                                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        try:
            _await_scan(folder / "minidlna.log")
            seconds = time.monotonic() - begin
        finally:
            process.terminate()
            usage = os.wait4(process.pid, 0)[2]
            process.returncode = 0
        _require_films(folder / "files.db", files)
        return seconds, usage.ru_maxrss

    return run, forget


def _await_scan(log):
    """minidlna processes playlists last, whether a file was new or not."""
    deadline = time.monotonic() + DEADLINE_S
    end = "Finished parsing playlists."
    while not log.exists() or end not in log.read_text(encoding="utf-8", errors="replace"):
        if time.monotonic() > deadline:
            raise measure.Unequal("minidlna's scan doesn't end")
        time.sleep(POLL_S)


def _require_films(database, files):
    connection = sqlite3.connect(database)
    films = connection.execute("SELECT count(*) FROM DETAILS WHERE MIME LIKE 'video/%'").fetchone()
    connection.close()
    measure.require(films[0], files, "films that minidlna knows")
