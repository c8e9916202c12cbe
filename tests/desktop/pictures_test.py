#!/usr/bin/env python3
"""Pictures of real programs on two displays, and what the memory holds of them. Runs inside the virtual desktop."""

import subprocess
import time
import unittest

from pictures import LATE, LEFT, RIGHT, Display, PictureMemory, Witness, place, remove_displays, two_displays
from session import Application, activate, chromium, text_file, type_text, wait_until, x

CRISP = 38  # decibels that a picture at balanced quality owes to the screen
STILL_SECONDS = 30
STREAM_SECONDS = 1.0  # the longest time from what is on the screen to the image that a look finds


def long_page(test):
    lines = "".join(f"<h2>Chapter {n}</h2><p style='color:hsl({n * 37},60%,30%)'>" +
                    f"The tide table of harbour {n} lists high water at {n % 12}:{n * 7 % 60:02d}. " * 6 for n in range(80))
    return text_file(test, "tides.html", f"<!doctype html><meta charset=utf-8><title>Tide tables</title>{lines}").as_uri()


class Seen(unittest.TestCase):
    def programs(self):
        """A terminal and an editor on the left, a browser on the right."""
        Application(self, "xterm", "-title", "Terminal", "-e", "sh", title="Terminal")
        self.terminal = x("getactivewindow")
        text = "".join(f"Line {n}: the ledger of the lighthouse, {n * n} candles\n" for n in range(400))
        Application(self, "mousepad", text_file(self, "ledger.txt", text), title="ledger.txt")
        self.editor = x("getactivewindow")
        chromium(self, long_page(self), "Tide tables")
        self.browser = x("getactivewindow")
        place(self.terminal, 20, 40, 900, 420)
        place(self.editor, 60, 520, 880, 500)
        place(self.browser, 1010, 10, 890, 1040)

    def test_each_picture_shows_what_was_on_its_display(self):
        two_displays(self)
        self.programs()
        witness = Witness(self)
        memory = PictureMemory(self).start()
        for display in (LEFT, RIGHT):
            self.assertTrue(memory.wait_for_picture(display, since=0), memory.diagnosis())

        steps = [
            (LEFT, self.terminal, lambda: type_text("seq 1 40 | sed 's/$/ fathoms and a half/'\n")),
            (RIGHT, self.browser, lambda: x("key", "Next")),
            (LEFT, self.editor, lambda: x("key", "Next", "Next", "Next")),
            (RIGHT, self.browser, lambda: x("key", "End")),
            (LEFT, self.terminal, lambda: type_text("clear; ls -la /usr/bin | head -n 30\n")),
            (LEFT, self.editor, lambda: type_text("A new entry at the end of the night watch.\n")),
        ]
        for display, window, act in steps:
            # Once the screen is still again nothing more comes, so any picture since then will do.
            began = time.time() - 1.1
            activate(window)
            act()
            self.assertTrue(memory.wait_for_picture(display, began), memory.diagnosis())
        pictures = memory.pictures()
        for display in (LEFT, RIGHT):
            self.assertGreaterEqual(len([picture for picture in pictures if picture.of(display)]), 3)
        for picture in pictures:
            display = LEFT if picture.of(LEFT) else RIGHT
            psnr, screens = witness.match(picture, display, picture.at - 2 * STREAM_SECONDS - 0.5, picture.at)
            print(f"{display.name} frame {picture.frame} of {picture.application}: {psnr:.1f} dB, {screens} screens")
            self.assertGreaterEqual(psnr, CRISP, picture)

    def test_a_still_screen_stores_nothing(self):
        two_displays(self)
        Application(self, "mousepad", text_file(self, "still.txt", "nothing moves here but the caret\n"), title="still.txt")
        memory = PictureMemory(self, "captureMode=quality").start()
        for display in (LEFT, RIGHT):
            self.assertTrue(memory.wait_for_picture(display, since=0), memory.diagnosis())

        def content():
            files = [(file, file.stat().st_size, file.stat().st_mtime_ns) for file in memory.video_files()]
            return memory.rows("SELECT count(*), max(id) FROM frames"), files

        # The editor still makes its own little changes just after opening; then it is still.
        end, before, since = time.monotonic() + 2 * LATE, None, 0
        while time.monotonic() < end and (before is None or time.monotonic() < since + STILL_SECONDS):
            if (now := content()) != before:
                before, since = now, time.monotonic()
            time.sleep(0.5)
        self.assertGreaterEqual(time.monotonic(), since + STILL_SECONDS, memory.diagnosis())
        self.assertEqual(len(memory.video_files()), 2, "the segments stay open")


class Resized(unittest.TestCase):
    def has_closed(self, memory, segment):
        """Waits until a segment is whole; answers it."""
        return wait_until(lambda: next(
            (each for each in memory.segments() if each.id == segment and each.closed), None), LATE)

    def moves_on(self, memory, old, new):
        """The segment of a display's old size ends, and one of the new size begins."""
        before = [segment for segment in memory.segments() if not segment.closed and (segment.width, segment.height) == old.size]
        self.assertEqual(len(before), 1, memory.segments())
        yield
        self.assertTrue(memory.wait_for_picture(new, since=0), memory.diagnosis())
        ended = self.has_closed(memory, before[0].id)
        self.assertTrue(ended, memory.segments())
        self.assertEqual(self.witness.readable(ended.file), (ended.count, []))
        self.assertGreater(ended.count, 0)
        opened = [segment for segment in memory.segments() if not segment.closed and (segment.width, segment.height) == new.size]
        self.assertEqual(len(opened), 1, memory.segments())

    def test_a_display_of_another_size_begins_a_new_segment(self):
        narrow, wide = Display("LEFT", 0, 0, 801, 1080), Display("RIGHT", 801, 0, 1119, 1080)
        two_displays(self)
        self.witness = Witness(self)
        Application(self, "xterm", "-title", "Ticking", "-e", "while date; do sleep 1; done", title="Ticking")
        memory = PictureMemory(self).start()
        for display in (LEFT, RIGHT):
            self.assertTrue(memory.wait_for_picture(display, since=0), memory.diagnosis())
        checks = [self.moves_on(memory, LEFT, narrow), self.moves_on(memory, RIGHT, wide)]
        for check in checks:
            next(check)
        narrow.make("screen")
        wide.make("none")
        for check in checks:
            self.assertIsNone(next(check, None))

        # One display goes; the other one goes on.
        right = [segment for segment in memory.segments() if segment.width == wide.size[0]][-1]
        subprocess.run(["xrandr", "--delmonitor", "RIGHT"], check=True)
        self.assertTrue(self.has_closed(memory, right.id), memory.segments())
        self.assertTrue(memory.wait_for_picture(narrow), memory.diagnosis())

    def test_the_screen_of_another_size_begins_a_new_segment(self):
        remove_displays()
        for words in (["--newmode", "small", *"74.5 1280 1344 1472 1664 720 723 728 748".split()], ["--addmode", "screen", "small"]):
            subprocess.run(["xrandr", *words], check=True)
        self.addCleanup(subprocess.run, ["xrandr", "--output", "screen", "--mode", "1920x1080"], check=True)
        whole, small = Display("screen", 0, 0, 1920, 1080), Display("screen", 0, 0, 1280, 720)
        self.witness = Witness(self)
        Application(self, "xterm", "-title", "Ticking", "-e", "while date; do sleep 1; done", title="Ticking")
        place(x("getactivewindow"), 10, 10, 900, 600)
        memory = PictureMemory(self).start()
        self.assertTrue(memory.wait_for_picture(whole, since=0), memory.diagnosis())
        check = self.moves_on(memory, whole, small)
        next(check)
        subprocess.run(["xrandr", "--output", "screen", "--mode", "small"], check=True)
        self.assertIsNone(next(check, None))


if __name__ == "__main__":
    unittest.main(verbosity=2)
