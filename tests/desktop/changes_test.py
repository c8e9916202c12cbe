#!/usr/bin/env python3
"""Windows that change a little at a time, and those that only seem to. Runs inside the virtual desktop."""

import os
import pathlib
import subprocess
import time
import unittest

from pictures import LATE, RIGHT, PictureMemory, place, two_displays
from session import Application, wait_until, x

PROGRAMS = pathlib.Path(__file__).resolve().parent / "programs"
WORDS = ["basalt", "cobalt", "driftwood", "ember", "flagstone", "granite", "hemlock"]


class SmallChanges(unittest.TestCase):
    def test_a_terminal_that_writes_a_line_at_a_time(self):
        memory = PictureMemory(self).start()
        script = "sleep 3; " + "".join(f"echo 'the {word} bridge'; sleep 4; " for word in WORDS) + "exec sleep 1000"
        Application(self, "xterm", "-title", "Slow log", "-fa", "DejaVu Sans Mono", "-fs", "12", "-geometry", "100x30+80+80",
                    "-e", "sh", "-c", script, title="Slow log")
        for word in WORDS:
            self.assertTrue(memory.wait_for_hit(word, LATE), word + memory.diagnosis())
        # The last line as soon as the first: nothing comes after it that would make the change a large one.
        self.assertGreater(memory.frame_count(), len(WORDS) // 2, memory.diagnosis())

    def test_a_caret_that_blinks(self):
        memory = PictureMemory(self).start()
        Application(self, "/usr/bin/python3", PROGRAMS / "caret_gtk3.py", title="Chat with a caret")
        self.assertTrue(memory.wait_for_hit("marmalade", LATE), memory.diagnosis())
        time.sleep(5)
        before = memory.frame_count()
        time.sleep(15)
        self.assertEqual(memory.frame_count(), before, memory.diagnosis())


class Titles(unittest.TestCase):
    def test_a_title_that_changes_each_second(self):
        memory = PictureMemory(self).start()
        script = r"""n=0; while :; do n=$((n+1)); printf '\033]0;Backup %d of 900\007' $n
            if [ $((n % 4)) = 0 ]; then echo "the file number $n was copied to the shelf"; fi; sleep 1; done"""
        Application(self, "xterm", "-fa", "DejaVu Sans Mono", "-fs", "12", "-geometry", "100x30+80+80", "-e", "sh", "-c", script,
                    title="Backup")
        self.assertTrue(memory.wait_for_hit("shelf", LATE), memory.diagnosis())
        before = memory.frame_count()
        self.assertTrue(wait_until(lambda: memory.frame_count() >= before + 4, 30), memory.diagnosis())
        lines = "\n".join(body for body, in memory.rows("SELECT body FROM frame_text")).splitlines()
        copied = [line for line in lines if "copied" in line]
        self.assertLess(len(copied), 2 * len(set(copied)), "what is known was stored again for each title")


class Displays(unittest.TestCase):
    def test_one_that_comes_back_while_a_password_is_asked_for(self):
        two_displays(self)
        memory = PictureMemory(self).start()
        Application(self, "xterm", "-title", "Clock", "-e", "while sleep 1; do date '+%T %T %T %T'; done", title="Clock")
        place(x("getactivewindow"), RIGHT.left + 50, 100, 600, 300)

        def streaming():
            return sorted(display["name"] for display in memory.status()["displays"] if display["streaming"])

        self.assertTrue(memory.wait_for_picture(RIGHT), memory.diagnosis())
        with subprocess.Popen(["pinentry-gtk-2"], stdin=subprocess.PIPE, stdout=subprocess.DEVNULL, text=True) as prompter:
            self.addCleanup(prompter.kill)
            print("GETPIN", file=prompter.stdin, flush=True)
            self.assertTrue(wait_until(lambda: memory.skip_reason() == "secureInput", LATE), memory.diagnosis())
            subprocess.run(["xrandr", "--delmonitor", "RIGHT"], check=True)
            self.assertTrue(wait_until(lambda: streaming() == ["LEFT"], LATE), memory.diagnosis())
            time.sleep(4)  # longer than the first new try takes to come
            RIGHT.make("none")
            self.assertTrue(wait_until(lambda: streaming() == ["LEFT", "RIGHT"], 20), memory.diagnosis())
            prompter.kill()
        self.assertTrue(memory.wait_for_picture(RIGHT), memory.diagnosis())


if __name__ == "__main__":
    os.environ.setdefault("LANGUAGE", "en")
    unittest.main(verbosity=2)
