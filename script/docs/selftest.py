"""Tests the checks on documents with faults. Each fault must be found."""

import os
import shutil
import tempfile

from docs.checks import findings
from docs.project import Project

OPERATIONS = "docs/operations.md"
KRCTL, KRINDEXER, TOML = (f"packaging/man/{page}" for page in ("krctl.8", "krindexer.8", "kestora.toml.5"))
COMPLETION = "packaging/completion/krctl"

# (document, text to replace, its replacement, the finding). None to replace: the text is added at the end.
FAULTS = [
    (OPERATIONS, None, "See `recorder/camera/valume.cpp`.", "recorder/camera/valume.cpp does not exist"),
    (OPERATIONS, None, "See `tests/scenarios/KIND/CAZE/givn`.", "givn does not exist"),
    (OPERATIONS, None, "See `valume.cpp`.", "no file is called valume.cpp"),
    (OPERATIONS, None, "See [there](nowhere.md).", "the link nowhere.md leads nowhere"),
    (OPERATIONS, None, "```\nscript/tset --faults\n```", "script/tset does not exist"),
    (OPERATIONS, None, "Proven by `TrustTest.NobodyElse`.", "no such test: TrustTest.NobodyElse"),
    (OPERATIONS, None, "Type `krctl inti`.", "krctl has no command inti"),
    (OPERATIONS, None, "Type `sudo -u kestora krctl volume\ncheck`.", "krctl volume has no command check"),
    (OPERATIONS, None, "```\n$ krctl undo 17 --cam 3\n```", "krctl undo has no option --cam"),
    (OPERATIONS, None, "Type `krctl init --kind emap`.", "krctl init has no option --kind"),
    (OPERATIONS, None, "Type `krindexer -e -x`.", "krindexer has no option -x"),
    (OPERATIONS, None, "Add `--no-such-thing`.", "no program or script has an option --no-such-thing"),
    (OPERATIONS, None, "See `ledger.keep_dais`.", "no such setting: ledger.keep_dais"),
    (OPERATIONS, None, "```toml\n[log]\nsize = 3\n```", "no such setting: log.size"),
    (OPERATIONS, None, "```toml\n[lock]\n```", "no such setting: lock."),
    (OPERATIONS, "connect_timeout_s =", "conect_timeout_s =", "no such setting: database.conect_timeout_s"),
    (KRCTL, ".Ic krctl run\n", ".Ic krctl rum\n", "krctl has no command rum"),
    (KRCTL, "krctl camera add --id 1", "krctl camera add --ip 1", "krctl camera add has no option --ip"),
    (KRCTL, ".Ss krctl init\n", "", "init of krctl is missing"),
    (KRCTL, ".Ss krctl init\n", ".Ss krctl init\n.Bl -tag\n.It Fl -force\n.El\n", "krctl init has no --force"),
    (KRCTL, ".It Fl -kind Ar KIND\n", "", "--kind of krctl plan is missing"),
    (KRCTL, ".It Ar RUN\n", "", "RUN of krctl runs is missing"),
    (KRCTL, ".Ss krctl volume list\n", ".Ss krctl volume lizt\n", "krctl has no volume lizt"),
    (KRCTL, ".Xr kestora.toml 5", ".Xr kestora.conf 5", "no such manual page: kestora.conf.5"),
    (KRINDEXER, ".It Fl o\n", "", "-o of krindexer is missing"),
    (KRINDEXER, ".It Fl o\n", ".It Fl q\n", "krindexer has no -q"),
    (COMPLETION, "--camera --kind", "--camera", "differs from what script/completion writes"),
    ("packaging/completion/_krctl", "--kind=", "--kin=", "differs from what script/completion writes"),
    ("packaging/completion/krctl.fish", "-l 'kind'", "-l 'kin'", "differs from what script/completion writes"),
    (TOML, ".It Va keep_days\n", ".It Va keep_dais\n", "ledger.keep_days of the settings is missing"),
    (TOML, ".It Va keep_days\n", ".It Va keep_dais\n", "the settings has no ledger.keep_dais"),
    (TOML, "level = 7 }", "lewel = 7 }", "no such setting: debug_log.processes.lewel"),
    (TOML, 'dsn = "', 'dsn =\n"', "not valid TOML"),
    (TOML, "1 to 36500", "1 to 3650", "ledger.keep_days: expected the range 1 to 36500"),
    (TOML, "default 90", "default 60", "ledger.keep_days: expected the default 90"),
    ("docs/json/selftest.schema.json", None, '{"$schema": "https://json-schema.org/draft/2020-12/schema", '
     '"type": "nonsense"}', "is not a JSON schema"),
    ("docs/json/selftest.schema.json", None, '{"type": ', "is not a JSON schema"),
    ("docs/json/selftest.schema.json", None, "{}", "has no $schema"),
]


def _copy(project, folder):
    for name in project.files:
        os.makedirs(os.path.dirname(os.path.join(folder, name)), exist_ok=True)
        shutil.copy(project.path(name), os.path.join(folder, name))


def _spoil(path, old, new):
    """Changes a text in a file, or adds one at the end; returns the former content."""
    before = None
    if os.path.exists(path):
        with open(path, encoding="utf-8") as file:
            before = file.read()
    if old is not None and old not in before:
        raise SystemExit(f"check-docs: selftest: {path} has no {old!r}")
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "w", encoding="utf-8") as file:
        file.write(before.replace(old, new, 1) if old is not None else f"{before or ''}\n{new}\n")
    return before


def run(project):
    """Returns a line for each fault that was not found."""
    unseen = []
    with tempfile.TemporaryDirectory(prefix="kestora-docs-") as folder:
        _copy(project, folder)
        as_it_is = set(findings(Project(folder, project.krctl, project.files)))
        for name, old, new, expected in FAULTS:
            path = os.path.join(folder, name)
            before = _spoil(path, old, new)
            found = set(findings(Project(folder, project.krctl, project.files | {name}))) - as_it_is
            if not any(expected in line for line in found):
                unseen.append(f"check-docs: selftest: {name} with {new!r}: expected {expected!r}, "
                              f"found {sorted(found)}")
            if before is None:
                os.remove(path)
            else:
                with open(path, "w", encoding="utf-8") as file:
                    file.write(before)
    return unseen
