"""damage.py WORK: moves a recording, truncates another one, and changes a byte of a third without a trace in
its size or time, as a failing disk would. Prints a line for each. Ends when the files are older than the
second in which it changed them: until then a check would treat them as being written."""

import os
import sys
import time

from drift import in_folder
from layout import CAMERAS, Recorder

FRONT, YARD, GATE = CAMERAS


def move(storage):
    old = in_folder(storage, "20261120PM")[0]
    new = old.replace("PM/", "AM/")
    os.rename(os.path.join(storage, old), os.path.join(storage, new))
    return os.path.join(storage, new)


def truncate(storage):
    path = os.path.join(storage, in_folder(storage, "20261120PM")[0])
    os.truncate(path, os.path.getsize(path) // 2)
    return path


def rot(storage):
    path = os.path.join(storage, in_folder(storage, "20261120PM")[0])
    status = os.stat(path)
    with open(path, "r+b") as file:
        file.seek(status.st_size // 2)
        byte = file.read(1)[0]
        file.seek(status.st_size // 2)
        file.write(bytes([byte ^ 1]))
    os.utime(path, ns=(status.st_atime_ns, status.st_mtime_ns))
    return path


def main():
    recorder = Recorder(sys.argv[1])
    front, yard, gate = (recorder.storage(camera) for camera in (FRONT, YARD, GATE))
    changed = [move(front), truncate(yard), rot(gate)]
    print("  Front: 1 recording moved to another half-day folder\n"
          "  Yard:  1 recording truncated\n"
          "  Gate:  1 bit of a recording flipped; size and modification time are the same")
    latest = max(int(os.stat(path).st_ctime) for path in changed)
    while int(time.time()) <= latest:
        time.sleep(0.05)


if __name__ == "__main__":
    main()
