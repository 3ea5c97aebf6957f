"""script/sandbox and script/own-mounts: their effects, and their messages if they fail."""

import os
import subprocess
import tempfile
import unittest

ROOT = os.path.realpath(os.path.join(os.path.dirname(os.path.abspath(__file__)), "../.."))
SANDBOX = os.path.join(ROOT, "script/sandbox")
UNAVAILABLE = 69
DEADLINE_S = 60

# Rights over a mount namespace whose mounts are visible in the namespaces from which it was copied.
SHARED_MOUNTS = ["unshare", *([] if os.geteuid() == 0 else ["--user", "--map-root-user"]),
                 "--mount", "--propagation", "shared"]

# A root folder that is not a mount point; $1: the folder, $2: the project. Prints the mounts before and after
# the sandbox.
IN_A_CHROOT = """
set -eu
mkdir "$1"/usr "$1"/proc "$1"/dev "$1"/mnt "$1"/var "$1"/var/lib "$1"/tmp "$1"/recorder "$1"/project
for link in bin sbin lib lib64; do cp -P "/$link" "$1/"; done
echo kept >"$1/recorder/file"
mount --rbind /usr "$1/usr"
mount --rbind /proc "$1/proc"
mount --rbind /dev "$1/dev"
mount --rbind "$2" "$1/project"
wc -l </proc/self/mountinfo
"$(PATH=$PATH:/usr/sbin command -v chroot)" "$1" /project/script/sandbox /recorder sh -c '
    cat /var/packages/Kestora/file
    ls /var/lib /var | tr "\\n" " "
    echo
    mount -t tmpfs inside /mnt'
wc -l </proc/self/mountinfo
"""


def run(*command):
    return subprocess.run(command, stdin=subprocess.DEVNULL, capture_output=True, text=True, check=False,
                          timeout=DEADLINE_S)


class SandboxTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="kestora-script-")
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def test_a_folder_appears_as_the_package_root_to_the_command_alone(self):
        seen = run(SANDBOX, self.folder, "sh", "-c", "echo text >/var/packages/Kestora/file; exit 7")
        self.assertEqual((seen.returncode, seen.stdout, seen.stderr), (7, "", ""))
        with open(os.path.join(self.folder, "file"), encoding="utf-8") as file:
            self.assertEqual(file.read(), "text\n")

    def test_the_folder_may_have_any_name(self):
        for name in ("a b", "tab\there", "line\nbreak", "back\\slash", "\\040", "#", "café", "n" * 255):
            folder = os.path.join(self.folder, name)
            os.mkdir(folder)
            seen = run(SANDBOX, folder, "sh", "-c", "echo text >/var/packages/Kestora/file")
            self.assertEqual((seen.returncode, seen.stdout, seen.stderr), (0, "", ""))
            self.assertEqual(os.listdir(folder), ["file"])

    def test_the_check_succeeds_where_it_is_possible_and_leaves_no_file(self):
        checked = run("env", f"TMPDIR={self.folder}", SANDBOX, "--check")
        self.assertEqual((checked.returncode, checked.stdout, checked.stderr), (0, "", ""))
        self.assertEqual(os.listdir(self.folder), [])

    @unittest.skipIf(not os.path.islink("/bin"), "the chroot is made for a merged /usr")
    def test_it_works_in_a_chroot_and_mounts_nothing_outside(self):
        done = run(*SHARED_MOUNTS, "sh", "-c", IN_A_CHROOT, "sh", self.folder, ROOT)
        self.assertEqual(done.returncode, 0, done.stderr)
        before, text, folders, after = done.stdout.splitlines()
        self.assertEqual((text, folders.split()), ("kept", ["/var:", "lib", "packages", "/var/lib:"]))
        self.assertEqual(before, after)

    def test_a_refusal_of_the_kernel_is_shown_in_one_line(self):
        refuse = ("echo 0 >/proc/sys/user/max_user_namespaces;"
                  "exec setpriv --bounding-set=-all --inh-caps=-all \"$@\"")
        for options in (["--check"], [self.folder, "true"]):
            refused = run("unshare", "--user", "--map-root-user", "sh", "-c", refuse, "sh", SANDBOX, *options)
            self.assertEqual((refused.returncode, refused.stdout), (UNAVAILABLE, ""))
            self.assertEqual(len(refused.stderr.splitlines()), 1, refused.stderr)
            self.assertIn("unshare failed: Operation not permitted", refused.stderr)
            self.assertIn("unshare failed: No space left on device", refused.stderr)
            self.assertNotIn("try as root", refused.stderr)


if __name__ == "__main__":
    unittest.main()
