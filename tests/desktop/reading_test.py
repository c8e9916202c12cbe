#!/usr/bin/env python3
"""Words that stand only in pixels are found: at once, or when there is leave to read. Runs inside the virtual desktop."""

import json
import os
import pathlib
import shutil
import signal
import subprocess
import tempfile
import time
import unittest

from pictures import LATE, PictureMemory
from session import BINARIES, CHROMIUM, Application, chromium, text_file, wait_until

WORDS = ["basalt", "cobalt", "driftwood", "ember", "flagstone", "granite", "hemlock", "isthmus", "juniper", "kingfisher"]
DATA = pathlib.Path("/usr/share/tesseract-ocr")
WITHOUT_DATA = ("unshare", "--user", "--map-root-user", "--mount", "sh", "-c",
                f'mount -t tmpfs none {DATA} && exec "$@"', "sh")
QUEUED, DONE = 1, 2
YOUNGEST = 20  # seconds: a frame is left to those who stored it for so long


def terminal(test, script, title):
    """A terminal that tells nobody what it shows."""
    return Application(test, "xterm", "-title", title, "-fa", "DejaVu Sans Mono", "-fs", "12", "-geometry", "60x12+80+80",
                       "-e", "sh", "-c", script, title=title)


class AtOnce(unittest.TestCase):
    def only_from_the_picture(self, memory, word):
        hits = memory.wait_for_hit(word, LATE)
        self.assertTrue(hits, memory.diagnosis())
        frame = json.loads(memory.ctl("show", hits[0]["id"], "--json").stdout)
        self.assertEqual(frame["textSource"], ["ocr"], frame["text"])
        self.assertIn(word, frame["text"].lower())

    def test_the_text_of_a_terminal(self):
        memory = PictureMemory(self).start()
        terminal(self, "echo 'The periwinkle grows by the harbour wall'; exec sleep 1000", "Garden notes")
        self.only_from_the_picture(memory, "periwinkle")

    def test_a_sheet_below_bars_with_many_names(self):
        memory = PictureMemory(self).start()
        sheet = text_file(self, "rocks.csv", "Fruit,Harvest\nperiwinkle,412\nmarzipan,97\n")
        Application(self, "gnumeric", sheet, title="rocks.csv", seconds=60)
        self.assertTrue(memory.wait_for_hit("periwinkle", LATE), memory.diagnosis())
        lines = "\n".join(text for text, in memory.rows("SELECT body FROM frame_text")).splitlines()
        chrome = [line for line in lines if line.split(" ")[0] in ("New", "Print", "Increase", "Format", "Sans", "Undo")]
        self.assertLess(len(chrome), max(1, len(lines) / 10), lines)

    def test_a_page_is_taken_from_its_tree_and_what_it_paints_from_the_picture(self):
        memory = PictureMemory(self).start()
        said = " ".join(["The quick periwinkle grows by the harbour wall."] * 8)
        page = text_file(self, "page.html", f"""<!doctype html><title>Harbour chart</title><p>{said}</p>
<canvas id=c width=900 height=500></canvas><script>const g = c.getContext("2d"); g.font = "24px DejaVu Sans";
g.fillText("The marzipan lighthouse", 40, 200);</script>""")
        chromium(self, page.as_uri(), "Harbour chart", "--start-maximized")
        self.assertTrue(memory.wait_for_hit("marzipan", LATE), memory.diagnosis())
        bodies = lambda: [text.splitlines() for text, in memory.rows("SELECT body FROM frame_text")]
        # A browser that has only just started may tell nothing at the first look.
        self.assertTrue(wait_until(lambda: any(said in lines for lines in bodies()), LATE), memory.diagnosis())
        for lines in bodies():
            if said in lines:
                self.assertEqual([line for line in lines if "periwinkle" in line], [said], "once, as the tree has it")
            self.assertEqual([line for line in lines if "Search" in line or "http" in line], [], "the browser's own")

    def test_a_page_whose_browser_has_no_accessibility(self):
        memory = PictureMemory(self, "skipPrivateWindows=false").start()
        page = text_file(self, "page.html", "<!doctype html><title>Sea chart</title><h1>The marzipan lighthouse</h1>"
                                            "<p>Ships pass it at a distance of three cables.</p>")
        profile = tempfile.mkdtemp(prefix="quillshade-chromium-")
        self.addCleanup(shutil.rmtree, profile, ignore_errors=True)
        command = [word for word in CHROMIUM if word != "--force-renderer-accessibility"]
        nowhere = f"AT_SPI_BUS_ADDRESS=unix:path={profile}/none"
        Application(self, "env", nowhere, *command, f"--user-data-dir={profile}", page.as_uri(), title="Sea chart",
                    seconds=120)
        self.only_from_the_picture(memory, "marzipan")


class Later(unittest.TestCase):
    def states(self, state):
        return {number for number, in self.memory.rows("SELECT id FROM frames WHERE ocr_state = ?", state)}

    def text_in_picture(self, number):
        """As the terminal companion reads it, out of the video."""
        with tempfile.TemporaryDirectory() as folder:
            file = f"{folder}/screen.png"
            self.assertEqual(self.memory.ctl("show", number, "--image", file).returncode, 0)
            read = subprocess.run([BINARIES / "quillshadectl", "ocr", file], capture_output=True, text=True, check=False)
        self.assertEqual(read.stderr, "")
        return read.stdout

    def words_seen(self):
        """Records a terminal that shows one word after another; nothing in it can be read yet."""
        self.memory.command = [*WITHOUT_DATA, *self.memory.command]
        self.memory.start()
        reading = self.memory.status()["reading"]
        self.assertFalse(reading["available"])
        self.assertTrue(reading["problem"], "it isn't said why")
        # The first picture is of an empty terminal.
        script = "".join(f"clear; echo 'Here is the {word} of the old quay'; sleep 4; " for word in WORDS)
        terminal(self, f"sleep 3; {script} exec sleep 1000", "Quay")
        self.assertTrue(wait_until(lambda: len(self.states(QUEUED)) >= len(WORDS) - 1, 3 * LATE), self.memory.diagnosis())
        self.assertEqual(self.states(DONE), set())
        self.memory.stop()
        for word in WORDS:
            self.assertEqual(self.memory.search(word), [])
        self.memory.command = self.memory.command[len(WITHOUT_DATA):]

    def test_what_waited_is_read_and_survives_a_kill(self):
        self.memory = PictureMemory(self, "captureMode=quality")
        self.words_seen()
        last, = self.memory.rows("SELECT max(ts) FROM frames")[0]
        time.sleep(max(0.0, last + YOUNGEST + 1 - time.time()))
        queued = self.states(QUEUED)

        self.memory.start()
        self.assertTrue(wait_until(lambda: self.states(DONE) & queued, LATE, 0.02), self.memory.diagnosis())
        self.memory.process.send_signal(signal.SIGKILL)
        self.memory.process.wait()
        done = self.states(DONE) & queued
        print(f"{len(done)} of {len(queued)} frames were read before the kill")
        self.assertLess(len(done), len(queued), "it was over before the kill")

        # Nothing is read twice, nothing is lost, and no line that a frame has comes again.
        before = {number: self.memory.ctl("show", number, "--json").stdout for number in done}
        self.memory.start()
        self.assertTrue(wait_until(lambda: not self.states(QUEUED) & queued, 3 * LATE), self.memory.diagnosis())
        # A busy machine may have missed a page; what the pictures show is what must be found.
        seen = {word for number in queued for word in WORDS if word in self.text_in_picture(number)}
        self.assertGreater(len(seen), len(WORDS) // 2)
        self.assertEqual({word for word in seen if not self.memory.search(word)}, set())
        for number in queued:
            shown = self.memory.ctl("show", number, "--json").stdout
            if number in before:
                self.assertEqual(shown, before[number])
            lines = json.loads(shown)["text"].splitlines()
            self.assertEqual(len(lines), len(set(lines)), lines)
            self.assertEqual(json.loads(shown)["ocrState"], "done")
        self.assertTrue(wait_until(lambda: self.memory.status()["reading"]["available"], LATE))


if __name__ == "__main__":
    os.environ.setdefault("LANGUAGE", "en")
    unittest.main(verbosity=2)
