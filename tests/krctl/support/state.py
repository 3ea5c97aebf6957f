"""The complete state of a folder, to show that a program left it unchanged."""

import hashlib
import os
import stat


def state_of(root):
    """Returns contents, owners, modes, links, attributes and times of a folder by path, without
    access times."""
    return {path: _state(path) for path in _paths(os.fsencode(root))}


def differences(before, after):
    """Returns a text about the differences; empty if there are none."""
    return [f"{os.fsdecode(path)}: {before.get(path)} became {after.get(path)}"
            for path in sorted(before.keys() | after.keys()) if before.get(path) != after.get(path)]


def _paths(root):
    yield root
    for folder, folders, files in os.walk(root):
        for name in folders + files:
            yield os.path.join(folder, name)


def _state(path):
    status = os.lstat(path)
    attributes = {name: os.getxattr(path, name, follow_symlinks=False)
                  for name in os.listxattr(path, follow_symlinks=False)}
    return {
        "content": _content(path, status.st_mode), "number": status.st_ino,
        "mode": status.st_mode, "owner": (status.st_uid, status.st_gid), "links": status.st_nlink,
        "size": status.st_size, "modified": status.st_mtime_ns, "changed": status.st_ctime_ns,
        "attributes": attributes,
    }


def _content(path, mode):
    if stat.S_ISLNK(mode):
        return os.readlink(path)
    if stat.S_ISREG(mode):
        with open(path, "rb") as file:
            return hashlib.sha256(file.read()).hexdigest()
    return None
