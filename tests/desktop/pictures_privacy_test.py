#!/usr/bin/env python3
"""What must be in no picture: excluded programs, private windows, excluded sites. Runs inside the virtual desktop."""

import random
import subprocess
import time
import unittest

from pictures import CANARY, LATE, LEFT, RIGHT, PictureMemory, Witness, geometry, place, two_displays
from session import Application, Chromium, Firefox, activate, text_file, wait_until, x

PHRASE = "quetzalcoatlus"
PAINTED = "44464A"  # what is in the place of a window that must not be seen
OPEN = "00C8A0"  # of what may be seen
# Changes enough of a display to be worth a picture, and too little to pass for a film.
TICKING = r"while sleep 0.7; do printf '\033[H'; for i in 1 2 3; do date '+%N %T %D %c %N %T %D %c %N' | cut -c -80; done; done"


def page(test, name, title, words, colour):
    return text_file(test, name, f"<!doctype html><meta charset=utf-8><title>{title}</title>"
                                 f"<style>html{{background:#{colour};height:100%}}</style><h1>{words}</h1>"
                                 + f"<p>{words} in a paragraph</p>" * 40).as_uri()


class Hidden(unittest.TestCase):
    """Two displays, on each of which something always moves."""

    def desktop(self):
        two_displays(self)
        self.witness = Witness(self)
        self.tickers = []
        for display in (LEFT, RIGHT):
            title = f"Ticking {display.name}"
            Application(self, "xterm", "-title", title, "-e", TICKING, title=title)
            self.tickers.append(x("getactivewindow"))
            place(self.tickers[-1], display.left + 20, 820, 600, 200)
        seed = random.randrange(1 << 32)
        print(f"moments from seed {seed}")
        self.moments = random.Random(seed)

    def pause(self, longest=2.5):
        # With a hand on the desk nothing would be looked at, so most pauses are long enough for a look.
        time.sleep(self.moments.uniform(0, longest))

    def somewhere(self, window):
        """Puts a window somewhere on the two displays, across their border as well."""
        x("windowmove", window, self.moments.randrange(-200, 1500), self.moments.randrange(0, 500))

    def drag(self, window):
        """By the hand of the user: with the button held at places where the program may look."""
        activate(window)
        left, top, *_ = geometry(window)
        x("mousemove", max(10, min(left + 200, 1900)), max(10, min(top + 200, 1070)))
        x("keydown", "alt", "mousedown", 1)
        try:
            for _ in range(4):
                x("mousemove", self.moments.randrange(200, 1800), self.moments.randrange(250, 700))
                self.pause(1)
        finally:
            x("mouseup", 1, "keyup", "alt")

    def sees_both(self):
        for display in (LEFT, RIGHT):
            self.assertTrue(self.memory.wait_for_picture(display), self.memory.diagnosis())

    def painted_over(self, display, area, since):
        """Waits for a picture of a display in which that area is painted over."""
        def found():
            return [picture for picture in self.memory.pictures(since, display)
                    if self.witness.part(picture, (area[0] - display.left, area[1] - display.top, *area[2:]), PAINTED) > 0.99]
        self.assertTrue(wait_until(found, LATE, 0.3), self.memory.diagnosis())

    def nothing_of_the_canary(self):
        """Neither while it runs nor in what is left when it has ended."""
        self.assertEqual(self.memory.traces(self.witness), [])
        self.assertEqual(self.memory.occurrences(PHRASE), [])
        self.memory.stop()
        self.assertEqual(self.memory.traces(self.witness), [])
        self.assertEqual(self.memory.occurrences(PHRASE), [])
        self.assertTrue(self.memory.traces(self.witness, OPEN), "the search for a colour finds what is there")


class Excluded(Hidden):
    def test_a_window_of_an_excluded_program_is_in_no_picture(self):
        self.desktop()
        Application(self, "xterm", "-title", "Meadow", "-bg", f"#{OPEN}", "-e", TICKING, title="Meadow")
        meadow = x("getactivewindow")
        place(meadow, 520, 40, 440, 500)
        css = f"* {{ background: #{CANARY}; }}"

        def open_secret():
            secret = Application(self, "mousepad", text_file(self, "secret.txt", f"{PHRASE}\n" * 60), title="secret.txt", css=css)
            window = x("getactivewindow")
            place(window, 0, 0, 500, 780)
            self.assertTrue(self.witness.shows(CANARY, 200_000))
            return secret, window

        self.memory = PictureMemory(self, "captureMode=quality", "excludedApps=org.xfce.mousepad").start()
        self.sees_both()
        secret, window = open_secret()
        self.assertTrue(wait_until(lambda: self.memory.skip_reason() == "excludedApp", LATE), self.memory.diagnosis())
        # Its menu is a window too.
        x("key", "alt+f")
        self.pause()
        activate(meadow)
        self.pause()
        x("key", "Escape")

        # In the background it is left out, and the rest is there.
        activate(meadow)
        self.sees_both()
        picture = self.memory.pictures(display=LEFT)[-1]
        self.assertGreater(self.witness.part(picture, (10, 30, 480, 740), "000000"), 0.99)
        self.assertGreater(self.witness.part(picture, (540, 200, 400, 300), OPEN), 0.99)
        for _ in range(4):
            activate(self.moments.choice([meadow, *self.tickers]))
            self.somewhere(window)
            self.pause()
            # Behind all others, and above them although another program has the keyboard.
            subprocess.run(["wmctrl", "-i", "-r", window, "-b", self.moments.choice(["add,below", "add,above", "remove,above,below"])], check=True)
            self.pause()
        self.drag(window)
        activate(meadow)
        self.pause()
        secret.close()
        self.assertTrue(wait_until(lambda: self.witness.on_screen(CANARY) == 0, LATE))
        # Closed and opened again while it is recorded.
        secret, window = open_secret()
        activate(meadow)
        self.sees_both()
        self.nothing_of_the_canary()

        # Where it isn't excluded, it is found.
        self.memory = PictureMemory(self).start()
        self.assertTrue(wait_until(lambda: self.memory.traces(self.witness), LATE, 0.5), self.memory.diagnosis())


class Private:
    """The same for every browser."""

    def test_a_private_window_is_in_no_picture(self):
        self.desktop()
        self.browser = self.browser_class(self, page(self, "open.html", "Open meadow", "buttercups everywhere", OPEN), "Open meadow")
        normal = self.browser.window
        place(normal, 20, 20, 700, 700)
        self.memory = PictureMemory(self, "captureMode=quality").start()
        self.sees_both()
        secret = self.browser.open_private(page(self, "secret.html", f"Secret {PHRASE}", f"hidden {PHRASE}", CANARY), PHRASE)
        self.assertTrue(self.witness.shows(CANARY, 100_000))
        place(secret, 1050, 20, 800, 700)

        # In front, on the display of the open window and on the other one.
        self.pause()
        place(secret, 100, 60, 800, 700)
        self.pause()
        place(secret, 1050, 20, 800, 700)
        # Beside: the open window in front, the private one in full view.
        for front in (normal, self.tickers[0], self.tickers[1]):
            activate(front)
            began = time.time()
            self.painted_over(RIGHT, (1070, 40, 760, 660), began)
            self.assertGreater(self.witness.on_screen(CANARY), 100_000, "it is in full view")
        # Behind: in part, on one display.
        place(secret, 250, 60, 720, 700)
        activate(normal)
        began = time.time()
        self.painted_over(LEFT, (740, 80, 220, 660), began)
        # Moved by programs, and dragged by hand.
        for number in range(5):
            activate(self.moments.choice([normal, *self.tickers, secret]))
            self.pause(1)
            self.somewhere(secret)
            self.pause()
            if number % 4 == 3:
                self.drag(secret)
        # Put away and got back, as large as the screen, and gone.
        activate(self.tickers[0])
        x("windowminimize", secret)
        self.pause()
        activate(secret)
        x("key", "F11")
        self.pause()
        x("key", "F11")
        self.pause(1)
        activate(self.tickers[1])
        self.pause()
        activate(secret)
        x("key", "ctrl+w")
        self.assertTrue(wait_until(lambda: self.witness.on_screen(CANARY) == 0, LATE))
        self.sees_both()
        self.nothing_of_the_canary()

        # The same page in an ordinary window is found.
        self.memory = PictureMemory(self).start()
        self.browser.open(page(self, "secret.html", "No secret", "seen by all", CANARY), "No secret")
        self.assertTrue(wait_until(lambda: self.memory.traces(self.witness), LATE, 0.5), self.memory.diagnosis())

    def test_a_page_of_an_excluded_site_is_in_no_picture(self):
        self.desktop()
        self.browser = self.browser_class(self, page(self, "open.html", "Open meadow", "buttercups everywhere", OPEN), "Open meadow")
        normal = self.browser.window
        place(normal, 20, 20, 700, 700)
        self.memory = PictureMemory(self, "captureMode=quality", "excludedSites=forbidden-place").start()
        self.sees_both()
        secret = self.browser.open(
            page(self, "forbidden-place.html", f"Forbidden {PHRASE}", f"hidden {PHRASE}", CANARY), PHRASE, *self.another_window)
        place(secret, 1050, 20, 800, 700)
        self.pause()
        for front in (normal, self.tickers[1]):
            activate(front)
            self.painted_over(RIGHT, (1070, 40, 760, 660), time.time())
        for _ in range(4):
            activate(self.moments.choice([normal, *self.tickers, secret]))
            self.somewhere(secret)
            self.pause()
        activate(secret)
        x("key", "ctrl+w")
        self.assertTrue(wait_until(lambda: self.witness.on_screen(CANARY) == 0, LATE))
        self.sees_both()
        self.nothing_of_the_canary()


class WithPicturesOfWindows(Hidden):
    """Under a window manager that composes the screen, and shows small pictures where one switches between windows."""

    def setUp(self):
        manager = subprocess.Popen(["xfwm4", "--replace", "--compositor=on"], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)

        def openbox_again():
            manager.kill()
            manager.wait()
            subprocess.Popen(["openbox", "--replace"], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
            self.assertTrue(wait_until(lambda: self.manager() == "Openbox"))

        self.addCleanup(openbox_again)
        self.assertTrue(wait_until(lambda: self.manager() == "Xfwm4"))

    def manager(self):
        shown = subprocess.run(["wmctrl", "-m"], capture_output=True, text=True).stdout
        return next((line.split()[1] for line in shown.splitlines() if line.startswith("Name:")), "")

    def hidden_at(self, area, since):
        """Waits for a picture of the right display in which that area shows nothing."""
        part = (area[0] - RIGHT.left, area[1] - RIGHT.top, *area[2:])

        def found():
            return [picture for picture in self.memory.pictures(since, RIGHT)
                    if max(self.witness.part(picture, part, colour) for colour in (PAINTED, "000000")) > 0.99]
        self.assertTrue(wait_until(found, LATE, 0.3), self.memory.diagnosis())

    def test_a_private_window_is_in_no_picture_where_one_switches(self):
        self.desktop()
        self.browser = Chromium(self, page(self, "open.html", "Open meadow", "buttercups everywhere", OPEN), "Open meadow")
        normal = self.browser.window
        place(normal, 20, 40, 700, 700)
        self.memory = PictureMemory(self, "captureMode=quality").start()
        self.sees_both()
        secret = self.browser.open_private(page(self, "secret.html", f"Secret {PHRASE}", f"hidden {PHRASE}", CANARY), PHRASE)
        place(secret, 1050, 40, 800, 700)
        # In full view it is hidden where it is, and pictures go on.
        for front in (self.tickers[0], normal):
            activate(front)
            self.hidden_at((1070, 140, 700, 500), time.time())
        # Out of sight but for the switcher, which shows no pictures of minimised windows.
        place(secret, 1080, 100, 700, 500)
        place(normal, 1010, 30, 890, 720)
        activate(normal)
        self.assertTrue(wait_until(lambda: self.witness.on_screen(CANARY) == 0, LATE))
        for front in (*self.tickers, normal):
            activate(front)
            x("keydown", "alt", "key", "Tab")
            try:
                self.assertTrue(wait_until(lambda: self.witness.on_screen(CANARY) > 100, LATE), "it is in the switcher")
                self.sees_both()
                x("key", "Escape")
            finally:
                x("keyup", "alt")
        self.nothing_of_the_canary()


class InChromium(Private, Hidden):
    browser_class, another_window = Chromium, ["--new-window"]


class InFirefox(Private, Hidden):
    browser_class, another_window = Firefox, ["--new-window"]


if __name__ == "__main__":
    unittest.main(verbosity=2)
