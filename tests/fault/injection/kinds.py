"""The kinds of recorder, by name."""

from injection.backups import BackupRecorder, DamagedRecorder, RestoreRecorder
from injection.recorder import SqliteRecorder
from injection.served import ServedRecorder

RECORDERS = {kind.name: kind for kind in (SqliteRecorder, ServedRecorder, BackupRecorder,
                                           RestoreRecorder, DamagedRecorder)}
