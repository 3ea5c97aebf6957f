"""The files of a recorder, as a listing that two moments can be compared by."""

import hashlib
import os
import stat

from runner.text import shown

# Written by every run, and checked by what they hold rather than byte for byte.
LIVING = (b"var/log", b"var/db/reindex.lock", b"var/db/numbers")


def listing(root):
    """Path (bytes, relative) to a dict of what the entry is."""
    entries = {}
    _list(root, b"", entries)
    return entries


def _list(root, prefix, entries):
    for name in sorted(os.listdir(os.path.join(root, prefix))):
        path = os.path.join(prefix, name) if prefix else name
        if path in LIVING or name.endswith((b".db-wal", b".db-shm")):
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


def describe_living(full):
    """Of an entry that the listing passes over."""
    st = os.lstat(full)
    return {"type": _type(st.st_mode), "mode": f"{stat.S_IMODE(st.st_mode):04o}",
            "uid": st.st_uid, "size": st.st_size}


def _type(mode):
    kinds = {stat.S_IFREG: "file", stat.S_IFDIR: "folder", stat.S_IFLNK: "link",
             stat.S_IFIFO: "fifo", stat.S_IFSOCK: "socket"}
    return kinds.get(stat.S_IFMT(mode), "other")


def _open(full):
    """Without touching the access time, which a snapshot's row is made of."""
    return os.fdopen(os.open(full, os.O_RDONLY | os.O_NOATIME | os.O_NOFOLLOW), "rb")


def _is_sqlite(full):
    with _open(full) as file:
        return file.read(15) == b"SQLite format 3"


def _content(full, st):
    with _open(full) as file:
        if st.st_blocks * 512 < st.st_size // 2:  # sparse: gigabytes of nothing
            return "sparse " + hashlib.sha256(file.read(65536)).hexdigest()[:16]
        return hashlib.sha256(file.read()).hexdigest()[:16]


def without_folder_times(entries):
    """A run that adds or removes entries changes the time of the folder that they are in."""
    return {path: {key: value for key, value in entry.items()
                   if key != "mtime" or entry["type"] != "folder"}
            for path, entry in entries.items()}
