#!/usr/bin/env python3
"""What real programs show in windows that aren't what they were a moment ago: numbers that are used again, pages that
change under their title, what is dragged out of them, programs of several applications. Runs inside the virtual desktop."""

import os
import pathlib
import shutil
import signal
import tempfile
import time
import unittest

from pictures import CANARY, LATE, NEAR, RIGHT, PictureMemory, Witness, geometry, place, two_displays
from session import CHROMIUM, Application, Chromium, Firefox, Quillshade, activate, text_file, type_text, wait_until, x

PHRASE = "quetzalcoatlus"
OPEN = "00C8A0"  # of what may be seen
# Changes enough of a display to be worth a picture, and too little to pass for a film.
TICKING = r"while sleep 0.7; do printf '\033[H'; for i in 1 2 3; do date '+%N %T %D %c %N %T %D %c %N' | cut -c -80; done; done"


def page(test, name, title, words, colour, script=""):
    return text_file(test, name, f"<!doctype html><meta charset=utf-8><title>{title}</title>"
                                 f"<style>html{{background:#{colour};height:100%}}</style><h1>{words}</h1>"
                                 f"<p>{words} in a paragraph</p><script>{script}</script>").as_uri()


class Windows(unittest.TestCase):
    """Two displays; on the right one something always moves, and has the keyboard."""

    def desktop(self):
        two_displays(self)
        self.witness = Witness(self)
        Application(self, "xterm", "-title", "Ticking", "-e", TICKING, title="Ticking")
        self.ticker = x("getactivewindow")
        place(self.ticker, RIGHT.left + 20, 820, 600, 200)

    def begin(self, *settings):
        self.memory = PictureMemory(self, "captureMode=quality", *settings).start()

    def pictures_of_both(self, count=1):
        """That many pictures of the right display, one after the other."""
        for _ in range(count):
            self.assertTrue(self.memory.wait_for_picture(RIGHT), self.memory.diagnosis())

    def shows(self, colour, since=0.0):
        """Waits until a picture of what is there now shows that colour."""
        def found():
            return any(self.witness.part(picture, (100, 200, 400, 400), colour, NEAR) > 0.5
                       for picture in self.memory.pictures(since, RIGHT)[-3:])
        self.assertTrue(wait_until(found, LATE, 0.3), self.memory.diagnosis())

    def nothing_of_the_canary(self):
        self.memory.stop()
        self.assertEqual(self.memory.traces(self.witness), [])
        self.assertEqual(self.memory.occurrences(PHRASE), [])


class Restarted(Windows):
    def start(self, title, colour, *options):
        address = page(self, f"{title}.html", title, title, colour)
        self.browser = Application(self, *self.command, *options, address, title=title, seconds=120)
        window = x("getactivewindow")
        place(window, RIGHT.left + 20, 20, 700, 700)
        activate(self.ticker)
        self.assertTrue(self.witness.shows(colour, 100_000))
        return window

    def end(self, colour):
        self.browser.process.terminate()
        self.browser.process.wait()
        self.assertTrue(wait_until(lambda: self.witness.on_screen(colour) == 0, LATE))

    def test_no_window_inherits_what_the_one_with_its_number_proved(self):
        self.desktop()
        profile = tempfile.mkdtemp(prefix="quillshade-browser-")
        self.addCleanup(shutil.rmtree, profile, ignore_errors=True)
        self.command = [*CHROMIUM, f"--user-data-dir={profile}"]
        self.begin()
        last, reused = None, set()
        for number in range(10):
            since = time.time()
            if is_private := number % 2 == 1:
                window = self.start(f"Secret {PHRASE}", CANARY, "--incognito")
                self.pictures_of_both(2)
                self.assertEqual(self.memory.traces(self.witness), [])
                self.end(CANARY)
            else:
                window = self.start("Open meadow", OPEN)
                self.shows(OPEN, since)
                self.end(OPEN)
            if window == last:
                reused.add(is_private)
            last = window
            if len(reused) == 2:
                break
        self.assertEqual(len(reused), 2, "no number was used again")
        self.nothing_of_the_canary()


class UnderOneTitle:
    """Pages of one title, some of them excluded. The same for every browser."""

    def background(self, address, colour):
        self.desktop()
        self.browser = self.browser_class(self, address, "Sign in")
        place(self.browser.window, RIGHT.left + 20, 20, 700, 700)
        activate(self.ticker)
        self.assertTrue(self.witness.shows(colour, 100_000))

    def test_a_page_that_goes_to_an_excluded_one_and_back(self):
        secret = page(self, "forbidden-place.html", "Sign in", f"hidden {PHRASE}", CANARY,
                      "setTimeout(() => history.back(), 4000)")
        self.background(page(self, "open.html", "Sign in", "buttercups everywhere", OPEN,
                             f"addEventListener('pageshow', () => setTimeout(() => location = '{secret}', 9000))"), OPEN)
        self.begin("excludedSites=forbidden-place")
        self.shows(OPEN)
        for _ in range(2):
            self.assertTrue(self.witness.shows(CANARY, 100_000))
            self.assertTrue(self.witness.shows(OPEN, 100_000))
        since = time.time()
        self.shows(OPEN, since)
        self.nothing_of_the_canary()

    def test_a_page_that_changes_its_address_by_itself(self):
        script = f"""
            setInterval(() => {{
                const secret = !location.hash.includes('forbidden-place');
                history.pushState(null, '', secret ? '#forbidden-place' : '#open');
                document.documentElement.style.background = secret ? '#{CANARY}' : '#{OPEN}';
                document.querySelector('h1').textContent = secret ? '{PHRASE}' : 'buttercups';
            }}, 4500)"""
        self.background(page(self, "open.html", "Sign in", "buttercups everywhere", OPEN, script), OPEN)
        self.begin("excludedSites=forbidden-place")
        # In front as well.
        for front in (self.ticker, self.browser.window):
            activate(front)
            for _ in range(2):
                self.assertTrue(self.witness.shows(CANARY, 100_000))
                self.assertTrue(self.witness.shows(OPEN, 100_000))
        self.assertTrue(self.memory.pictures(display=RIGHT))
        self.nothing_of_the_canary()


class InChromium(UnderOneTitle, Windows):
    browser_class = Chromium


class InFirefox(UnderOneTitle, Windows):
    browser_class = Firefox


class Dragged(Windows):
    def test_what_is_dragged_out_of_an_excluded_page_is_in_no_picture(self):
        self.desktop()
        self.begin("excludedSites=forbidden-place")
        box = f"<div draggable=true style='position:fixed;inset:0;width:400px;height:400px;background:#{CANARY}'></div>"
        browser = Firefox(self, page(self, "forbidden-place.html", "Forbidden", box, CANARY), "Forbidden")
        place(browser.window, 20, 40, 800, 700)
        self.assertTrue(self.witness.shows(CANARY, 100_000))
        left, top, *_ = geometry(browser.window)
        x("mousemove", left + 200, top + 300, "mousedown", 1)
        try:
            for step in range(1, 12):
                x("mousemove", left + 200 + 10 * step, top + 300)
            before = self.witness.on_screen(CANARY)

            def is_dragged():
                for place_of_pointer in (1400, 1410):
                    x("mousemove", place_of_pointer, 400)
                return self.witness.on_screen(CANARY) > before + 50_000

            self.assertTrue(wait_until(is_dragged, LATE, 0.3), "nothing is dragged")
            # It rests, and moves on, over windows that may be seen.
            for pointer in (1400, 1300, 1450):
                x("mousemove", pointer, 450)
                self.pictures_of_both()
        finally:
            x("mouseup", 1)
        self.nothing_of_the_canary()


class Office(unittest.TestCase):
    def test_an_excluded_application_of_a_suite_is_not_recorded(self):
        memory = Quillshade(self, "excludedApps=libreoffice-writer").start()
        Application(self, "xterm", "-title", "Buttercups there", title="Buttercups there")
        self.assertTrue(memory.wait_for_hit("buttercups there", LATE), memory.diagnosis())
        profile = pathlib.Path(tempfile.mkdtemp(prefix="quillshade-office-"))
        self.addCleanup(shutil.rmtree, profile, ignore_errors=True)
        # No tip of the day in front of the document.
        (profile / "user").mkdir()
        (profile / "user/registrymodifications.xcu").write_text(
            '<?xml version="1.0" encoding="UTF-8"?><oor:items xmlns:oor="http://openoffice.org/2001/registry">'
            '<item oor:path="/org.openoffice.Office.Common/Misc"><prop oor:name="ShowTipOfTheDay" oor:op="fuse">'
            '<value>false</value></prop></item></oor:items>')
        file = text_file(self, f"{PHRASE}.txt", f"hidden {PHRASE}\n" * 20)
        Application(self, "soffice", f"-env:UserInstallation=file://{profile}", "--norestore", "--nologo", "--writer", file,
                    title=PHRASE, seconds=60)
        # What was started starts the program itself, which would outlive it.
        self.addCleanup(os.kill, int(x("getwindowpid", x("getactivewindow"))), signal.SIGKILL)
        self.assertTrue(wait_until(lambda: memory.skip_reason() == "excludedApp", LATE), memory.diagnosis())
        type_text(f"more {PHRASE} and again {PHRASE}")
        # It is left out for as long as it is in front: past the time after which a window is read again.
        until = time.time() + 8
        self.assertTrue(wait_until(lambda: memory.skip_reason() != "excludedApp" or time.time() > until, LATE))
        self.assertEqual(memory.skip_reason(), "excludedApp")
        memory.stop()
        self.assertEqual(memory.occurrences(PHRASE), [])
        self.assertTrue(memory.occurrences("uttercups"), "the search for bytes finds what is there")


if __name__ == "__main__":
    unittest.main(verbosity=2)
