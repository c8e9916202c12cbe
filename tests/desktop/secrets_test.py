#!/usr/bin/env python3
"""Fields that hide what is typed into them, in every toolkit that there is here. Runs inside the virtual desktop."""

import pathlib
import unittest

from session import CHROMIUM, Application, Quillshade, text_file, type_text, wait_until, x

LATE = 60  # seconds within which even a machine that is busy with other things gets there
PROGRAMS = pathlib.Path(__file__).parent / "programs"
PYTHON = "/usr/bin/python3"  # the one that has the toolkits


def setUpModule():
    global memory
    memory = Quillshade(ForAllTests).start()


class ForAllTests:
    addCleanup = staticmethod(unittest.addModuleCleanup)


class Fields(unittest.TestCase):
    def skips(self, reason):
        self.assertTrue(wait_until(lambda: memory.skip_reason() == reason, LATE), memory.diagnosis())

    def hides(self, name, *command):
        """The first field of the program's window is an ordinary one, the second hides its text, and so do all others,
        which were filled with something that begins with "filled"."""
        plain, secret = f"plain{name}", f"typed{name}"
        Application(self, *command, title=f"Fields of {name}")
        type_text(plain)
        self.assertTrue(memory.wait_for_hit(plain, LATE), memory.diagnosis())
        x("key", "Tab")
        type_text(secret[0])
        self.skips("secureInput")
        type_text(secret[1:])
        # With the focus elsewhere the window is recorded again, with all filled fields in it.
        x("key", "shift+Tab", "End")
        type_text("again")
        self.assertTrue(memory.wait_for_hit(f"{plain}again", LATE), memory.diagnosis())
        for word in (secret, "filled", 2 * "\u25cf", 2 * "\u2022"):
            self.assertEqual(memory.occurrences(word), [], word)

    def test_gtk_4(self):
        self.hides("GTK4", PYTHON, PROGRAMS / "fields_gtk4.py")

    def test_gtk_3(self):
        self.hides("GTK3", PYTHON, PROGRAMS / "fields_gtk3.py")

    def test_qt(self):
        for version in ("5", "6"):
            with self.subTest(version):
                self.hides(f"Qt{version}", PYTHON, PROGRAMS / "fields_qt.py", version)

    def test_wxwidgets(self):
        self.hides("wx", PYTHON, PROGRAMS / "fields_wx.py")

    def test_a_page_that_hides_an_ordinary_field_by_its_style(self):
        page = text_file(self, "fields.html", """<!doctype html><title>Fields of Chromium</title>
            <style>.hidden { -webkit-text-security: disc }</style><p><input autofocus><p><input class=hidden>
            <p><input class=hidden value=filledhidden><p><input type=password value=filledpassword>""")
        self.hides("Chromium", *CHROMIUM, f"--user-data-dir={page.parent}/profile", page.as_uri())

    def test_a_page_in_a_window_of_a_program_that_is_no_browser(self):
        page = text_file(self, "page.html", """<!doctype html><title>Fields of WebKit</title>
            <style>.hidden { -webkit-text-security: disc }</style><p>pageofwebkit
            <p><input class=hidden value=filledhidden><p><input type=password value=filledpassword>""")
        Application(self, PYTHON, PROGRAMS / "fields_webkit.py", page.as_uri(), title="Fields of WebKit")
        hits = memory.wait_for_hit("pageofwebkit", LATE)
        self.assertTrue(hits, memory.diagnosis())
        self.assertEqual(hits[0]["url"], page.as_uri())
        self.assertEqual(memory.occurrences("filled"), [])
        x("key", "Tab", "Tab")
        self.skips("secureInput")

    def test_java(self):
        self.hides("Java", "java", "-cp", "/usr/share/java/java-atk-wrapper.jar",
                   "-Djava.library.path=/usr/lib/x86_64-linux-gnu/jni",
                   "-Djavax.accessibility.assistive_technologies=org.GNOME.Accessibility.AtkWrapper",
                   PROGRAMS / "Fields.java")
        x("key", "Tab", "Tab", "Tab", "Tab")  # to the one that calls itself an ordinary field
        self.skips("secureInput")


if __name__ == "__main__":
    unittest.main(verbosity=2)
