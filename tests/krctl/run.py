#!/usr/bin/env python3
"""Runs tests of krctl: run.py BIN_DIR MEDIA_DIR MODULE [TEST...].

BIN_DIR holds krctl and krindexer; the media are made in MEDIA_DIR where they aren't there yet.
"""

import os
import sys
import unittest

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, HERE)

from support.recorder import Recorder  # noqa: E402 (the path above comes first)
from runner import media  # noqa: E402


def main():
    if len(sys.argv) < 4:
        sys.exit(__doc__)
    Recorder.bin_dir, Recorder.media_dir = (os.path.abspath(each) for each in sys.argv[1:3])
    media.make_all(Recorder.media_dir)
    unittest.main(module=sys.argv[3], argv=[sys.argv[0], *sys.argv[4:]], verbosity=2)


if __name__ == "__main__":
    main()
