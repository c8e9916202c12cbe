#!/usr/bin/env python3
"""What real browsers show and must not be remembered. Runs inside the virtual desktop."""

import random
import threading
import time
import unittest

from session import (
    Application, Chromium, Firefox, Quillshade, activate, end_accessibility_bus, text_file, type_text, wait_until, x)

LATE = 90  # seconds within which even a machine that is busy with other things gets there
CANARY = "quetzalcoatlus"


def page(test, name, title, words):
    return text_file(test, name, f"<!doctype html><meta charset=utf-8><title>{title}</title><h1>{words}</h1>"
                                 f"<p>{words} in a paragraph</p><button>{words} to press</button>").as_uri()


class Secrets:
    """The same for every browser."""

    def begin(self, *settings):
        self.memory = Quillshade(self, *settings).start()
        self.open_page = page(self, "open.html", "Open meadow", "buttercups everywhere")
        self.browser = self.browser_class(self, self.open_page, "Open meadow")
        self.assertTrue(self.memory.wait_for_hit("buttercups everywhere", LATE), self.memory.diagnosis())

    def skips(self, reason):
        self.assertTrue(wait_until(lambda: self.memory.skip_reason() == reason, LATE), self.memory.diagnosis())

    def nothing_of(self, *words):
        """While it runs, and in what is left when it has ended."""
        for word in words:
            self.assertEqual(self.memory.occurrences(word), [])
        self.memory.stop()
        for word in words:
            self.assertEqual(self.memory.occurrences(word), [])
        self.assertTrue(self.memory.occurrences("buttercups"), "the search for bytes finds what is there")

    def test_a_private_window_is_not_recorded(self):
        self.begin()
        hit = self.memory.search("buttercups")[0]
        self.assertEqual(hit["url"], self.open_page)
        secret = self.browser.open_private(page(self, "secret.html", f"Secret {CANARY}", f"hidden {CANARY}"), CANARY)
        self.skips("privateWindow")

        # From one to the other at moments that no tick expects.
        seed = random.randrange(1 << 32)
        print(f"moments from seed {seed}")
        moments = random.Random(seed)
        for _ in range(10):
            for window in (self.browser.window, secret):
                activate(window)
                time.sleep(moments.uniform(0, 2.5))

        # The ordinary window is still recorded, in front of the private one.
        activate(self.browser.window)
        self.browser.open(page(self, "later.html", "Later meadow", "cornflowers at last"), "Later meadow")
        self.assertTrue(self.memory.wait_for_hit("cornflowers at last", LATE), self.memory.diagnosis())
        self.nothing_of(CANARY)

    def test_an_excluded_site_is_not_recorded(self):
        self.begin("excludedSites=forbidden.example,forbidden-place")
        self.browser.open(page(self, "forbidden-place.html", f"Forbidden {CANARY}", f"hidden {CANARY}"), CANARY)
        self.skips("excludedSite")
        # The same window with another tab in front, the excluded one behind.
        x("key", "ctrl+Page_Up")
        self.assertTrue(wait_until(lambda: "Open meadow" in x("getactivewindow", "getwindowname"), LATE))
        self.assertTrue(wait_until(lambda: self.memory.skip_reason() == "none", LATE), self.memory.diagnosis())
        self.browser.open(page(self, "later.html", "Later meadow", "cornflowers at last"), "Later meadow")
        self.assertTrue(self.memory.wait_for_hit("cornflowers at last", LATE), self.memory.diagnosis())
        for _ in range(6):
            x("key", "ctrl+Page_Up")
            time.sleep(0.7)
        self.nothing_of(CANARY)

    def test_without_the_accessibility_bus_no_browser_is_recorded(self):
        self.begin()
        over = threading.Event()

        def keep_away():
            while not over.wait(0.02):
                end_accessibility_bus()

        killer = threading.Thread(target=keep_away)
        killer.start()
        try:
            self.assertTrue(wait_until(lambda: not self.memory.status()["accessibility"]["available"], LATE))
            self.browser.open(page(self, "during.html", "Outage", "thistles meanwhile"), "Outage")
            self.skips("unverifiedBrowser")
            self.browser.open_private(page(self, "secret.html", f"Secret {CANARY}", f"hidden {CANARY}"), CANARY)
            time.sleep(5)
            # Other programs go on, as far as the display tells about them.
            Application(self, "xterm", "-title", "Goldfinches there", title="Goldfinches there")
            self.assertTrue(self.memory.wait_for_hit("goldfinches there", LATE), self.memory.diagnosis())
        finally:
            over.set()
            killer.join()
        self.assertEqual(self.memory.search("thistles"), [])
        self.assertEqual(self.memory.search("outage"), [])
        self.nothing_of(CANARY)


class InChromium(Secrets, unittest.TestCase):
    browser_class = Chromium


class InFirefox(Secrets, unittest.TestCase):
    browser_class = Firefox


if __name__ == "__main__":
    unittest.main(verbosity=2)
