#!/usr/bin/python3
"""What Quillshade holds in memory while its user works: programs in turn, with pictures taken and read.

usage: memory.py [SECONDS]     on a virtual desktop; QUILLSHADE_BIN names the folder of the built programs,
MEMORY_PROGRAMS the only ones to show, MEMORY_MAPS a file for the process's smaps at the end

Each program shows text of its own for a while, scrolled and typed into, and is closed before the next one. Some are
read from their picture alone, some from their tree. Programs that aren't installed are passed over. Sampled four times
a second: resident memory, and the share that is this process's own (PSS). Ends with exit code 1 when more than 120 MB
were resident at the end of a turn, at the median, or at the end of it all.
"""

import os
import pathlib
import random
import shutil
import signal
import statistics
import subprocess
import sys
import tempfile
import threading
import time

BINARIES = pathlib.Path(os.environ["QUILLSHADE_BIN"])
SECONDS = float(sys.argv[1]) if len(sys.argv) > 1 else 170.0
TURN = 8.0
BAR = 120
WORDS = [
    "".join(random.Random(rank).choice(("ka", "lo", "mi", "re", "tun", "sel", "or", "va", "din", "pe"))
            for _ in range(1 + rank % 4)) for rank in range(3000)]


def lines(count, seed):
    choice = random.Random(seed)
    return "\n".join(" ".join(choice.choice(WORDS) for _ in range(14)) for _ in range(count))


def page(seed):
    """Half of it is text that a browser tells, half of it painted."""
    painted = "".join(
        f'c.fillText("{text}", 20, {30 + 22 * row});' for row, text in enumerate(lines(25, seed + 1).split("\n")))
    body = "".join(f"<p>{text}</p>" for text in lines(60, seed).split("\n"))
    return (f"<title>Page {seed}</title><canvas id=k width=1700 height=600></canvas>{body}"
            f"<script>c=k.getContext('2d');c.font='18px serif';{painted}</script>")


def programs(folder):
    """Name and command of each; the window that comes to the front is taken for its own."""
    seed = 0
    while True:
        seed += 1
        text, table, html = folder / f"text{seed}.txt", folder / f"table{seed}.csv", folder / f"page{seed}.html"
        text.write_text(lines(300, seed))
        table.write_text(lines(200, seed).replace(" ", ","))
        html.write_text(page(seed))
        root = ["--no-sandbox"] if os.geteuid() == 0 else []
        terminal = ["xterm", "-geometry", "150x55+40+20", "-fa", "DejaVu Sans Mono"]
        yield from [
            [*terminal, "-fs", "10", "-e", "less", str(text)],
            ["mousepad", str(text)],
            ["gnumeric", str(table)],
            ["chromium", *root, "--no-first-run", "--disable-gpu", "--start-maximized", "--password-store=basic",
             f"--user-data-dir={folder}/chromium{seed}", str(html)],
            ["featherpad", "--standalone", str(text)],
            [*terminal, "-fs", "13", "-bg", "black", "-fg", "grey", "-e", "less", str(text)],
            ["libreoffice", f"-env:UserInstallation=file://{folder}/office", "--norestore", "--writer", str(text)],
            ["zenity", "--text-info", "--width=1200", "--height=800", f"--filename={text}"],
            ["firefox-esr", "--profile", str(folder / f"firefox{seed}"), str(html)],
            ["libreoffice", f"-env:UserInstallation=file://{folder}/office", "--norestore", "--calc", str(table)],
            ["kate", "--startanon", str(text)],
            ["geany", "-i", str(text)],
            ["abiword", str(text)],
            ["gvim", "-f", str(text)],
            ["thunar", "/usr/share"],
        ]


def x(*arguments):
    return subprocess.run(["xdotool", *map(str, arguments)], capture_output=True, text=True, check=False).stdout.strip()


def megabytes(pid, file, name):
    try:
        for line in pathlib.Path(f"/proc/{pid}/{file}").read_text().splitlines():
            if line.startswith(name + ":"):
                return int(line.split()[1]) / 1000
    except OSError:
        pass
    return 0.0


class Sampler(threading.Thread):
    def __init__(self, pid):
        super().__init__(daemon=True)
        self.pid, self.resident, self.ended = pid, [], threading.Event()
        self.start()

    def run(self):
        while not self.ended.wait(0.25):
            self.resident.append(megabytes(self.pid, "status", "VmRSS"))


def use(command):
    """One program's turn; whether it showed a window."""
    before = x("getactivewindow")
    if command[0] == "firefox-esr":
        pathlib.Path(command[2]).mkdir(exist_ok=True)
    process = subprocess.Popen(
        command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, start_new_session=True)
    deadline = time.monotonic() + 40
    while x("getactivewindow") in ("", before) and time.monotonic() < deadline:
        time.sleep(0.2)
    shown = x("getactivewindow") not in ("", before)
    end = time.monotonic() + TURN
    while shown and time.monotonic() < end:
        x("key", "Next")
        time.sleep(2)
        x("type", "--delay", "30", "and so on ")
        time.sleep(2)
    os.killpg(process.pid, signal.SIGKILL)
    process.wait()
    return shown


def main():
    folder = pathlib.Path(tempfile.mkdtemp(prefix="quillshade-memory-"))
    quillshade = subprocess.Popen(
        [BINARIES / "quillshade", "--set", "onboardingCompleted=true"], stdout=subprocess.DEVNULL)
    sampler = Sampler(quillshade.pid)
    start, ends, names = time.monotonic(), [], set()
    print(f"{'program':16} {'at second':>9} {'resident':>9} {'share':>9} {'most':>9}")
    only = os.environ.get("MEMORY_PROGRAMS", "").split()
    for command in programs(folder):
        if only and command[0] not in only:
            continue
        if time.monotonic() - start > SECONDS:
            break
        if not shutil.which(command[0]) or not use(command):
            continue
        names.add(command[0])
        ends.append(megabytes(quillshade.pid, "status", "VmRSS"))
        print(f"{command[0]:16} {time.monotonic() - start:9.0f} {ends[-1]:9.1f} "
              f"{megabytes(quillshade.pid, 'smaps_rollup', 'Pss'):9.1f} {megabytes(quillshade.pid, 'status', 'VmHWM'):9.1f}",
              flush=True)
    sampler.ended.set()
    status = subprocess.run([BINARIES / "quillshadectl", "stats"], capture_output=True, text=True, check=False).stdout
    if os.environ.get("MEMORY_MAPS"):
        shutil.copy(f"/proc/{quillshade.pid}/smaps", os.environ["MEMORY_MAPS"])
    quillshade.terminate()
    quillshade.wait(60)
    shutil.rmtree(folder, ignore_errors=True)
    print(status)
    peak = max(sampler.resident)
    met = statistics.median(ends) <= BAR and ends[-1] <= BAR
    print(f"{len(ends)} turns of {len(names)} programs: resident {statistics.median(ends):.0f} MB at the median of their "
          f"ends, {ends[-1]:.0f} at the last, {statistics.median(sampler.resident):.0f} at the median of all samples, "
          f"{peak:.0f} at most; bar {BAR}  {'met' if met else 'NOT MET'}")
    return 0 if met else 1


sys.exit(main())
