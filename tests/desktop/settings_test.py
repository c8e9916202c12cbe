#!/usr/bin/env python3
"""Settings edited by hand, and a memory that somebody removes, under the running program. Runs inside the virtual
desktop."""

import shutil
import signal
import subprocess
import time
import unittest

from session import Application, Quillshade, chromium, text_file, type_text, wait_until

LATE = 60  # seconds within which even a machine that is busy with other things gets there
TWO_LOOKS = 5


class Settings(unittest.TestCase):
    def memory_with(self, text):
        memory = Quillshade(self)
        self.file = memory.folder / "config/Quillshade/quillshade.ini"
        self.file.parent.mkdir(parents=True)
        self.file.write_text(text)
        return memory

    def quillshade(self, memory, *arguments, **environment):
        """What another start of the program says, and its exit code."""
        answer = subprocess.run([memory.command[0], "--data-dir", str(memory.data), *arguments],
                                env=dict(memory.environment, **environment), capture_output=True, text=True, timeout=20,
                                check=False)
        return answer.returncode, answer.stderr

    def test_a_site_that_was_written_into_the_file(self):
        memory = self.memory_with("[General]\nexcludedSites=https://www.bank.example/login?x ; pier.example\n").start()
        page = text_file(self, "bank.example.html", "<!doctype html><title>Balance</title><p>Seven florins</p>")
        chromium(self, page.as_uri(), "Balance")
        self.assertTrue(wait_until(lambda: memory.skip_reason() == "excludedSite", LATE), memory.diagnosis())
        time.sleep(TWO_LOOKS)
        self.assertEqual(memory.occurrences("Seven florins"), [])

    def test_an_edit_counts_at_once_and_one_that_cannot_be_read_holds_the_recording(self):
        memory = self.memory_with("# my own words\n").start()
        Application(self, "mousepad", text_file(self, "shore.txt", "sand and shingle"), title="shore.txt")
        self.assertTrue(memory.wait_for_hit("sand and shingle", LATE), memory.diagnosis())

        written = self.file.read_text()
        self.assertIn("# my own words\n", written, "what a person wrote stays")
        self.file.write_text(written + "excludedApps=mousepad, org.example.nobody\n")
        self.assertTrue(wait_until(lambda: memory.skip_reason() == "excludedApp", LATE), memory.status())
        type_text("a hidden line ")
        self.assertEqual(memory.status()["settings"]["unknownApplications"], ["org.example.nobody"])

        self.file.write_text(written + "excludedApps=[mousepad\n")
        self.assertTrue(wait_until(lambda: not memory.status()["recording"], LATE), memory.status())
        self.assertEqual(memory.status()["status"], "Waiting (settings can't be read)")
        self.assertIn("excludedApps", memory.ctl("status").stdout)
        self.assertIn("a bracket isn't closed", memory.log.read_text())
        code, said = self.quillshade(memory, "--add", "excludedApps=org.example.other")
        self.assertEqual((code, self.file.read_text()), (2, written + "excludedApps=[mousepad\n"), said)
        self.assertEqual(memory.occurrences("a hidden line"), [])

        code, said = self.quillshade(memory, "--set", "excludedApps=")
        self.assertEqual(code, 0)
        self.assertIn(f"already running in this session (process {memory.process.pid}) and has stored the settings", said)
        self.assertTrue(wait_until(lambda: memory.status()["recording"], LATE), memory.status())
        type_text("an open line ")
        self.assertTrue(memory.wait_for_hit("an open line", LATE), memory.diagnosis())

    def test_a_program_that_runs_stores_what_is_asked_of_another_start_all_of_it_or_nothing(self):
        memory = self.memory_with("# my own words\ndiskCapGB=99999999999\n").start()
        self.assertIn("diskCapGB", memory.ctl("status").stdout)
        before = self.file.read_text()
        self.assertIn("# my own words\ndiskCapGB=99999999999\n", before, "what can't be used stays")
        elsewhere = str(memory.folder / "elsewhere")
        for asked, told in (
                (("--set", "textDays=5", "--set", "textDay=6"), "There is no setting “textDay”. Did you mean textDays?"),
                (("--set", "textDays=5", "--set", "pausedUntil=inf"), "“inf” is no moment"),
                (("--set", "textDays=5", "--add", "excludedSites=*"), "names no website"),
                (("--set", b"captureMode=\xff"), "it isn't written in UTF-8")):
            code, said = self.quillshade(memory, "--no-start", *asked, XDG_CONFIG_HOME=elsewhere)
            self.assertEqual((code, self.file.read_text()), (2, before), said)
            self.assertIn(told, said)
            self.assertIn("Nothing was stored", said)
        code, said = self.quillshade(memory, "--set", "textDays=5", "--add", "excludedSites=pier.example bank.example",
                                     "--remove", "excludedSites=bank.example", XDG_CONFIG_HOME=elsewhere)
        self.assertEqual(code, 0, said)
        self.assertIn(f"has stored the settings in {self.file}.", said)
        self.assertEqual(self.file.read_text(), before + "excludedSites=pier.example\ntextDays=5\n")
        self.assertFalse((memory.folder / "elsewhere").exists(), "the running program's settings are the ones meant")
        code, said = self.quillshade(memory, "--set", "onboardingCompleted=false", XDG_CONFIG_HOME=elsewhere)
        self.assertEqual((code, memory.status()["recording"], memory.status()["status"]), (0, False, "Setup needed"))

        memory.process.send_signal(signal.SIGSTOP)
        code, said = self.quillshade(memory, "--set", "textDays=6", XDG_CONFIG_HOME=elsewhere)
        memory.process.send_signal(signal.SIGCONT)
        self.assertEqual(code, 1, said)
        self.assertIn("gives no answer", said)

    def test_the_command_line_says_what_a_list_loses(self):
        memory = self.memory_with("")
        code, said = self.quillshade(memory, "--no-start", "--set", "excludedApps=org.example.nobody")
        self.assertEqual(code, 0)
        for words in ("excludedApps no longer holds: ", "Bitwarden", "KeePassXC", "“org.example.nobody” is no application"):
            self.assertIn(words, said)
        code, said = self.quillshade(memory, "--no-start", "--add", "excludedSites=https://www.bank.example/x")
        self.assertEqual((code, said), (0, ""))
        self.assertIn("excludedSites=bank.example\n", self.file.read_text())
        apps = subprocess.run([memory.command[0], "--list-apps"], env=memory.environment, capture_output=True, text=True,
                              check=True).stdout.splitlines()
        self.assertTrue([line for line in apps if line.startswith("org.xfce.mousepad  ")], apps)


class Removed(unittest.TestCase):
    def test_a_removed_memory_is_begun_anew(self):
        memory = Quillshade(self, "textOnlyMode=false").start()
        before = Application(self, "mousepad", text_file(self, "before.txt", "the cormorant dries its wings"), title="before.txt")
        self.assertTrue(memory.wait_for_hit("cormorant", LATE), memory.diagnosis())
        self.assertTrue(wait_until(lambda: list(memory.data.rglob("*.mp4")), LATE), memory.diagnosis())
        self.assertTrue(memory.occurrences("cormorant"), "the search for bytes finds what is there")
        before.close()
        Application(self, "mousepad", text_file(self, "after.txt"), title="after.txt")
        self.assertTrue(memory.wait_for_hit("after.txt", LATE), memory.diagnosis())
        shutil.rmtree(memory.data)
        removed = time.time()
        type_text("the gannet dives ")
        self.assertTrue(wait_until(lambda: memory.status()["memoryBegun"], LATE), memory.log.read_text())
        self.assertTrue(memory.wait_for_hit("gannet", LATE), memory.diagnosis())
        self.assertIn("Opened anew", memory.ctl("status").stdout)
        self.assertIn("was removed or moved away", memory.log.read_text())
        self.assertTrue(wait_until(lambda: list(memory.data.rglob("*.mp4")), LATE), memory.diagnosis())
        self.assertEqual(memory.stop()[0], 0)
        self.assertEqual(memory.occurrences("cormorant"), [])
        for segment in memory.data.rglob("*.mp4"):
            self.assertGreater(int(segment.stem.split("-")[1]) / 1000, removed, segment)


if __name__ == "__main__":
    unittest.main(verbosity=2)
