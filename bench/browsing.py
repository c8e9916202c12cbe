#!/usr/bin/python3
"""Somebody reads pages in a browser: what recording that costs, what of it is found, and what is stored wrongly.

usage: browsing.py     on a virtual desktop; QUILLSHADE_BIN names the folder of the built programs

The pages are those of a manual in two languages, a page that is painted on a canvas, and one with a video that plays.
They are scrolled, left for another tab and come back to. Each page reports which of its words stand in view, a moment
after it has come to rest; that is the truth that the memory is compared with. BROWSING_STOP (6) is for how many seconds
each view stands, BROWSING_PAGES (8) how many pages of the manual are read, BROWSING_ROUNDS (1) how often all of it
happens. Chromium, unless BROWSING_BROWSER is "firefox".

recall: of the words in view at any stop, by page, those stored for that page. wrong: of the words stored for a page, those
that stand nowhere on it; of a page read from its picture also those that it was misread into.
"""

import http.server
import json
import os
import pathlib
import re
import shutil
import signal
import sqlite3
import subprocess
import sys
import tempfile
import threading
import time

BINARIES = pathlib.Path(os.environ["QUILLSHADE_BIN"])
STOP = float(os.environ.get("BROWSING_STOP", "6"))
PAGES = int(os.environ.get("BROWSING_PAGES", "8"))
ROUNDS = int(os.environ.get("BROWSING_ROUNDS", "1"))
BROWSER = os.environ.get("BROWSING_BROWSER", "chromium")
MANUAL = pathlib.Path("/usr/share/debian-reference")
RECALL_BAR, WRONG_BAR = 0.99, 1 / 200
OCR = "wick.nomara.ocr"  # the end of its name is all of a thread's that the kernel keeps

# In view is what lies in the window to its last pixel; what stands nowhere else is told when the page has come to rest.
REPORT = """<script>
(() => {
  const inView = range => [...range.getClientRects()].some(r => r.width > 1 && r.top >= 0 && r.left >= 0 &&
    r.bottom <= innerHeight && r.right <= innerWidth);
  const walk = () => { const seen = [], all = [];
    const texts = document.createTreeWalker(document.body, NodeFilter.SHOW_TEXT);
    while (texts.nextNode()) { const node = texts.currentNode;
      if (["SCRIPT", "STYLE"].includes(node.parentElement.tagName) || !node.parentElement.checkVisibility()) continue;
      for (const word of node.data.matchAll(/\\S+/g)) { const range = document.createRange();
        range.setStart(node, word.index); range.setEnd(node, word.index + word[0].length);
        all.push(word[0]); if (inView(range)) seen.push(word[0]); } }
    for (const words of window.painted || []) { seen.push(words); all.push(words); }
    return { title: document.title, seen, all }; };
  let timer; const later = () => { clearTimeout(timer); timer = setTimeout(() => document.hidden ||
    fetch("/seen", { method: "POST", body: JSON.stringify(walk()) }), SETTLE); };
  addEventListener("scroll", later); addEventListener("load", later); addEventListener("visibilitychange", later);
})();
</script>""".replace("SETTLE", str(int(STOP * 500)))

CANVAS = """<!doctype html><html lang=en><meta charset=utf-8><title>Painted chart</title><body style="margin:0">
<canvas id=c width=1800 height=900></canvas><script>
const lines = ["Harvest of the northern orchards by month and by variety", "Bitter oranges were picked before the first frost",
 "Lemons and quinces came from the terraces above the river", "The press ran for eleven days without a pause",
 "Marmalade kept well until the middle of the following summer", "Prices fell by a third when the railway opened"];
const g = c.getContext("2d"); g.fillStyle = "white"; g.fillRect(0, 0, 1800, 900); g.fillStyle = "black";
g.font = "18px DejaVu Sans"; lines.forEach((line, i) => g.fillText(line, 60, 80 + 60 * i)); window.painted = lines.join(" ").split(" ");
</script>"""
VIDEO = """<!doctype html><html lang=en><meta charset=utf-8><title>Moving water</title><h1>Moving water</h1>
<video src=/film.webm width=640 height=360 autoplay loop muted></video>
<p>Below the weir the current turns back on itself and carries the leaves around in a slow circle.</p>"""


def words(text):
    """In lower case, of two letters or digits at least."""
    return {word for word in re.findall(r"[^\W_]+", text.casefold()) if len(word) > 1}


class Pages(http.server.BaseHTTPRequestHandler):
    files, seen, whole = {}, {}, {}

    def do_GET(self):
        kind, content = self.files.get(self.path.partition("?")[0], (None, None))
        if content is None and (MANUAL / self.path.lstrip("/")).is_file():
            kind, content = "application/octet-stream", (MANUAL / self.path.lstrip("/")).read_bytes()
        self.send_response(200 if content is not None else 404)
        if self.path.endswith(".css"):
            kind = "text/css"
        self.send_header("Content-Type", kind or "text/plain")
        self.end_headers()
        self.wfile.write(content or b"")

    def do_POST(self):
        report = json.loads(self.rfile.read(int(self.headers["Content-Length"])))
        self.seen.setdefault(report["title"], set()).update(words(" ".join(report["seen"])))
        self.whole.setdefault(report["title"], set()).update(words(" ".join(report["all"]) + " " + report["title"]))
        self.send_response(204)
        self.end_headers()

    def log_message(self, *_):
        pass


def prepare(folder):
    """The addresses of the pages, in the order in which they are read."""
    order = []
    chapters = sorted(MANUAL.glob("ch*.en.html"))[:PAGES]
    for number, file in enumerate(chapters):
        chosen = file if number % 4 != 3 else file.with_name(file.name.replace(".en.", ".de."))
        html = chosen.read_text(encoding="utf-8")
        Pages.files["/" + chosen.name] = ("text/html; charset=utf-8", html.replace("</body>", REPORT + "</body>").encode())
        order.append("/" + chosen.name)
    subprocess.run(["ffmpeg", "-v", "error", "-f", "lavfi", "-i", "mandelbrot=size=640x360:rate=15", "-t", "8", "-c:v",
                    "libvpx", "-b:v", "800k", folder / "film.webm"], check=True)
    Pages.files["/film.webm"] = ("video/webm", (folder / "film.webm").read_bytes())
    Pages.files["/chart.html"] = ("text/html", (CANVAS + REPORT).encode())
    Pages.files["/water.html"] = ("text/html", (VIDEO + REPORT).encode())
    return [*order[:len(order) // 2], "/chart.html", *order[len(order) // 2:], "/water.html"]


def x(*arguments):
    return subprocess.run(["xdotool", *map(str, arguments)], capture_output=True, text=True, check=False).stdout.strip()


def wait_until(condition, seconds=90.0):
    deadline = time.monotonic() + seconds
    while time.monotonic() < deadline:
        if condition():
            return True
        time.sleep(0.1)
    return False


def ticks(stat, ended):
    """User and system time; with `ended` also that of the children that have ended."""
    fields = stat.read_text().rpartition(")")[2].split()
    return sum(int(field) for field in fields[11:15 if ended else 13]) / os.sysconf("SC_CLK_TCK")


def cpu(pids):
    total = 0
    for pid in pids:
        try:
            total += ticks(pathlib.Path(f"/proc/{pid}/stat"), True)
        except OSError:
            pass
    return total


def shares(pid):
    """CPU time of the threads that are running, by what they do."""
    found = {"encoding": 0.0, "reading pictures": 0.0}
    for task in pathlib.Path(f"/proc/{pid}/task").iterdir():
        name = (task / "comm").read_text().strip()
        kind = "encoding" if name.endswith("encoder") else "reading pictures" if name in ("reading", OCR) else name
        found[kind] = found.get(kind, 0) + ticks(task / "stat", False)
    return found


def family(mark, leader):
    """The processes that carry the mark in their environment, which Chromium writes its title over, and `leader`; and
    their children, but for this one."""
    found, parents = {leader}, {}
    for entry in pathlib.Path("/proc").iterdir():
        try:
            if entry.name.isdigit():
                parents[int(entry.name)] = int((entry / "stat").read_text().rpartition(")")[2].split()[1])
                if mark in (entry / "environ").read_bytes():
                    found.add(int(entry.name))
        except OSError:
            pass  # it has ended
    grown = True
    while grown:
        more = {pid for pid, parent in parents.items() if parent in found} - found
        grown = bool(more)
        found |= more
    return found - {os.getpid()}


def command(profile):
    if BROWSER == "firefox":
        settings = {"browser.aboutwelcome.enabled": False, "datareporting.policy.dataSubmissionEnabled": False,
                    "browser.startup.homepage_override.mstone": "ignore", "accessibility.force_disabled": -1}
        profile.mkdir()
        (profile / "user.js").write_text("".join(f'user_pref("{key}", {json.dumps(value)});\n' for key, value in settings.items()))
        return ["firefox-esr", "--profile", profile, "--width", "1800", "--height", "1000"]
    return ["chromium", *(["--no-sandbox", "--test-type"] if os.geteuid() == 0 else []), "--force-renderer-accessibility",
            "--disable-gpu", "--no-first-run", "--password-store=basic", "--disable-background-networking",
            "--disable-component-update", "--disable-sync", "--disable-features=Translate", "--start-maximized",
            f"--user-data-dir={profile}"]


def browse(address, browser, environment, order):
    def open_page(path):
        subprocess.Popen([*browser, address + path], env=environment, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)

    for turn in range(ROUNDS):
        for number, path in enumerate(order):
            before = x("getactivewindow", "getwindowname")
            if turn + number:
                open_page(path)
                wait_until(lambda before=before: x("getactivewindow", "getwindowname") != before, 20)
            time.sleep(STOP)
            for _ in range(2 if path.startswith("/ch") and "chart" not in path else 0):
                x("key", "Next")
                time.sleep(STOP)
            if number % 3 == 2:  # back to the page before, and here again
                x("key", "ctrl+Prior")
                time.sleep(STOP)
                x("key", "ctrl+Next")
                time.sleep(STOP / 2)


def stored(data):
    """By title: the words of all frames, and how many there are of each."""
    database = sqlite3.connect(f"file:{data}/nomara.sqlite?mode=ro", uri=True)
    found = {}
    for title, text in database.execute("SELECT window_title, body FROM frames JOIN frame_text ON frame_id = frames.id"):
        title = re.sub(r" [-\u2014] (Chromium|Mozilla Firefox)$", "", title or "")
        counts = found.setdefault(title, {})
        for word in re.findall(r"[^\W_]+", text.casefold()):
            if len(word) > 1:
                counts[word] = counts.get(word, 0) + 1
    frames, = database.execute("SELECT COUNT(*) FROM frames").fetchone()
    return found, frames


def main():
    if not MANUAL.is_dir():
        sys.exit("browsing.py: the packages debian-reference-en and debian-reference-de aren't installed")
    folder = pathlib.Path(tempfile.mkdtemp(prefix="browsing-"))
    order = prepare(folder)
    server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Pages)
    threading.Thread(target=server.serve_forever, daemon=True).start()
    address = f"http://127.0.0.1:{server.server_address[1]}"
    mark = f"QUILLSHADE_BROWSING={folder}"
    environment = dict(os.environ, QUILLSHADE_BROWSING=str(folder), LANGUAGE="en", LANG="C.UTF-8")
    leader = os.getpid()
    with (folder / "log").open("w") as log:
        quillshade = subprocess.Popen(
            [BINARIES / "quillshade", "--data-dir", folder / "memory", "--set", "onboardingCompleted=true"],
            env=dict(os.environ, XDG_CONFIG_HOME=f"{folder}/config", LANGUAGE="en", LANG="C.UTF-8"), stdout=log, stderr=log)
    try:
        time.sleep(2)
        browser = command(folder / "profile")
        shown = subprocess.Popen([*browser, address + order[0]], env=environment, stdout=subprocess.DEVNULL,
                                 stderr=subprocess.DEVNULL)
        if not wait_until(lambda: Pages.seen):
            sys.exit("browsing.py: the browser reports no page")
        leader = shown.pid
        began, ours, theirs = time.monotonic(), cpu([quillshade.pid]), cpu(family(mark.encode(), leader))
        browse(address, browser, environment, order)
        theirs = cpu(family(mark.encode(), leader)) - theirs
        seconds = time.monotonic() - began
        time.sleep(5)  # what is read later counts as well
        ours, split = cpu([quillshade.pid]) - ours, shares(quillshade.pid)
        quillshade.terminate()
        quillshade.wait(30)
        found, frames = stored(folder / "memory")
        size = sum(file.stat().st_size for file in (folder / "memory").rglob("*") if file.is_file())
    finally:
        quillshade.kill()
        for pid in family(mark.encode(), leader):
            try:
                os.kill(pid, signal.SIGKILL)
            except OSError:
                pass
        server.shutdown()
        keep = os.environ.get("BROWSING_KEEP")
        if keep:
            shutil.copytree(folder / "memory", keep, dirs_exist_ok=True)
        shutil.rmtree(folder, ignore_errors=True)

    wanted = both = kept = wrong = 0
    for title, seen in Pages.seen.items():
        page = found.get(title, {})
        missing = seen - page.keys()
        foreign = {word: count for word, count in page.items() if word not in Pages.whole[title]}
        wanted, both = wanted + len(seen), both + len(seen) - len(missing)
        kept, wrong = kept + sum(page.values()), wrong + sum(foreign.values())
        if os.environ.get("BROWSING_WORDS"):
            print(title, "| missing:", *sorted(missing), "| wrong:", *sorted(foreign), file=sys.stderr)
    recall, share = both / max(wanted, 1), wrong / max(kept, 1)
    if os.environ.get("BROWSING_WORDS"):
        print({name: round(spent, 2) for name, spent in split.items() if spent >= 0.01}, file=sys.stderr)
    print("| seconds | our CPU s | of it encoding | reading pictures | the browser's | recall | wrong words of those stored "
          "| frames | MB |")
    print("|---|---|---|---|---|---|---|---|---|")
    print(f"| {seconds:.0f} | {ours:.1f} | {split['encoding']:.1f} | {split['reading pictures']:.1f} | {theirs:.0f} | "
          f"{100 * recall:.2f} % of {wanted} | {wrong} of {kept} ({100 * share:.2f} %) | {frames} | {size / 1e6:.1f} |")
    return 0 if recall >= RECALL_BAR and share <= WRONG_BAR else 1


if __name__ == "__main__":
    sys.exit(main())
