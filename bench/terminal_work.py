#!/usr/bin/python3
"""Ten minutes of work in terminals that tell nobody what they show: how much of it the memory finds.

usage: terminal_work.py [PROGRAM…]     on a virtual desktop; QUILLSHADE_BIN names the folder of the built programs

A compiler, two editors, a pager and a slow log, each in an xterm; what a person does goes through the X server. A
terminal within the terminal knows what stood on its screen. Of the lines that stood there for five seconds, a line counts
as found when a search for its three longest words gives a moment; lines with fewer words of four letters are bars of the
programs. Ends with exit code 1 when fewer than 98 of a hundred are found. TERMINAL_SECONDS: how long each works.
"""

import json
import os
import pathlib
import random
import re
import shutil
import subprocess
import sys
import tempfile
import time

HERE = pathlib.Path(__file__).resolve().parent / "terminal"
BINARIES = pathlib.Path(os.environ["QUILLSHADE_BIN"])
SECONDS = float(os.environ.get("TERMINAL_SECONDS", "120"))
STOOD, BAR = 5.0, 0.98
sys.path.insert(0, str(HERE))
from writer import WORDS  # noqa: E402


def x(*arguments):
    subprocess.run(["xdotool", *map(str, arguments)], check=False, capture_output=True)


def typing(until):
    """Sentences, with a rest after each and a longer one at times."""
    chance = random.Random(5)
    number = 0
    while time.monotonic() < until:
        number += 1
        x("type", "--delay", 70, " ".join(chance.sample(WORDS, 6)) + ".")
        x("key", "Return")
        time.sleep(chance.uniform(0.5, 2) if number % 4 else 5)
    time.sleep(STOOD + 1)


def paging(until):
    while time.monotonic() < until:
        time.sleep(6.5)
        x("key", "space")


def watching(until):
    time.sleep(max(0.0, until - time.monotonic()))


TASKS = {
    "compiler": (["/usr/bin/python3", HERE / "writer.py", "compiler", SECONDS], watching),
    "vim": (["vi", "-u", "NONE", "-n", "notes.txt"], typing),
    "nano": (["nano", "letter.txt"], typing),
    "pager": (["less", "book.txt"], paging),
    "slow log": (["/usr/bin/python3", HERE / "writer.py", "log", SECONDS], watching),
}


class Work:
    def __init__(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="terminal-work-"))
        self.data = self.folder / "data"
        self.environment = dict(os.environ, XDG_CONFIG_HOME=str(self.folder / "config"))
        with open(self.folder / "book.txt", "w", encoding="utf-8") as book:
            subprocess.run([HERE / "writer.py", "text", "900"], stdout=book, check=True)

    def ctl(self, *arguments):
        return subprocess.run([BINARIES / "quillshadectl", *map(str, arguments), "--data-dir", self.data],
                              env=self.environment, capture_output=True, text=True, check=False)

    def run(self, name):
        command, act = TASKS[name]
        shown = self.folder / (name + ".json")
        terminal = subprocess.Popen(
            ["xterm", "-title", name, "-fa", "DejaVu Sans Mono", "-fs", "11", "-geometry", "110x36+40+40", "-e",
             "/usr/bin/python3", HERE / "witness.py", shown, *map(str, command)], cwd=self.folder)
        time.sleep(3)
        if act is typing and name == "vim":
            x("key", "i")
        act(time.monotonic() + SECONDS)
        lines = json.loads(shown.read_text())
        terminal.kill()
        terminal.wait()
        time.sleep(1)
        return {line for line, seconds, _ in lines if seconds >= STOOD}

    def is_found(self, words):
        return self.ctl("search", " ".join(words), "--json").stdout.strip() not in ("", "[]")

    def report(self):
        recorder = subprocess.Popen(
            [BINARIES / "quillshade", "--data-dir", self.data, "--set", "textOnlyMode=false", "--set",
             "onboardingCompleted=true"], env=self.environment, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        try:
            time.sleep(2)
            stood = {name: self.run(name) for name in sys.argv[1:] or TASKS}
            time.sleep(5)
            spent = pathlib.Path(f"/proc/{recorder.pid}/stat").read_text().rsplit(")", 1)[1].split()
            cpu = (int(spent[11]) + int(spent[12])) / os.sysconf("SC_CLK_TCK")
            print("| program | lines that stood for 5 s | found |\n|---|---|---|")
            every = found = 0
            for name, lines in stood.items():
                wanted = {line: sorted(words, key=len)[-3:] for line in lines
                          if len(words := sorted(set(re.findall("[a-z]{4,}", line.lower())))) >= 3}
                missing = [line for line, words in wanted.items() if not self.is_found(words)]
                every += len(wanted)
                found += len(wanted) - len(missing)
                print(f"| {name} | {len(wanted)} | {len(wanted) - len(missing)} |")
                for line in missing[:5]:
                    print("missing:", line, file=sys.stderr)
            storage = json.loads(self.ctl("stats", "--json").stdout)["storage"]
            print(f"{found / max(every, 1):.1%} of {every} lines; {storage['frames']} frames; {cpu:.1f} s of CPU")
            return 0 if found >= BAR * every else 1
        finally:
            recorder.terminate()
            recorder.wait()
            shutil.rmtree(self.folder, ignore_errors=True)


if __name__ == "__main__":
    sys.exit(Work().report())
