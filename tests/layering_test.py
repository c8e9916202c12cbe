"""The arrows between the rooms run one way: what lies below doesn't know what lies above it.

Libraries alone don't show every wrong include: headers of Qt and of the system are there for everybody.
"""

import pathlib
import re
import unittest

ROOT = pathlib.Path(__file__).resolve().parent.parent
INCLUDE = re.compile(r'^\s*#\s*include\s*[<"]([^>"]+)[>"]', re.MULTILINE)

QT = re.compile(r"Q[A-Z]\w*(/.*)?$|Qt\w+/.*")
DISPLAY = re.compile(r"(xcb|X11|xkbcommon|wayland\S*)/.*")
DESKTOP = re.compile(r"(systemd|dbus|atspi|gtk|glib|gio)\S*/.*|glib\.h$")
MEDIA = re.compile(r"(libav\w+|libsw\w+)/.*|x265\.h$|(tesseract|leptonica)/.*")

# Files of these folders or patterns, and what they must not include.
RULES = (
    ("core/**/*", (QT, DISPLAY, DESKTOP, MEDIA, re.compile(r"(platform|Quillshade|quillshadectl|tests)/.*"))),
    ("platform/*", (QT, DISPLAY, DESKTOP, MEDIA, re.compile(r"(platform/(linux|fake)|Quillshade|quillshadectl|tests)/.*"))),
    ("platform/fake/*", (QT, DISPLAY, DESKTOP, MEDIA, re.compile(r"(platform/linux|Quillshade|quillshadectl)/.*"))),
    ("platform/linux/**/*", (re.compile(r"(platform/fake|Quillshade|quillshadectl|tests)/.*"),)),
    ("Quillshade/**/*", (DISPLAY, DESKTOP, MEDIA, re.compile(r"(platform/fake|quillshadectl|tests)/.*"))),
    ("quillshadectl/**/*", (QT, DISPLAY, MEDIA, re.compile(r"(platform/fake|Quillshade|tests)/.*"))),
)
# The programs meet their backends in one place.
BACKENDS = re.compile(r"platform/linux/.*")
LONGEST_MAIN = 60  # lines; more than that is work that a test can't link


def sources(pattern):
    return [path for path in sorted(ROOT.glob(pattern)) if path.suffix in (".h", ".cpp")]


def includes(path):
    return INCLUDE.findall(path.read_text(encoding="utf-8"))


class LayeringTest(unittest.TestCase):
    def test_no_file_includes_what_lies_above_it(self):
        wrong = []
        for pattern, forbidden in RULES:
            files = sources(pattern)
            self.assertTrue(files, f"{pattern} matches no file")
            wrong += [f"{path.relative_to(ROOT)} includes {name}"
                      for path in files for name in includes(path) if any(rule.match(name) for rule in forbidden)]
        self.assertEqual(wrong, [])

    def test_backends_are_chosen_by_the_program_alone(self):
        self.assertEqual([], [f"{path.relative_to(ROOT)} includes {name}"
                              for folder in ("Quillshade", "quillshadectl") for path in sources(f"{folder}/**/*")
                              if path.name != "main.cpp"
                              for name in includes(path) if BACKENDS.match(name)])

    def test_programs_are_thin(self):
        programs = [path for folder in ("Quillshade", "quillshadectl") for path in sources(f"{folder}/main.cpp")]
        self.assertTrue(programs)
        self.assertEqual([], [str(path) for path in programs
                              if len(path.read_text(encoding="utf-8").splitlines()) > LONGEST_MAIN])


if __name__ == "__main__":
    unittest.main()
