#!/usr/bin/env python3
"""The program is killed while it records pictures, again and again. Runs inside the virtual desktop."""

import os
import random
import signal
import time
import unittest

from pictures import LATE, LEFT, RIGHT, PictureMemory, Witness, place, two_displays
from session import Application, wait_until, x

# A fifth of them unless all are asked for: a round takes some four seconds.
ROUNDS = 50 if os.environ.get("QUILLSHADE_ALL_KILLS") else 10
# Changes all the time, and on each display enough to be worth a picture.
CHANGING = r"while sleep 0.05; do printf '\033[H'; for i in 1 2 3; do date '+%N %T %D %c %N %T %D %c %N' | cut -c -80; done; done"


class Killed(unittest.TestCase):
    def promised(self):
        """The place of each picture that a row points at, by frame."""
        return {picture.frame: picture for picture in self.memory.pictures()}

    def recovered(self):
        """After a start: every segment of before is closed, and what the rows point at can be read."""
        open_before = [segment for segment in self.before_segments if not segment.closed]
        now = {segment.id: segment for segment in self.memory.segments()}
        for segment in open_before:
            if segment.id in now:
                self.assertTrue(now[segment.id].closed, f"{segment} was left open")
        known = {segment.file for segment in now.values()}
        for file in self.memory.video_files():
            self.assertIn(file, known, "a file that no row knows")
        for segment in now.values():
            if not segment.closed or segment.id in self.checked:
                continue
            self.assertEqual(self.witness.readable(segment.file), (segment.count, []), segment)
            self.checked[segment.id] = segment.count
        for frame in self.promised().values():
            if frame.segment in self.checked:
                self.assertLess(frame.index, self.checked[frame.segment], f"{frame} points at no picture")

    def lost(self):
        """How many pictures of each display that were promised before the kill are gone; each must be its last."""
        now = self.promised()
        lost = {display: [frame for frame in self.before.values() if frame.of(display) and frame.frame not in now]
                for display in (LEFT, RIGHT)}
        for display, frames in lost.items():
            self.assertLessEqual(len(frames), 1, f"{display.name}: {frames}")
            last = max((frame.frame for frame in self.before.values() if frame.of(display)), default=None)
            for frame in frames:
                self.assertEqual(frame.frame, last, "only the last one may be lost")
                state, = self.memory.rows("SELECT image_state, segment_id FROM frames WHERE id = ?", frame.frame)
                self.assertNotEqual(state[0], 1, "its row says so")
        return sum(len(frames) for frames in lost.values())

    def test_what_was_stored_survives_kills_at_any_moment(self):
        two_displays(self)
        self.witness = Witness(self)
        for display in (LEFT, RIGHT):
            title = f"Changing {display.name}"
            Application(self, "xterm", "-title", title, "-e", CHANGING, title=title)
            place(x("getactivewindow"), display.left + 50, 100, 600, 300)
        seed = random.randrange(1 << 32)
        print(f"moments from seed {seed}")
        moments = random.Random(seed)
        self.memory = PictureMemory(self, "captureMode=quality")
        self.before, self.before_segments, self.checked, lost = {}, [], {}, 0
        for number in range(ROUNDS):
            self.memory.start()
            self.recovered()
            lost += self.lost()
            count = len(self.promised())
            began = time.time()
            for display in (LEFT, RIGHT):
                self.assertTrue(wait_until(lambda shown=display: self.memory.pictures(began, shown), LATE, 0.02),
                                self.memory.diagnosis())
            if number % 2:
                # In the moment in which a picture has its row and is on its way to the file.
                frames = self.memory.frame_count()
                wait_until(lambda: self.memory.rows("SELECT count(*) FROM frames")[0][0] > frames, LATE, 0.001)
                time.sleep(moments.choice([0, 0.01, 0.03]))
            else:
                time.sleep(moments.uniform(0, 2.5))
            self.memory.stop(signal.SIGKILL)
            self.before, self.before_segments = self.promised(), self.memory.segments()
            self.assertGreater(len(self.before), count)
        self.memory.start()
        self.recovered()
        lost += self.lost()
        self.assertEqual(self.memory.stop()[0], 0)
        pictures = self.promised()
        print(f"{ROUNDS} kills: {len(pictures)} pictures kept, {lost} lost")
        self.assertGreaterEqual(len(pictures) + lost, 2 * ROUNDS)


if __name__ == "__main__":
    unittest.main(verbosity=2)
