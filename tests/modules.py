#!/usr/bin/env python3
"""Runs tests of the shipped programs: modules.py FOLDER BIN_DIR MEDIA_DIR MODULE [TEST...].

MODULE is a module of unittest in FOLDER. BIN_DIR contains krctl and krindexer. Missing media are created in
MEDIA_DIR.
"""

import os
import sys
import unittest


def main():
    if len(sys.argv) < 5:
        sys.exit(__doc__)
    folder, bin_dir, media_dir = (os.path.abspath(each) for each in sys.argv[1:4])
    sys.path.insert(0, folder)
    from support.recorder import Recorder  # of the folder
    from runner import media  # the folder's support adds its path
    Recorder.bin_dir, Recorder.media_dir = bin_dir, media_dir
    media.make_all(media_dir)
    unittest.main(module=sys.argv[4], argv=[sys.argv[0], *sys.argv[5:]], verbosity=2)


if __name__ == "__main__":
    main()
