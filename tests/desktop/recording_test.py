#!/usr/bin/env python3
"""What a person does at the desktop, and what can be found of it afterwards. Runs inside the virtual desktop."""

import json
import os
import pathlib
import signal
import subprocess
import tempfile
import threading
import time
import unittest

from session import (
    BINARIES, Application, Quillshade, chromium, end_accessibility_bus, text_file, type_text, wait_until, x)

SOON = 10  # seconds from appearing to being found
TWO_LOOKS = 5
LATE = 60  # seconds within which even a machine that is busy with other things gets there


def is_in_memory(folder):
    """Where files never reach a disk."""
    kind = subprocess.run(["stat", "-f", "-c", "%T", str(folder)], capture_output=True, text=True, check=True).stdout
    return kind.strip() in ("tmpfs", "ramfs")


class Found(unittest.TestCase):
    """What comes up is found within ten seconds. Where the machine was busy with something else, it may try again."""

    def found_soon(self, memory, appear):
        """The hits for what `appear` shows: it gets the number of the try and answers what to search for."""
        for attempt in range(1, 4):
            query = appear(attempt)
            began, hits = time.monotonic(), []
            while not hits and time.monotonic() < began + SOON:
                hits = memory.wait_for_hit(query, 3)
                x("mousemove_relative", "--", 5, 0)  # whoever reads has a hand on the pointer
            if hits:
                print(f"found after {time.monotonic() - began:.1f} s, in try {attempt}")
                return hits
        self.fail(memory.diagnosis())

    def test_text_typed_into_an_editor(self):
        memory = Quillshade(self).start()
        Application(self, "mousepad", text_file(self, "letter.txt", "Dear reader\n"), title="letter.txt")

        def type_words(attempt):
            type_text(f"the heron waits in the shallows {attempt} ")
            return f"heron shallows {attempt}"

        hits = self.found_soon(memory, type_words)
        self.assertIn("letter.txt", hits[0]["windowTitle"])
        self.assertEqual(hits[0]["appName"], "Mousepad")
        start, end = hits[0]["highlights"][0]
        self.assertEqual(hits[0]["snippet"][start:end], "heron")

    def test_the_text_of_a_web_page_and_its_address(self):
        memory = Quillshade(self).start()

        def open_page(attempt):
            self.page = text_file(self, f"page{attempt}.html", f"""<!doctype html><title>Lighthouse almanac {attempt}</title>
                <h1>Keepers of the northern lights</h1><p>The Skerryvore lamp {attempt} was <a href="#">lit in 1844</a>
                and <b>burns</b> still.</p><ul><li>Muckle Flugga<li>Ailsa Craig</ul>
                <p style="margin-top:5000px">Corsewall far below</p>""")
            chromium(self, self.page.as_uri(), f"Lighthouse almanac {attempt}")
            return f"skerryvore lamp {attempt}"

        hits = self.found_soon(memory, open_page)
        self.assertEqual(hits[0]["url"], self.page.as_uri())
        self.assertTrue(memory.search("Muckle Flugga"))
        self.assertFalse(memory.search("Corsewall"), "what has scrolled out of the window is not on the screen")


class Kept(unittest.TestCase):
    def test_a_window_that_does_not_change_stores_nothing(self):
        memory = Quillshade(self).start()
        Application(self, "mousepad", text_file(self, "still.txt", "nothing moves here\n"), title="still.txt")
        self.assertTrue(memory.wait_for_hit("nothing moves", LATE))
        # The editor still makes its own little changes just after opening; then it is still.
        end = time.monotonic() + 180
        frames, quiet_since = None, 0
        while time.monotonic() < end and (frames is None or time.monotonic() < quiet_since + 60):
            if memory.frame_count() != frames:
                frames, quiet_since = memory.frame_count(), time.monotonic()
                written, changes = memory.last_written(), 0
            if memory.last_written() != written:
                written, changes = memory.last_written(), changes + 1
            time.sleep(1)
        self.assertGreaterEqual(time.monotonic(), quiet_since + 60, "nothing new was stored for a minute")
        self.assertLessEqual(changes, 1, "the counters of the minute before are written once, and nothing else")

    def test_a_password_is_in_no_file(self):
        secret, name = "Xyzzy7plugh", "adventurer"
        memory = Quillshade(self).start()
        form = Application(
            self, "zenity", "--forms", "--title", "Sign in", "--text", "Colossal Cave", "--add-entry", "Name",
            "--add-password", "Password", title="Sign in")
        type_text(name)
        self.assertTrue(memory.wait_for_hit(name, LATE), "the field that is no secret")
        x("key", "Tab")
        # In GTK 4 an empty field doesn't tell that it will hide what is typed.
        type_text(secret[0])
        self.assertTrue(wait_until(lambda: memory.status()["skipReason"] == "secureInput"), memory.status())
        self.assertIn("password", memory.status()["detail"])
        type_text(secret[1:])
        time.sleep(TWO_LOOKS)
        # With the focus elsewhere the window is recorded again, the filled password field in it.
        x("key", "shift+Tab")
        type_text(f"{name} again")
        self.assertTrue(memory.wait_for_hit(f"{name} again", LATE))
        self.assertEqual(memory.occurrences(secret), [])
        self.assertTrue(memory.occurrences(name), "the search for bytes finds what is there")
        x("key", "Tab", "Tab", "Tab", "Return")  # the password, Cancel, OK
        self.assertIn(secret, form.output(), "the password was really typed")

        dialog = Application(self, "zenity", "--password", "--title", "Unlock", title="Unlock")
        type_text(secret)
        time.sleep(TWO_LOOKS)
        x("key", "Return")
        self.assertEqual(dialog.output().strip(), secret)
        memory.stop()
        self.assertEqual(memory.occurrences(secret), [])


class Lasting(unittest.TestCase):
    def test_it_ends_in_order(self):
        for number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
            with self.subTest(number.name):
                memory = Quillshade(self).start()
                editor = Application(self, "mousepad", text_file(self, f"{number.name}.txt", "abiding"), title=number.name)
                self.assertTrue(memory.wait_for_hit("abiding", LATE))
                code, seconds = memory.stop(number)
                self.assertEqual(code, 0, memory.log.read_text())
                self.assertLess(seconds, 5)
                self.assertIn('"framesSaved"', memory.ctl("stats", "--json").stdout)
                [today] = json.loads(memory.ctl("stats", "--json").stdout)["days"]
                self.assertGreater(today["framesSaved"], 0)
                self.assertGreater(today["cpuSeconds"], 0)
                self.assertTrue(today["bytesWritten"] > 0 or is_in_memory(memory.data), today)
                self.assertEqual(memory.ctl("status").returncode, 1, "it runs no more")
                editor.close()

    def test_it_ends_when_the_display_goes(self):
        reader, writer = os.pipe()
        display = subprocess.Popen(
            ["Xvfb", "-displayfd", str(writer), "-screen", "0", "800x600x24", "-nolisten", "tcp"],
            pass_fds=[writer], stderr=subprocess.DEVNULL)
        self.addCleanup(display.kill)
        number = os.read(reader, 16).decode().strip()
        memory = Quillshade(self, environment={"DISPLAY": f":{number}"}).start()
        display.terminate()
        self.assertEqual(memory.process.wait(timeout=20), 0)
        self.assertIn("display has gone", memory.log.read_text())

    def test_a_second_start_finds_the_first(self):
        memory = Quillshade(self).start()
        second = subprocess.run(memory.command, env=memory.environment, capture_output=True, text=True, timeout=20, check=False)
        self.assertEqual(second.returncode, 0)
        self.assertEqual(second.stderr.strip(),
                         f"quillshade: Quillshade is already running in this session (process {memory.process.pid})"
                         f" and has stored the settings in {memory.folder}/config/Quillshade/quillshade.ini.")

    def test_a_start_in_another_session_finds_the_first_by_its_memory(self):
        memory = Quillshade(self).start()
        runtime = memory.folder / "runtime"
        runtime.mkdir(mode=0o700)
        command = ["dbus-run-session", "--", *memory.command]
        second = subprocess.run(command, env=dict(memory.environment, XDG_RUNTIME_DIR=str(runtime)), capture_output=True,
                                text=True, timeout=20, check=False)
        self.assertEqual(second.returncode, 0, second.stderr)
        self.assertIn(f"already running (process {memory.process.pid}) in another session, with the memory in {memory.data}.",
                      second.stderr)

    def test_it_needs_no_network(self):
        memory = Quillshade(self, wrapper=("unshare", "--user", "--map-root-user", "--net")).start()
        Application(self, "mousepad", text_file(self, "alone.txt", "no network anywhere"), title="alone.txt")
        self.assertTrue(memory.wait_for_hit("no network anywhere", LATE))
        process = memory.status()["pid"]
        for table in ("tcp", "tcp6", "udp", "udp6"):
            sockets = pathlib.Path(f"/proc/{process}/net/{table}")
            if sockets.exists():
                self.assertEqual(len(sockets.read_text().splitlines()), 1, f"{table}: only the heading")

    def test_the_memory_is_for_its_owner_alone(self):
        before = os.umask(0)
        try:
            memory = Quillshade(self).start()
        finally:
            os.umask(before)
        Application(self, "mousepad", text_file(self, "mine.txt", "nobody else reads this"), title="mine.txt")
        self.assertTrue(memory.wait_for_hit("nobody else reads this", LATE))
        files = [memory.data, *memory.data.rglob("*")]
        self.assertIn("nomara.sqlite-wal", [path.name for path in files])
        for path in files:
            self.assertEqual(path.stat().st_mode & 0o777, 0o700 if path.is_dir() else 0o600, path)
        limits = pathlib.Path(f"/proc/{memory.process.pid}/limits").read_text()
        self.assertRegex(limits, r"(?m)^Max core file size +0 +0 ")

    def test_the_accessibility_bus_dies_and_comes_back(self):
        memory = Quillshade(self).start()
        editor = Application(self, "mousepad", text_file(self, "before.txt", "before the outage"), title="before.txt")
        self.assertTrue(memory.wait_for_hit("before the outage", LATE))
        editor.close()

        # Whoever asks for the bus starts it again, so it is kept away until the program has noticed.
        noticed = threading.Event()

        def keep_away():
            while not noticed.is_set():
                end_accessibility_bus()

        killer = threading.Thread(target=keep_away)
        killer.start()
        try:
            away = wait_until(lambda: not memory.status()["accessibility"]["available"], LATE)
        finally:
            noticed.set()
            killer.join()
        self.assertTrue(away, memory.status())
        self.assertRegex(memory.status()["accessibility"]["reason"], r"^[A-Z].*[.?]$")
        self.assertTrue(wait_until(lambda: memory.status()["accessibility"]["available"], LATE), memory.status())
        Application(self, "mousepad", text_file(self, "after.txt", "after the outage"), title="after.txt")
        self.assertTrue(memory.wait_for_hit("after the outage", LATE), memory.status())

    def test_without_an_accessibility_bus_it_carries_on_and_says_so(self):
        # A session bus of its own that knows no accessibility service.
        configuration = text_file(self, "session.conf", """<!DOCTYPE busconfig PUBLIC
            "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN" "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
            <busconfig><type>session</type><listen>unix:tmpdir=/tmp</listen><policy context="default">
            <allow send_destination="*" eavesdrop="true"/><allow eavesdrop="true"/><allow own="*"/></policy></busconfig>""")
        bus = subprocess.Popen(
            ["dbus-daemon", f"--config-file={configuration}", "--print-address=1", "--nofork"], stdout=subprocess.PIPE, text=True)
        self.addCleanup(bus.stdout.close)
        self.addCleanup(bus.wait)
        self.addCleanup(bus.kill)
        memory = Quillshade(self, environment={"DBUS_SESSION_BUS_ADDRESS": bus.stdout.readline().strip()}).start()
        xterm = Application(self, "xterm", "-title", "A title alone", title="A title alone")
        self.assertTrue(memory.wait_for_hit("a title alone", LATE))
        accessibility = memory.status()["accessibility"]
        self.assertFalse(accessibility["available"])
        self.assertRegex(accessibility["reason"], r"^[A-Z].*[.?]$", "a sentence")
        self.assertIn(accessibility["reason"], memory.ctl("status").stdout)
        xterm.close()


class BadSurroundings(unittest.TestCase):
    def refused(self, *arguments, environment=None):
        """The one sentence with which the program declines to start, and its exit code."""
        answer = subprocess.run(
            [str(BINARIES / "quillshade"), *map(str, arguments)], env=dict(os.environ, **(environment or {})),
            capture_output=True, text=True, timeout=20, check=False)
        self.assertEqual(answer.stdout, "")
        lines = answer.stderr.splitlines()
        self.assertEqual(len(lines), 1, answer.stderr)
        self.assertRegex(lines[0], r"^quillshade: .+\.$")
        return answer.returncode, lines[0]

    def test_no_display(self):
        for display, words in (("", "DISPLAY"), (":987", ":987")):
            with tempfile.TemporaryDirectory() as folder:
                code, sentence = self.refused("--data-dir", f"{folder}/data", environment={"DISPLAY": display})
                self.assertEqual(code, 1)
                self.assertIn(words, sentence)
                self.assertEqual(os.listdir(folder), [], "nothing is made before it can work")

    def test_a_data_folder_that_cannot_be_written(self):
        in_the_way = text_file(self, "file", "a file, not a folder")
        code, sentence = self.refused("--data-dir", in_the_way / "data")
        self.assertEqual(code, 1)
        self.assertIn(str(in_the_way), sentence)
        self.assertEqual(in_the_way.read_text(), "a file, not a folder")
        code, sentence = self.refused("--data-dir", "/proc/quillshade")
        self.assertEqual(code, 1)

    def test_a_database_that_is_none(self):
        with tempfile.TemporaryDirectory() as folder:
            database = pathlib.Path(folder) / "nomara.sqlite"
            content = b"This was never a database. " * 400
            database.write_bytes(content)
            code, sentence = self.refused("--data-dir", folder)
            self.assertEqual(code, 1)
            self.assertIn(str(database), sentence)
            self.assertEqual(database.read_bytes(), content, "it stays as it is")

    def test_wrong_words(self):
        with tempfile.TemporaryDirectory() as folder:
            for setting in ("textOnlyMode", "textOnlyMode=maybe", "noSuchSetting=1"):
                with self.subTest(setting):
                    code, _ = self.refused(
                        "--data-dir", f"{folder}/data", "--set", setting, environment={"XDG_CONFIG_HOME": folder})
                    self.assertEqual(code, 2)
        version = subprocess.run([BINARIES / "quillshade", "--version"], capture_output=True, text=True, check=True)
        self.assertRegex(version.stdout, r"^quillshade \d+\.\d+\.\d+\n$")
        usage = subprocess.run([BINARIES / "quillshade", "--help"], capture_output=True, text=True, check=True)
        self.assertIn("--data-dir", usage.stdout)


if __name__ == "__main__":
    unittest.main(verbosity=2)
