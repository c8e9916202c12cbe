#!/usr/bin/env python3
"""The virtual desktop script: what its command sees, what it gives back, and that nothing of it stays."""

import os
import pathlib
import signal
import subprocess
import tempfile
import time
import unittest

SCRIPT = pathlib.Path(__file__).resolve().parents[2] / "scripts" / "desktop"

# Says where the desktop is once programs of every kind run in it: one with a window, one that has left its parent and
# its session, and one that ignores being asked to end.
BUSY = """
xterm & zenity --info --text hello &
setsid -f sleep 1000
bash -c 'trap "" TERM; while :; do sleep 1000; done' &
until [ "$(wmctrl -l | wc -l)" -ge 2 ]; do sleep 0.05; done
echo "$QUILLSHADE_DESKTOP $DISPLAY"
wait
"""


def wait_until(condition, seconds=20):
    deadline = time.monotonic() + seconds
    while time.monotonic() < deadline:
        if condition():
            return True
        time.sleep(0.05)
    return False


def processes_of(folder):
    """Process numbers and names of what carries the desktop's folder in its environment or its command line."""
    found = []
    for entry in pathlib.Path("/proc").iterdir():
        if not entry.name.isdigit():
            continue
        try:
            if folder.encode() in (entry / "environ").read_bytes() + (entry / "cmdline").read_bytes():
                found.append((int(entry.name), (entry / "comm").read_text().strip()))
        except OSError:
            pass  # it ended meanwhile
    return found


class DesktopScript(unittest.TestCase):
    def start(self, *command, **more):
        process = subprocess.Popen(
            [SCRIPT, *command], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, **more)
        self.addCleanup(process.stdout.close)
        self.addCleanup(process.stderr.close)
        return process

    def run_inside(self, *command, **more):
        return subprocess.run([SCRIPT, *command], capture_output=True, text=True, timeout=60, check=False, **more)

    def assert_gone(self, folder, display):
        self.assertTrue(wait_until(lambda: not processes_of(folder)), f"left over: {processes_of(folder)}")
        self.assertTrue(wait_until(lambda: not os.path.exists(folder)), f"{folder} is still there")
        number = display.lstrip(":")
        for path in (f"/tmp/.X{number}-lock", f"/tmp/.X11-unix/X{number}"):
            # Another desktop may have taken the number; then its server holds it.
            if os.path.exists(path):
                probe = subprocess.run(["xdpyinfo", "-display", display], capture_output=True, check=False)
                self.assertEqual(probe.returncode, 0, f"{path} is there and nobody answers")

    def test_passes_the_exit_code_on(self):
        for command, code in (("exit 0", 0), ("exit 7", 7), ("kill -KILL $$", 137), ("kill -TERM $$", 143)):
            with self.subTest(command):
                self.assertEqual(self.run_inside("bash", "-c", command).returncode, code)
        self.assertEqual(self.run_inside("no-such-command-anywhere").returncode, 127)

    def test_refuses_what_it_cannot_understand(self):
        for arguments in ((), ("--size", "big", "true"), ("--size",), ("--nonsense", "true")):
            with self.subTest(arguments):
                answer = self.run_inside(*arguments)
                self.assertEqual(answer.returncode, 2)
                self.assertIn("usage:", answer.stderr)

    def test_gives_the_command_a_place_of_its_own(self):
        outside = dict(os.environ, NO_AT_BRIDGE="1", LC_ALL="de_DE.UTF-8", NOMARA_DATA_DIR="/nonexistent")
        script = """
            cat
            xdotool getdisplaygeometry
            stat -c %a "$XDG_RUNTIME_DIR"
            for name in HOME XDG_RUNTIME_DIR XDG_CONFIG_HOME XDG_DATA_HOME XDG_CACHE_HOME TMPDIR; do
              case ${!name} in "$QUILLSHADE_DESKTOP"/*) [ -d "${!name}" ] || echo "no $name" ;; *) echo "foreign $name" ;; esac
            done
            echo "${NO_AT_BRIDGE-unset} ${LC_ALL-unset} ${NOMARA_DATA_DIR-unset} $LANG"
            dbus-send --session --print-reply=literal --dest=org.a11y.Bus /org/a11y/bus \
              org.freedesktop.DBus.Properties.Get string:org.a11y.Status string:IsEnabled
            wmctrl -m | head -n 1
        """
        with tempfile.TemporaryDirectory() as elsewhere:
            answer = self.run_inside("--size", "800x600", "bash", "-c", script, cwd=elsewhere, env=outside, input="typed\n")
        self.assertEqual(
            [" ".join(line.split()) for line in answer.stdout.splitlines()],
            ["typed", "800 600", "700", "unset unset unset C.UTF-8", "variant boolean true", "Name: Openbox"],
            answer.stderr)

    def test_leaves_nothing_behind(self):
        ways = (
            ("interrupted", lambda p: p.send_signal(signal.SIGINT), 130),
            ("asked to end", lambda p: p.send_signal(signal.SIGTERM), 143),
            ("terminal closed", lambda p: p.send_signal(signal.SIGHUP), 129),
            ("Ctrl-C for the whole group", lambda p: os.killpg(p.pid, signal.SIGINT), 130),
            ("killed", lambda p: p.send_signal(signal.SIGKILL), -signal.SIGKILL),
        )
        for name, end, code in ways:
            with self.subTest(name):
                process = self.start("bash", "-c", BUSY, start_new_session=True)
                folder, display = process.stdout.readline().split()
                self.assertGreater(len(processes_of(folder)), 6)
                end(process)
                self.assertEqual(process.wait(timeout=30), code)
                self.assert_gone(folder, display)

    def test_leaves_nothing_behind_when_the_command_ends_first(self):
        answer = self.run_inside("bash", "-c", BUSY.replace("wait\n", "kill -KILL $$\n"))
        self.assertEqual(answer.returncode, 137)
        self.assert_gone(*answer.stdout.split())

    def test_several_run_side_by_side(self):
        script = 'xterm -T "window of $1" & until wmctrl -l | grep -q "window of"; do sleep 0.05; done\n' \
                 'wmctrl -l | grep -c "window of"; echo "$QUILLSHADE_DESKTOP $DISPLAY"; read -r _'
        together = [self.start("bash", "-c", script, "bash", str(i), stdin=subprocess.PIPE) for i in range(3)]
        places = []
        for process in together:
            self.assertEqual(process.stdout.readline().strip(), "1")
            places.append(tuple(process.stdout.readline().split()))
        self.assertEqual(len(set(folder for folder, _ in places)), 3)
        self.assertEqual(len(set(display for _, display in places)), 3)
        for process, place in zip(together, places):
            process.stdin.close()
            self.assertEqual(process.wait(timeout=30), 1)  # `read` saw the end of its input
            self.assert_gone(*place)


if __name__ == "__main__":
    unittest.main()
