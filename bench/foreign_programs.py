#!/usr/bin/python3
"""Programs of all kinds, each with a file of some 40 known lines: how much of what they show is found again.

usage: foreign_programs.py [PROGRAM…]     on a virtual desktop; QUILLSHADE_BIN names the folder of the built programs

Each program is started on a desktop of its own memory, maximised, and left alone. Every line holds one word that stands in
no other; these words are searched for until all are found, or for half a minute. Then each line that was stored for the
program is compared with the file: it counts as right when all its words stand there, as misread when at least half of them
do, nearly spelled so, and otherwise as the window's own (chrome); lines that the program rightly adds, such as the date of
a mail, are not counted as any of these. The name of the application must be that of its desktop entry or, where that only
says what kind of program it is, the one that it goes by; the title the window's at the end, which a program may tell
without its own name behind it. Pictures of the memory are written to the folder that FOREIGN_PICTURES names.

Ends with exit code 1 when less than 95 % of the lines are found in some program, a title, a name or an address is wrong,
there is no picture, or the window's own lines are a tenth of those stored.
"""

import collections
import configparser
import difflib
import json
import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time

HERE = pathlib.Path(__file__).resolve().parent
sys.path[:0] = [str(HERE), str(HERE / "foreign")]

import documents as files
from heavy_windows import BINARIES, family, firefox_profile, thunderbird_profile, title, wait_until, x

SECONDS = float(os.environ.get("FOREIGN_SECONDS", "30"))
PICTURES = os.environ.get("FOREIGN_PICTURES")
FOUND, CHROME = 0.95, 0.1  # the bars
LATER = 3.0  # seconds without a new frame after which nothing more is expected
ENTRIES = pathlib.Path("/usr/share/applications")


def words_of(line):
    return [word for word in re.findall(r"\w+", line.casefold()) if not word.isdigit() and len(word) > 1]


class Truth:
    """What the file says, to compare what was stored with."""

    def __init__(self, lines, also):
        self.vocabulary = {word for line in lines for word in words_of(line)}
        self.also = re.compile(also) if also else None

    def is_near(self, word):
        return bool(difflib.get_close_matches(word, self.vocabulary, 1, 0.7))

    def judge(self, line):
        """Right, misread, chrome or added, and how many of its words are wrong."""
        if self.also and self.also.search(line):
            return "added", 0
        words = words_of(line)
        unknown = [word for word in words if word not in self.vocabulary]
        if any(len(word) > 3 for word in words if word in self.vocabulary) and not unknown:
            return "right", 0
        if len(unknown) * 2 <= len(words) or words and all(map(self.is_near, unknown)):
            return ("misread", len(unknown)) if words else ("chrome", 0)
        return "chrome", 0


class Memory:
    """The product, over an empty memory."""

    def __init__(self, folder):
        self.folder = folder / ".memory"
        self.environment = dict(os.environ, XDG_CONFIG_HOME=str(folder / ".quillshade"))
        with (folder / ".log").open("w") as log:
            self.process = subprocess.Popen(
                [BINARIES / "quillshade", "--data-dir", self.folder, "--set", "onboardingCompleted=true"],
                env=self.environment, stdout=log, stderr=log)
        if not wait_until(lambda: (self.json("status") or {}).get("running"), 30):
            raise RuntimeError("Quillshade doesn't start: " + (folder / ".log").read_text())

    def ask(self, *arguments):
        return subprocess.run([BINARIES / "quillshadectl", *map(str, arguments), "--data-dir", self.folder],
                              env=self.environment, capture_output=True, text=True, check=False)

    def json(self, *arguments):
        answer = self.ask(*arguments, "--json")
        return json.loads(answer.stdout) if answer.stdout else None

    def finds(self, word):
        return bool(self.json("search", f'"{word}"'))

    def count(self):
        return (self.json("stats") or {}).get("storage", {}).get("frames", 0)

    def frames(self):
        return [frame for number in range(1, self.count() + 1) if (frame := self.json("show", number))]

    def picture(self, frames, file):
        """Writes the newest that can be read; the very last may not be on the disk yet."""
        for frame in reversed(frames):
            if frame["imageState"] == "segment" and self.ask("show", frame["id"], "--image", file).returncode == 0:
                return True
        return False

    def close(self):
        self.process.terminate()
        self.process.wait()


class Program:
    """What is started on which file, how its window is known, and what is expected of it."""

    def __init__(self, called, kind, command, window, prepare=files.text, *, entry="", name="", lines=40, also="", url=None, keys=()):
        self.called, self.kind, self.command, self.window, self.prepare = called, kind, command, window, prepare
        self.entry, self.name, self.lines, self.also, self.url, self.keys = entry, name, lines, also, url, keys

    def expected_name(self):
        if self.name:
            return self.name
        entry = configparser.ConfigParser(interpolation=None, strict=False)
        entry.read(ENTRIES / f"{self.entry}.desktop", encoding="utf-8")
        return entry["Desktop Entry"]["Name"]

    def start(self, folder, environment):
        self.prepare(folder, self.lines)
        command = [word.replace("FOLDER", str(folder)) for word in self.command]
        with (folder / ".program.log").open("w") as log:
            process = subprocess.Popen(command, env=environment, cwd=folder, stdin=subprocess.DEVNULL, stdout=log, stderr=log,
                                       start_new_session=True)
        if not wait_until(lambda: re.search(self.window, title()), 60):
            raise RuntimeError(f"no window, but {title()!r}: " + (folder / ".program.log").read_text()[-300:])
        for key in self.keys:
            x("key", key)
        subprocess.run(["wmctrl", "-r", ":ACTIVE:", "-b", "add,maximized_vert,maximized_horz"], check=False)
        return process

    def run(self):
        folder = pathlib.Path(tempfile.mkdtemp(prefix="foreign-"))
        environment = dict(os.environ, QUILLSHADE_FOREIGN=str(folder), HOME=str(folder), XDG_CONFIG_HOME=f"{folder}/.config",
                           XDG_DATA_HOME=f"{folder}/.data", XDG_CACHE_HOME=f"{folder}/.cache")
        for kind in (".config", ".data", ".cache"):
            (folder / kind).mkdir()
        memory = program = None
        try:
            memory = Memory(folder)
            program = self.start(folder, environment)
            return self.measure(memory, time.monotonic(), folder)
        finally:
            marker = f"QUILLSHADE_FOREIGN={folder}".encode()
            for pid in family((marker, program.pid if program else -1)) - {-1}:
                try:
                    os.kill(pid, signal.SIGKILL)
                except OSError:
                    pass
            if memory:
                memory.close()
            wait_until(lambda: not re.search(self.window, title()), 10)
            shutil.rmtree(folder, ignore_errors=True)

    def measure(self, memory, began, folder):
        missing = collections.deque(files.WORDS[:self.lines])
        first = latest = None
        while missing and time.monotonic() - began < SECONDS:
            # A few that aren't there yet end a round; they come last in the next one.
            failures = 0
            for _ in range(len(missing)):
                word = missing.popleft()
                if memory.finds(word):
                    latest = time.monotonic() - began
                    first = first or latest
                    continue
                missing.append(word)
                failures += 1
                if failures == 3:
                    break
            time.sleep(0.3)
        self.come_to_rest(memory)
        shown = title()
        frames = memory.frames()
        for word in list(missing):
            if memory.finds(word):
                missing.remove(word)
        name = f"{self.called.replace(' ', '-').lower()}.png"
        picture = wait_until(lambda: memory.picture(frames, pathlib.Path(PICTURES or folder) / name), 10, 0.5)
        if PICTURES:
            (pathlib.Path(PICTURES) / f"{name}.json").write_text(json.dumps([sorted(missing), shown, frames], indent=1))
        return Result(self, frames, missing, first, latest, shown, bool(picture))

    @staticmethod
    def come_to_rest(memory):
        count, since = memory.count(), time.monotonic()
        deadline = since + 4 * LATER
        while time.monotonic() - since < LATER and time.monotonic() < deadline:
            time.sleep(0.5)
            if (now := memory.count()) != count:
                count, since = now, time.monotonic()


class Result:
    def __init__(self, program, frames, missing, first, latest, shown, picture):
        self.program, self.missing, self.first, self.latest, self.picture = program, missing, first, latest, picture
        self.frames = [frame for frame in frames if frame["appName"]]
        newest = self.frames[-1] if self.frames else {"windowTitle": None, "appName": None, "url": None}
        self.sources = {source for frame in self.frames for source in frame["textSource"]}
        stored = (newest["windowTitle"] or "").strip()
        self.title = stored and (shown == stored or re.match(r"\s+[-–—] ", shown.removeprefix(stored)))
        self.titles = (newest["windowTitle"], shown)
        self.names = {frame["appName"] for frame in self.frames if frame["windowTitle"] == newest["windowTitle"]}
        self.application = self.names == {program.expected_name()}
        self.address = program.url is None or bool(re.search(program.url, newest["url"] or ""))
        truth = Truth(files.lines(program.lines), program.also)
        self.kinds = collections.defaultdict(list)
        self.words = self.wrong = 0
        for frame in self.frames:
            for line in (frame["text"] or "").splitlines():
                kind, wrong = truth.judge(line)
                self.kinds[kind].append(line)
                if kind in ("right", "misread"):
                    self.words += len(words_of(line))
                    self.wrong += wrong
        self.stored = sum(map(len, self.kinds.values()))

    def faults(self):
        found = self.program.lines - len(self.missing)
        if found < FOUND * self.program.lines:
            yield f"{len(self.missing)} lines aren't found"
        if not self.title:
            yield f"the title is {self.titles[0]!r} instead of {self.titles[1]!r}"
        if not self.application:
            yield f"the application is {sorted(self.names)} instead of {self.program.expected_name()!r}"
        if not self.address:
            yield "the address is wrong"
        if not self.picture:
            yield "there is no picture"
        if len(self.kinds["chrome"]) >= CHROME * max(self.stored, 1):
            yield "too much of the window's own: " + "; ".join(dict.fromkeys(self.kinds["chrome"]))[:200]

    def row(self):
        by = {frozenset(): "–", frozenset({"accessibility"}): "tree", frozenset({"ocr"}): "picture"}.get(
            frozenset(self.sources), "tree and picture")
        seconds = [f"{value:.1f}" if value else "–" for value in (self.first, self.latest)]
        marks = ["yes" if right else "**no**" for right in (self.title, self.application)]
        address = "–" if self.program.url is None else "yes" if self.address else "**no**"
        counts = [len(self.kinds[kind]) for kind in ("right", "misread", "chrome", "added")]
        share = len(self.kinds["chrome"]) / max(self.stored, 1)
        return [self.program.called, self.program.kind, f"{self.program.lines - len(self.missing)} of {self.program.lines}", by,
                *seconds, *marks, address, len(self.frames), self.stored, *counts, f"{share:.2f}", f"{self.wrong} of {self.words}",
                "yes" if self.picture else "**no**", "; ".join(self.faults()) or "–"]


def page_of_canvas(folder, count):
    firefox_profile(folder)
    files.canvas_page(folder, count)


def mail_and_profile(folder, count):
    thunderbird_profile(folder)
    files.mail(folder, count)


def chat_window(folder, count):
    # Conversations that others begin come to the front, and no list of networks comes first.
    (folder / ".config/hexchat").mkdir(exist_ok=True)
    (folder / ".config/hexchat/hexchat.conf").write_text("gui_slist_skip = 1\ngui_tab_newtofront = 1\n")
    files.text(folder, count)


def without_help(folder, count):
    # It would open its help at its first start, and a tip at each later one, in windows of their own.
    (folder / ".jedit").mkdir()
    (folder / ".jedit/properties").write_text("firstTime=false\ntip.show=false\n")
    files.text(folder, count)


SHOWN = ["sh", "-c", "cat FOLDER/notes.txt; exec sleep 1000"]
OFFICE = ["soffice", "-env:UserInstallation=file://FOLDER/profile", "--norestore", "--nologo", "--nofirststartwizard"]
CHROMIUM = ["chromium", *(["--no-sandbox", "--test-type"] if os.geteuid() == 0 else []), "--force-renderer-accessibility",
            "--disable-gpu", "--no-first-run", "--password-store=basic", "--disable-background-networking",
            "--disable-component-update", "--disable-sync", "--user-data-dir=FOLDER/profile"]
CHAT = [sys.executable, str(HERE / "foreign/chat.py"), "FOLDER/notes.txt"]
# It warns the administrator first.
AGREES = "[ $(id -u) != 0 ] || (sleep 3; xdotool key Return) & "
DATES = r"^\W*(\d|Mon|Tue|Wed|Thu|Fri|Sat|Sun|Today)[\w\s:,./+-]*$"
PROGRAMS = {program.called: program for program in [
    Program("AbiWord", "office", ["abiword", "FOLDER/notes.txt"], "notes.txt", entry="abiword", lines=16),
    Program("Impress", "office", [*OFFICE, "--impress", "FOLDER/notes.fodp"], "notes.fodp",
            files.office("fodp", "presentation", "presentation", 1), entry="libreoffice-impress", lines=14),
    Program("Draw", "drawing", [*OFFICE, "--draw", "FOLDER/notes.fodg"], "notes.fodg",
            files.office("fodg", "graphics", "drawing", 2), entry="libreoffice-draw"),
    Program("Gnumeric", "painted sheet", ["gnumeric", "FOLDER/notes.csv"], "notes.csv", files.rows, entry="gnumeric",
            also=r"^[\d\s]+$"),
    Program("Thunderbird", "mail", ["thunderbird", "--no-remote", "--profile", "FOLDER/profile", "FOLDER/notes.eml"],
            "harbourmaster", mail_and_profile, entry="thunderbird", lines=30,
            also=r"(?i)isolde|tristan|harbourmaster|" + DATES),
    Program("LXTerminal", "terminal in the tree", ["lxterminal", "--no-remote", "-t", "Letters", "-e", *SHOWN], "Letters",
            entry="lxterminal"),
    Program("Xfce Terminal", "terminal in the tree", ["xfce4-terminal", "--disable-server", "-T", "Letters", "-x", *SHOWN],
            "Letters", entry="xfce4-terminal"),
    Program("rxvt-unicode", "painted terminal", ["urxvt", "-geometry", "120x50", "-title", "Letters", "-e", *SHOWN], "Letters", name="rxvt-unicode"),
    Program("st", "painted terminal", ["st", "-g", "120x50", "-t", "Letters", "-e", *SHOWN], "Letters", entry="st"),
    Program("kitty", "painted terminal", ["kitty", "--title", "Letters", *SHOWN], "Letters", entry="kitty"),
    Program("Geany", "editor", ["geany", "-i", "FOLDER/notes.txt"], "notes.txt", entry="geany"),
    Program("GVim", "editor", ["gvim", "-f", "FOLDER/notes.txt"], "notes.txt", entry="gvim", also="notes.txt"),
    Program("Emacs", "editor", ["emacs", "--no-splash", "FOLDER/notes.txt"], "notes.txt", name="GNU Emacs"),
    Program("Kate", "editor", ["kate", "FOLDER/notes.txt"], "notes.txt", entry="org.kde.kate"),
    Program("Bluefish", "editor", ["bluefish", "FOLDER/notes.txt"], "notes.txt", name="Bluefish"),
    Program("Text Editor", "editor, GTK 4", ["gnome-text-editor", "-s", "FOLDER/notes.txt"], "notes.txt",
            entry="org.gnome.TextEditor"),
    Program("SciTE", "editor", ["SciTE", "FOLDER/notes.txt"], "notes.txt", entry="SciTE"),
    Program("jEdit", "editor, Java", ["jedit", "-norestore", "-noserver", "-settings=FOLDER/.jedit", "FOLDER/notes.txt"],
            "notes.txt", without_help, entry="jedit"),
    Program("IDLE", "editor, Tk", ["idle", "-e", "FOLDER/notes.py"], "notes.py", files.script, entry="idle"),
    Program("gitk", "history, Tk", ["sh", "-c", "cd FOLDER/letters && exec gitk"], "gitk|letters", files.repository,
            name="Gitk", lines=10, also="(?i)isolde|" + DATES),
    Program("Konversation", "chat", [*CHAT, "konversation", "--server", "127.0.0.1", "--port", "PORT", "--channel", "#harbour",
                                     "--nick", "tristan"], "visitor", entry="org.kde.konversation", also=r"\[(Info|Welcome)\]"),
    Program("HexChat", "chat", ["sh", "-c", AGREES + 'exec "$@"', "sh", *CHAT, "hexchat", "--url=irc://127.0.0.1:PORT/harbour"],
            "visitor", chat_window, entry="io.github.Hexchat", also="(?i)as root|user account|notification plugin"),
    Program("Thunar", "file manager", ["thunar", "FOLDER/letters"], "letters", files.file_names, name="Thunar", lines=20),
    Program("PCManFM", "file manager", ["pcmanfm", "--no-desktop", "FOLDER/letters"], "letters", files.file_names,
            name="PCManFM", lines=20),
    Program("GIMP", "painting", ["gimp", "--no-splash", "FOLDER/notes.png"], "notes", files.painted("notes.png"), entry="gimp"),
    Program("Inkscape", "drawing", ["inkscape", "FOLDER/notes.svg"], "notes.svg", files.svg, entry="org.inkscape.Inkscape"),
    Program("Dia", "drawing", ["dia", "FOLDER/notes.dia"], "notes.dia", files.dia, entry="org.gnome.Dia"),
    Program("Xournal++", "writing on a PDF", ["xournalpp", "FOLDER/notes.pdf"], "notes", files.painted("notes.pdf"),
            entry="com.github.xournalpp.xournalpp"),
    Program("Evince", "PDF", ["evince", "FOLDER/notes.pdf"], "notes.pdf", files.painted("notes.pdf"), entry="org.gnome.Evince"),
    Program("MuPDF", "PDF", ["mupdf", "FOLDER/notes.pdf"], "notes.pdf", files.painted("notes.pdf"), entry="mupdf"),
    Program("Zathura", "PDF", ["zathura", "FOLDER/notes.pdf"], "notes.pdf", files.painted("notes.pdf"), entry="org.pwmt.zathura"),
    Program("Okular", "PDF", ["okular", "FOLDER/notes.pdf"], "notes.pdf", files.painted("notes.pdf"), entry="org.kde.okular",
            lines=19),
    Program("DB Browser", "database", ["sqlitebrowser", "-t", "letters", "FOLDER/notes.db"], "notes.db", files.database,
            entry="sqlitebrowser", lines=24, also=r"^[\d\s]+$"),
    Program("Zim", "notes", ["zim", "--standalone", "FOLDER/letters", "Home"], "Home", files.notebook, entry="zim"),
    Program("Meld", "two texts side by side", ["meld", "FOLDER/notes.txt", "FOLDER/other.txt"], "notes|Meld", files.two_texts,
            entry="org.gnome.Meld"),
    Program("a canvas in Chromium", "painted page", [*CHROMIUM, "FOLDER/canvas.html"], "Harbour chart", files.canvas_page,
            name="Chromium", url="^file://.*/canvas.html$"),
    Program("a canvas in Firefox", "painted page", ["firefox-esr", "--no-remote", "--profile", "FOLDER/profile",
                                                    "FOLDER/canvas.html"], "Harbour chart", page_of_canvas,
            name="Firefox", url="^file://.*/canvas.html$"),
]}
COLUMNS = ["program", "kind", "lines found", "by", "first s", "last s", "title", "application", "address", "frames", "lines stored",
           "right", "misread", "chrome", "added", "share of chrome", "wrong words", "picture", "missed"]


def main():
    if PICTURES:
        pathlib.Path(PICTURES).mkdir(parents=True, exist_ok=True)
    print("| " + " | ".join(COLUMNS) + " |\n|" + "---|" * len(COLUMNS), flush=True)
    code = 0
    for name in sys.argv[1:] or list(PROGRAMS):
        try:
            result = PROGRAMS[name].run()
        except RuntimeError as error:
            print(f"| {name} | {' '.join(str(error).split())} |", flush=True)
            code = 1
            continue
        print("| " + " | ".join(map(str, result.row())) + " |", flush=True)
        if any(result.faults()):
            code = 1
    return code


if __name__ == "__main__":
    sys.exit(main())
