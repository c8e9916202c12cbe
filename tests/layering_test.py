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

# What lies outside the rooms, and which rooms may know it.
OUTSIDE = (
    (QT, r"Quillshade(/.*)?"),
    (DISPLAY, r"platform/linux/x11"),
    (DESKTOP, r"platform/linux/atspi|quillshadectl"),
    (MEDIA, r"platform/linux/(libav|tesseract)"),
)
# A program's main fills the interfaces, or a library that it loads does: they alone meet the backends.
BACKENDS = re.compile(r"platform/linux/.*")
LONGEST_MAIN = 60  # lines; more than that is work that a test can't link


def room_of(path):
    parts = pathlib.PurePath(path).parts[:-1]
    return "/".join(parts[:3 if parts[:2] == ("platform", "linux") else 2])


def sources():
    """Each source of the programs, but for their mains, by its room."""
    for folder in ("core", "platform", "Quillshade", "quillshadectl"):
        for path in sorted((ROOT / folder).glob("**/*")):
            if path.suffix in (".h", ".cpp") and path.name != "main.cpp":
                name = path.relative_to(ROOT)
                yield room_of(name), name, INCLUDE.findall(path.read_text(encoding="utf-8"))


def rooms():
    """The table of ARCHITECTURE.md: each room with those that it includes."""
    text = (ROOT / "ARCHITECTURE.md").read_text(encoding="utf-8")
    table = text.partition("| room | what it knows | includes |\n")[2].partition("\n\n")[0]
    rows = re.findall(r"^\| `([^`]+)` \|.*\|([^|]*)\|$", table, re.MULTILINE)
    return {room: set(re.findall(r"`([^`]+)`", others)) for room, others in rows}


def libraries():
    """Of CMakeLists.txt: the folder of each library, and what it links."""
    text = (ROOT / "CMakeLists.txt").read_text(encoding="utf-8")
    return {name: (folder, links.split())
            for name, folder, links in re.findall(r"quillshade_library\((\w+) (\S+)(?:\s+LINK([^)]*))?\)", text)}


class LayeringTest(unittest.TestCase):
    maxDiff = None

    def test_each_room_includes_what_the_table_says(self):
        found = {}
        for room, name, includes in sources():
            others = found.setdefault(room, set())
            others.update(room_of(include) for include in includes if (ROOT / include).is_file())
            for pattern, allowed in OUTSIDE:
                self.assertFalse([include for include in includes if pattern.match(include) and not re.fullmatch(allowed, room)],
                                 name)
        table = rooms()
        self.assertEqual(table.pop("Quillshade"), {"Quillshade/app", "platform/linux"})
        self.assertEqual(table, {room: others - {room} for room, others in found.items()})

    def test_the_arrows_run_one_way(self):
        table, above = rooms(), []

        def visit(room):
            self.assertNotIn(room, above, "a room above includes this one")
            above.append(room)
            for other in table[room]:
                visit(other)
            above.pop()

        for room in table:
            visit(room)
        for room, others in table.items():
            for other in others:
                self.assertFalse(room.startswith("core/") and not other.startswith("core/"), room)
                self.assertFalse(room.startswith("platform") and other.startswith(("Quillshade", "quillshadectl")), room)
                self.assertFalse(room not in ("Quillshade", "platform/linux") and other == "platform/linux", room)

    def test_each_room_links_what_it_includes(self):
        table, known = rooms(), libraries()
        for folder, links in known.values():
            linked = {known[name][0] for name in links if name in known}
            self.assertEqual(linked, table.get(folder, set()), folder)

    def test_programs_are_thin_and_alone_meet_the_backends(self):
        for program in ("Quillshade", "quillshadectl"):
            lines = (ROOT / program / "main.cpp").read_text(encoding="utf-8").splitlines()
            self.assertLessEqual(len(lines), LONGEST_MAIN, program)
        self.assertEqual([], [f"{name} includes {include}" for room, name, includes in sources()
                              if room.startswith(("Quillshade", "quillshadectl")) and room != "quillshadectl/media"
                              for include in includes if BACKENDS.match(include)])


if __name__ == "__main__":
    unittest.main()
