#!/usr/bin/env python3
"""The disk gets low or full, or can't be written: text goes on, pictures come back. Runs inside the virtual desktop."""

import dataclasses
import os
import subprocess
import sys
import time
import unittest

from pictures import LATE, LEFT, RIGHT, PictureMemory, Witness, place, two_displays
from session import Application, wait_until, x

CHANGING = r"while sleep 0.3; do printf '\033[H'; for i in 1 2 3; do date '+%N %T %D %c %N %T %D %c %N' | cut -c -80; done; done"
# Takes many bytes to keep.
FULL = "head -c 20000 /dev/urandom | base64 -w 0; sleep 1000"
LOWER_LEFT, LOWER_RIGHT = (dataclasses.replace(display, height=1000) for display in (LEFT, RIGHT))


def mount(*words):
    return subprocess.run(["mount", *map(str, words)], capture_output=True, text=True, check=False)


class Trouble(unittest.TestCase):
    def memory_on(self, size, below=""):
        """A memory, a folder of which (or the whole of it) is a disk of that size of its own."""
        memory = PictureMemory(self, "captureMode=quality")
        self.place = memory.data / below
        self.place.mkdir(parents=True, mode=0o700)
        if (answer := mount("-t", "tmpfs", "-o", f"size={size},mode=700", "tmpfs", self.place)).returncode != 0:
            self.skipTest(f"a disk of its own needs the right to mount: {answer.stderr.strip()}")
        # Before the memory is removed, and after the program has ended.
        self.addCleanup(subprocess.run, ["umount", "--lazy", self.place], check=True)
        self.addCleanup(lambda: memory.process and memory.process.kill())
        return memory

    def resize(self, size):
        answer = mount("-o", f"remount,size={size}", self.place)
        self.assertEqual(answer.returncode, 0, answer.stderr)

    def setUp(self):
        two_displays(self)
        for display in (LEFT, RIGHT):
            title = f"Changing {display.name}"
            Application(self, "xterm", "-title", title, "-e", CHANGING, title=title)
            place(x("getactivewindow"), display.left + 50, 100, 600, 300)

    def frames_without_picture(self, memory, since):
        return memory.rows("SELECT count(*) FROM frames WHERE ts >= ? AND image_state != 1", since)[0][0]

    def goes_on_without_pictures(self, memory):
        since = time.time() + 1
        self.assertTrue(wait_until(lambda: self.frames_without_picture(memory, since) >= 4, LATE), memory.diagnosis())

    def goes_on_with_pictures(self, memory):
        for display in (LEFT, RIGHT):
            self.assertTrue(memory.wait_for_picture(display), memory.diagnosis())

    def change_displays(self):
        """With another size of its pictures each display wants a new file."""
        LOWER_LEFT.make("screen")
        LOWER_RIGHT.make("none")

    def goes_on_with_changed_displays(self, memory):
        for display in (LOWER_LEFT, LOWER_RIGHT):
            self.assertTrue(memory.wait_for_picture(display), memory.diagnosis())

    def everything_is_there(self, memory):
        """What rows point at can be read, once the program has ended."""
        self.assertEqual(memory.stop()[0], 0)
        witness = Witness(self)
        for segment in memory.segments():
            self.assertEqual(witness.readable(segment.file), (segment.count, []), segment)
        for picture in memory.pictures():
            self.assertLess(picture.index, witness.readable(picture.file)[0], picture)

    def told(self, memory):
        """What the program said of its files: each fact once, however often it was met."""
        lines = [line for line in memory.log.read_text().splitlines() if " storage: " in line]
        self.assertEqual(len(lines), len(set(lines)), "\n".join(lines))
        return lines

    def test_low_disk(self):
        memory = self.memory_on("64m").start()
        self.goes_on_without_pictures(memory)
        self.resize("8g")  # of which nothing is used
        self.assertTrue(wait_until(memory.pictures, LATE + 60), memory.diagnosis())  # it looks once a minute
        self.goes_on_with_pictures(memory)
        lines = self.told(memory)
        self.assertEqual(len(lines), 2, lines)
        self.assertRegex(lines[0], r"Free disk space \d+ bytes: images paused")
        self.assertRegex(lines[1], r"Free disk space \d+ bytes: images resumed")
        self.everything_is_there(memory)

    def test_a_disk_that_is_full_in_the_middle_of_a_picture(self):
        Application(self, "xterm", "-title", "Full", "-fn", "6x10", "-e", FULL, title="Full")
        place(x("getactivewindow"), 0, 450, 1920, 600)
        memory = self.memory_on("64m", below="Frames.noindex").start()
        self.goes_on_with_pictures(memory)
        # A new file can be begun, but no whole picture can be put into it.
        self.resize(self.used() + 20 * 1024)
        self.change_displays()
        self.goes_on_without_pictures(memory)
        self.goes_on_without_pictures(memory)
        self.resize("64m")
        self.goes_on_with_changed_displays(memory)
        told = self.told(memory)
        self.assertIn(len(told), (1, 2), told)
        for line in told:
            self.assertRegex(line, "(Segment finish failed|Could not open segment): .*No space left on device")
        self.everything_is_there(memory)

    def used(self):
        status = os.statvfs(self.place)
        return (status.f_blocks - status.f_bfree) * status.f_frsize

    def set_writable(self, folder, writable):
        """Also for root, for whom the mode says nothing."""
        if os.geteuid() != 0:
            return folder.chmod(0o700 if writable else 0o500)
        answer = subprocess.run(["chattr", "-i" if writable else "+i", folder], capture_output=True, text=True, check=False)
        if answer.returncode != 0:
            self.skipTest(f"this disk can't make a folder read-only for root: {answer.stderr.strip()}")

    def test_a_folder_that_is_read_only(self):
        memory = PictureMemory(self, "captureMode=quality").start()
        self.goes_on_with_pictures(memory)
        folder = memory.video_files()[0].parent
        self.addCleanup(self.set_writable, folder, True)
        self.set_writable(folder, False)
        self.change_displays()
        self.goes_on_without_pictures(memory)
        self.goes_on_without_pictures(memory)
        self.assertEqual([picture for picture in memory.pictures() if picture.height == LOWER_LEFT.height], [])
        self.set_writable(folder, True)
        self.goes_on_with_changed_displays(memory)
        told = self.told(memory)
        self.assertEqual(len(told), 1, told)
        self.assertIn(f"Could not open segment: {folder}: ", told[0])
        self.everything_is_there(memory)


if __name__ == "__main__":
    # Root's own mounts go with this process, however it ends.
    if os.geteuid() == 0 and "QUILLSHADE_OWN_MOUNTS" not in os.environ:
        own = ["unshare", "--mount", "true"]
        if subprocess.run(own, capture_output=True, check=False).returncode == 0:
            os.environ["QUILLSHADE_OWN_MOUNTS"] = "1"
            os.execvp("unshare", ["unshare", "--mount", sys.executable, *sys.argv])
    unittest.main(verbosity=2)
