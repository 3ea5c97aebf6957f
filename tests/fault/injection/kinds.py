"""The kinds of recorder that there are."""

from injection.recorder import SqliteRecorder
from injection.served import ServedRecorder

RECORDERS = {kind.name: kind for kind in (SqliteRecorder, ServedRecorder)}
