"""How the scripts install what is missing, with stand-ins for the programs that would change this machine."""

import os
import subprocess
import tempfile
import unittest
from pathlib import Path

REPOSITORY = Path(__file__).resolve().parent.parent

# Says what it was asked, and fails as often as the file "failures" has lines, with these as its reason.
APT_GET = """#!/bin/sh
echo "$*" >>"$STANDINS/asked"
[ -s "$STANDINS/failures" ] || exit 0
head -n 1 "$STANDINS/failures" >&2
sed -i 1d "$STANDINS/failures"
exit 100
"""
LOCKED = {
    "the lists": "E: Could not get lock /var/lib/apt/lists/lock. It is held by process 19 (apt-get)",
    "the packages": "E: Could not get lock /var/cache/apt/archives/lock. It is held by process 25 (apt-get)",
    "dpkg, still after apt's own wait":
        "E: Unable to acquire the dpkg frontend lock (/var/lib/dpkg/lock-frontend), is another process using it?",
    "dpkg, taken between two packages": "dpkg: error: dpkg frontend lock was locked by another process with pid 123",
}


class Packages(unittest.TestCase):
    def install(self, failures=(), user=0, sudo="exec \"$@\""):
        """The script's end, and what apt-get was asked."""
        with tempfile.TemporaryDirectory() as folder:
            standins = Path(folder)
            (standins / "failures").write_text("".join(line + "\n" for line in failures))
            (standins / "asked").touch()
            programs = {
                "apt-get": APT_GET,
                "dpkg-query": "#!/bin/sh\nexit 1\n",
                "id": f"#!/bin/sh\n[ \"$1\" = -u ] && echo {user} || echo isolde\n",
                "sudo": f"#!/bin/sh\n{sudo}\n",
                "sleep": "#!/bin/sh\n",
            }
            for name, text in programs.items():
                (standins / name).write_text(text)
                (standins / name).chmod(0o755)
            ended = subprocess.run(
                ["bash", "-euc", "source scripts/lib.sh; ensure_packages session; echo ready"],
                cwd=REPOSITORY, env={**os.environ, "PATH": f"{folder}:{os.environ['PATH']}", "STANDINS": folder},
                capture_output=True, text=True, timeout=60)
            return ended, (standins / "asked").read_text().splitlines()

    def test_another_programs_hold_is_waited_for(self):
        for what, line in LOCKED.items():
            with self.subTest(what):
                ended, asked = self.install(failures=[line, line])
                self.assertEqual((ended.returncode, ended.stdout), (0, "ready\n"), ended.stderr)
                self.assertEqual(ended.stderr.count("waiting for it"), 1, ended.stderr)
                self.assertEqual(len(asked), 4, asked)
                self.assertRegex(asked[-1], "install .*x11-utils")

    def test_any_other_failure_is_told_at_once(self):
        ended, asked = self.install(failures=["E: Unable to locate package x11-utils"])
        self.assertEqual((ended.returncode, len(asked)), (1, 1))
        self.assertIn("Unable to locate package x11-utils", ended.stderr)

    def test_who_may_not_install_learns_what_to_say_to_root(self):
        ended, asked = self.install(user=1000, sudo="echo isolde is not in the sudoers file. >&2; exit 1")
        self.assertEqual((ended.returncode, asked), (1, []))
        self.assertIn("isolde may not install them", ended.stderr)
        self.assertRegex(ended.stderr, r"su -c 'apt-get update && apt-get install .*x11-utils.*'")

    def test_sudo_is_used_by_who_may(self):
        ended, asked = self.install(user=1000)
        self.assertEqual((ended.returncode, len(asked)), (0, 2), ended.stderr)


if __name__ == "__main__":
    unittest.main()
