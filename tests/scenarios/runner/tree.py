"""Listings of a recorder's files, for comparison before and after a run."""

import hashlib
import os
import stat

from runner.text import shown

# Files that every run writes. They are not compared byte by byte; `check` in a `then` examines them.
UNLISTED = (b"var/log", b"var/db/reindex.lock", b"var/db/numbers")


def listing(root):
    """Returns a dict of properties for each path (bytes, relative to the root)."""
    entries = {}
    _list(root, b"", entries)
    return entries


def _list(root, prefix, entries):
    for name in sorted(os.listdir(os.path.join(root, prefix))):
        path = os.path.join(prefix, name) if prefix else name
        if path in UNLISTED or name.endswith((b".db-wal", b".db-shm")):
            continue
        full = os.path.join(root, path)
        entries[path] = _describe(full, path)
        if entries[path]["type"] == "folder":
            _list(root, path, entries)


def _describe(full, path):
    st = os.lstat(full)
    entry = {"type": _type(st.st_mode), "mode": f"{stat.S_IMODE(st.st_mode):04o}",
             "uid": st.st_uid}
    if entry["type"] == "link":
        entry["to"] = shown(os.readlink(full))
    if entry["type"] == "file" and not _is_sqlite(full):
        entry.update(size=st.st_size, mtime=st.st_mtime_ns, content=_content(full, st))
    elif entry["type"] == "folder" and not path.startswith(b"var/db") and path != b"var":
        entry["mtime"] = st.st_mtime_ns
    return entry


def describe_unlisted(full):
    """Describes an entry that listings leave out."""
    st = os.lstat(full)
    return {"type": _type(st.st_mode), "mode": f"{stat.S_IMODE(st.st_mode):04o}",
            "uid": st.st_uid, "size": st.st_size}


def _type(mode):
    kinds = {stat.S_IFREG: "file", stat.S_IFDIR: "folder", stat.S_IFLNK: "link",
             stat.S_IFIFO: "fifo", stat.S_IFSOCK: "socket"}
    return kinds.get(stat.S_IFMT(mode), "other")


def _open(full):
    """Opens a file without changing its access time, which affects a snapshot's row."""
    return os.fdopen(os.open(full, os.O_RDONLY | os.O_NOATIME | os.O_NOFOLLOW), "rb")


def _is_sqlite(full):
    with _open(full) as file:
        return file.read(15) == b"SQLite format 3"


def _content(full, st):
    with _open(full) as file:
        if st.st_blocks * 512 < st.st_size // 2:  # sparse, possibly gigabytes of zeros
            return "sparse " + hashlib.sha256(file.read(65536)).hexdigest()[:16]
        return hashlib.sha256(file.read()).hexdigest()[:16]


def without_folder_times(entries):
    """Removes the times of folders, which change when a run adds or removes entries in them."""
    return {path: {key: value for key, value in entry.items()
                   if key != "mtime" or entry["type"] != "folder"}
            for path, entry in entries.items()}
