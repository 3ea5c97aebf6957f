"""The differences that a clean run can't repair by the tool's rules, and how they are recognised.

The rules of the tool are fixed. Each function recognises one difference from the undisturbed result that
a failed call may leave, by the failed calls and by the log. No difference is excused after a killed run,
and no removed row of an existing recording ever is. The recorder repeats interrupted calls, so after these
only the first two rules apply.
"""

import re

EMAPS = "/target/@KREmap"
SNAPSHOTS = "/var/snapshot"
THUMBNAILS = SNAPSHOTS + "/@Thumbnail/"

INTERRUPTED = " EINTR "

THUMBNAILS_MODULE = "/kestora-thumbnails.so"

PICTURE_WITHOUT_THUMBNAIL = re.compile(r"Failed to create thumbnail for snapshot \[.*/([^/\]]+)\]")
RECORDING_WITHOUT_INFO = re.compile(
    r"Failed to get rec info of event \[[^\]]*/(\d{8}[AP]M/[^/\]]+)\]")


def may_vanish(failed, table):
    """Returns true if one of the failed calls may remove rows of this table in the faulty run.

    If the folder of snapshots or e-maps can't be listed, or the status of a file can't be read, the tool
    treats the files as missing and deletes their rows with its own statement. The next run adds the rows of
    snapshots again. It never adds rows of e-maps.
    """
    folder = {"emap": EMAPS, "snapshot": SNAPSHOTS}.get(table)
    return folder is not None and any(folder in call and THUMBNAILS not in call for call in failed)


def excuse(difference, failed, log, vanished):
    """Returns the name of the rule that excuses a difference after the clean run; None if none does."""
    sign, where, text = difference
    for rule in (_emap_row_is_missing, _thumbnail_is_missing, _thumbnail_is_made,
                 _recording_has_no_length):
        if rule(sign, where, text, failed, log, vanished):
            return rule.__name__.strip("_").replace("_", " ")
    return None


def _is_interruption(failed):
    return any(INTERRUPTED in call for call in failed)


def _emap_row_is_missing(sign, where, text, failed, _log, vanished):
    """See may_vanish."""
    return sign == "-" and where == "emap" and may_vanish(failed, where) and text in vanished[where]


def _thumbnail_is_missing(sign, where, text, failed, log, _vanished):
    """Thumbnails are created together with the row. If that failed, or if their existence could not be
    determined, the row is still written, and later runs don't try again. The first thumbnail creates their
    folder."""
    path, without = "/" + text.split(" {")[0], PICTURE_WITHOUT_THUMBNAIL.findall(log)
    if sign != "-" or where != "file" or _is_interruption(failed):
        return False
    if path + "/" == THUMBNAILS:
        return bool(without) or _hinder_all_thumbnails(failed)
    name = path.removeprefix(THUMBNAILS)
    return name != path and (name in without or _hinder_all_thumbnails(failed)
                             or any(f'{THUMBNAILS}{name}"' in call for call in failed))


def _hinder_all_thumbnails(failed):
    """Returns true if calls fail permanently on the thumbnail folder, on a temporary file in it, or on the
    module that creates thumbnails. The log, which would name the picture, may fail as well."""
    return len(failed) > 1 and any(THUMBNAILS.rstrip("/") in call or THUMBNAILS_MODULE in call
                                   for call in failed)


def _thumbnail_is_made(sign, where, text, _failed, _log, vanished):
    """A snapshot whose row was removed is new to the next run, which creates its thumbnail."""
    if sign != "+" or where != "file" or THUMBNAILS not in "/" + text:
        return False
    name = text.rsplit("/", 1)[1].split(" ")[0]
    return any(row.startswith(name + " |") for row in vanished["snapshot"])


def _recording_has_no_length(_sign, where, text, failed, log, vanished):
    """A recording that can't be read still gets a row, from its name and status. A recording that has a
    row is not read again. The row must have the start time."""
    if where not in ("event", "alert_event") or vanished[where] or _is_interruption(failed):
        return False
    return any(re.match(rf"0 \| \d \| {re.escape(path)} \| {path[-14:-4]} \| ", text)
               for path in RECORDING_WITHOUT_INFO.findall(log))
