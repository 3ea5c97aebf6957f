"""What a clean run can't mend, as the tool's rules are, and how exactly it is recognised.

The rules are the tool's own and fixed. Each function says which differences from the undisturbed
outcome a fault may leave, judged by the very calls that failed and by what the tool logged. A killed
run has no such excuse, the rows of recordings that a recorder had are never among them, and what the
recorder does for the tool goes on after an interrupted call.
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
    """Whether one of the failed calls costs rows of this table during the faulty run.

    A picture or image that can't be seen, because its folder can't be listed or because its status
    can't be read, is gone as far as the tool knows, and it deletes these rows by a statement of its
    own. The rows of snapshots come back with the next run. Those of e-maps don't: the tool never
    adds any.
    """
    folder = {"emap": EMAPS, "snapshot": SNAPSHOTS}.get(table)
    return folder is not None and any(folder in call and THUMBNAILS not in call for call in failed)


def excuse(difference, failed, log, vanished):
    """The rule by which a difference stays after the clean run; None if there is none."""
    sign, where, text = difference
    for rule in (_emap_row_is_lost, _thumbnail_is_missing, _thumbnail_is_made,
                 _recording_has_no_length):
        if rule(sign, where, text, failed, log, vanished):
            return rule.__name__.strip("_").replace("_", " ")
    return None


def _is_interruption(failed):
    return any(INTERRUPTED in call for call in failed)


def _emap_row_is_lost(sign, where, text, failed, _log, vanished):
    """See may_vanish."""
    return sign == "-" and where == "emap" and may_vanish(failed, where) and text in vanished[where]


def _thumbnail_is_missing(sign, where, text, failed, log, _vanished):
    """Thumbnails are made along with the row. Where that failed, or where it couldn't be told
    whether there is one, the row is written all the same, and nobody asks again. Their folder is made
    with the first one."""
    path, without = "/" + text.split(" {")[0], PICTURE_WITHOUT_THUMBNAIL.findall(log)
    if sign != "-" or where != "file" or _is_interruption(failed):
        return False
    if path + "/" == THUMBNAILS:
        return bool(without) or _hinder_all_thumbnails(failed)
    name = path.removeprefix(THUMBNAILS)
    return name != path and (name in without or _hinder_all_thumbnails(failed)
                             or any(f'{THUMBNAILS}{name}"' in call for call in failed))


def _hinder_all_thumbnails(failed):
    """Whether calls fail for good on their folder, on what is in it under a temporary name, or on the
    module that makes them. The log, which would name the picture, may be out of reach as well."""
    return len(failed) > 1 and any(THUMBNAILS.rstrip("/") in call or THUMBNAILS_MODULE in call
                                   for call in failed)


def _thumbnail_is_made(sign, where, text, _failed, _log, vanished):
    """A snapshot whose row vanished is new to the next run, which makes its thumbnail."""
    if sign != "+" or where != "file" or THUMBNAILS not in "/" + text:
        return False
    name = text.rsplit("/", 1)[1].split(" ")[0]
    return any(row.startswith(name + " |") for row in vanished["snapshot"])


def _recording_has_no_length(_sign, where, text, failed, log, vanished):
    """A recording that can't be read gets a row all the same, from what its name and status tell;
    a recording that has a row is not read again. The row still says when it began."""
    if where not in ("event", "alert_event") or vanished[where] or _is_interruption(failed):
        return False
    return any(re.match(rf"0 \| \d \| {re.escape(path)} \| {path[-14:-4]} \| ", text)
               for path in RECORDING_WITHOUT_INFO.findall(log))
