"""script/install-packages, in a separate root folder, with a scripted apt."""

import os
import subprocess
import tempfile
import unittest

ROOT = os.path.realpath(os.path.join(os.path.dirname(os.path.abspath(__file__)), "../.."))
MOUNTS = os.path.join(ROOT, "script/own-mounts")
DEADLINE_S = 60

# $1: the root; $2: the project. Debian's own files are visible there; /etc, /var and /usr/sbin are empty.
ENTER_ROOT = """
set -eu
cd "$1"
for folder in usr/bin usr/lib usr/lib64 usr/share proc dev project; do mkdir -p "$folder"; done
for link in bin sbin lib lib64; do ln -sf "usr/$link" "$link"; done
for folder in usr/bin usr/lib usr/lib64 usr/share proc dev; do mount --rbind "/$folder" "$folder"; done
mount --rbind "$2" project
cp /usr/sbin/update-rc.d usr/sbin/
cp -RP /etc/alternatives etc/ # awk is a link to there
exec "$(PATH=$PATH:/usr/sbin command -v chroot)" . env -i PATH=/usr/local/bin:/usr/bin:/usr/sbin \\
    /project/script/install-packages newcomer postgresql
"""

# A scripted apt-get. Instead of running a package's scripts, it prints the state that they would find.
APT = """#!/bin/sh
case "$*" in
*' update'*) echo 'Fetched 60.0 MB in 10s (6,000 kB/s)' ;;
*--assume-no*)
    echo '0 upgraded, 2 newly installed, 0 to remove and 0 not upgraded.'
    echo 'Need to get 720 MB of archives.'
    echo 'After this operation, 2,100 MB of additional disk space will be used.'
    exit 1 ;;
*--print-uris*) echo "'http://host/a.deb' a.deb 720000000 SHA256:0" ;;
*--assume-yes*)
    echo INSTALLING
    echo "DEBIAN_FRONTEND=$DEBIAN_FRONTEND"
    for service in newcomer mine; do /usr/sbin/policy-rc.d $service start; echo "$service: $?"; done
    cat /etc/postgresql-common/createcluster.d/*
    cp /newcomer.init /etc/init.d/newcomer
    ln -s /lib/systemd/system/newcomer.service /etc/systemd/system/multi-user.target.wants/
    ln -s ../init.d/newcomer /etc/rc2.d/S01newcomer
    exit $(cat /status) ;;
esac
"""

INIT_SCRIPT = """#!/bin/sh
### BEGIN INIT INFO
# Provides:          newcomer
# Required-Start:
# Required-Stop:
# Default-Start:     2 3 4 5
# Default-Stop:      0 1 6
### END INIT INFO
"""

FOLDERS = ["etc/init.d", "etc/systemd/system/multi-user.target.wants", "usr/sbin", "usr/local/bin", "run", "tmp",
           *(f"etc/rc{level}.d" for level in (0, 1, 2, 3, 4, 5, 6, "S"))]


class InstallPackagesTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="kestora-script-")
        self.addCleanup(folder.cleanup)
        self.root = folder.name
        for name in FOLDERS:
            os.makedirs(self.path(name))
        self.write("usr/local/bin/apt-get", APT)
        self.write("newcomer.init", INIT_SCRIPT)
        self.write("etc/systemd/system/mine.service", "[Service]\n")
        self.write("status", "0")
        self.enabled = "etc/systemd/system/multi-user.target.wants"
        os.symlink("../mine.service", self.path(f"{self.enabled}/mine.service"))
        os.symlink("../init.d/mine", self.path("etc/rc2.d/S01mine"))

    def path(self, name):
        return os.path.join(self.root, name)

    def write(self, name, content):
        with open(self.path(name), "w", encoding="utf-8") as file:
            file.write(content)
        os.chmod(self.path(name), 0o755)

    def install(self):
        return subprocess.run([MOUNTS, "sh", "-c", ENTER_ROOT, "sh", self.root, ROOT], check=False, text=True,
                              stdin=subprocess.DEVNULL, capture_output=True, timeout=DEADLINE_S)

    def assert_nothing_is_left(self):
        self.assertEqual(os.listdir(self.path(self.enabled)), ["mine.service"])
        self.assertEqual([name for name in os.listdir(self.path("etc/rc2.d")) if name.startswith("S")], ["S01mine"])
        self.assertFalse(os.path.exists(self.path("usr/sbin/policy-rc.d")))
        self.assertEqual(os.listdir(self.path("run")), [])

    def test_download_disk_space_and_time_are_shown_before_the_installation(self):
        done = self.install()
        self.assertEqual(done.returncode, 0, done.stderr)
        before, _, _ = done.stdout.partition("INSTALLING")
        for words in ("2 newly installed", "Need to get 720 MB", "2,100 MB of additional disk space",
                      "about 2 min to fetch", "about 2 min to unpack"):
            self.assertIn(words, before)

    def test_no_new_service_starts_or_stays_enabled_and_no_cluster_is_made(self):
        done = self.install()
        self.assertEqual(done.returncode, 0, done.stderr)
        lines = done.stdout.partition("INSTALLING\n")[2].splitlines()
        self.assertEqual(lines[:3], ["DEBIAN_FRONTEND=noninteractive", "newcomer: 101", "mine: 0"])
        self.assertIn("create_main_cluster = false", lines)
        self.assert_nothing_is_left()
        self.assertFalse(os.path.exists(self.path("etc/postgresql-common/createcluster.d")))

    def test_a_failed_installation_leaves_no_new_service_enabled(self):
        self.write("status", "100")
        done = self.install()
        self.assertEqual(done.returncode, 1)
        self.assertIn("apt-get failed", done.stderr)
        self.assert_nothing_is_left()

    def test_an_existing_policy_of_the_machine_is_not_changed(self):
        self.write("usr/sbin/policy-rc.d", "#!/bin/sh\nexit 42\n")
        done = self.install()
        self.assertIn("newcomer: 42", done.stdout)
        with open(self.path("usr/sbin/policy-rc.d"), encoding="utf-8") as file:
            self.assertEqual(file.read(), "#!/bin/sh\nexit 42\n")

    def test_a_refusal_of_apt_is_explained_and_nothing_is_installed(self):
        for said, explained in (("E: dpkg was interrupted, you must manually run", "dpkg --configure -a"),
                                ("E: Unable to locate package newcomer", "no network?"),
                                ("E: Could not get lock /var/lib/dpkg/lock", "run this again"),
                                ("E: Packages need to be removed but remove is disabled.", "by hand")):
            with self.subTest(said=said):
                self.write("usr/local/bin/apt-get", f"#!/bin/sh\necho '{said}' >&2\nexit 100\n")
                done = self.install()
                self.assertEqual(done.returncode, 1)
                self.assertIn(said, done.stderr)
                self.assertIn(explained, done.stderr)
                self.assert_nothing_is_left()


if __name__ == "__main__":
    unittest.main()
