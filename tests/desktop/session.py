"""Drives the real program and real applications on the virtual desktop that the test runs in."""

import json
import os
import pathlib
import select
import shutil
import signal
import subprocess
import tempfile
import time

BINARIES = pathlib.Path(os.environ["QUILLSHADE_BIN"])


def wait_until(condition, seconds=20.0, step=0.05):
    """What `condition` answered once it was true; None if it never was."""
    deadline = time.monotonic() + seconds
    while True:
        answer = condition()
        if answer:
            return answer
        if time.monotonic() > deadline:
            return None
        time.sleep(step)


def x(*arguments):
    return subprocess.run(["xdotool", *map(str, arguments)], capture_output=True, text=True, check=False).stdout.strip()


def active_title():
    return x("getactivewindow", "getwindowname")


def activate(window):
    x("windowactivate", "--sync", window)
    assert wait_until(lambda: x("getactivewindow") == window), f"window {window} doesn't come to the front"


def end_accessibility_bus():
    """Kills this desktop's accessibility bus and what would keep it up."""
    desktop = os.environ["QUILLSHADE_DESKTOP"].encode()
    for process in pathlib.Path("/proc").iterdir():
        if not process.name.isdigit():
            continue
        try:
            command, environment = (process / "cmdline").read_bytes(), (process / "environ").read_bytes()
        except OSError:
            continue  # it has ended, or is somebody else's
        if desktop in environment and (b"at-spi-bus-launcher" in command or b"accessibility.conf" in command):
            os.kill(int(process.name), signal.SIGKILL)


def text_file(test, name, text=""):
    folder = tempfile.TemporaryDirectory()
    test.addCleanup(folder.cleanup)
    path = pathlib.Path(folder.name) / name
    path.write_text(text)
    return path


def type_text(text):
    x("type", "--delay", 15, text)


class Application:
    """A program with a window, in a configuration folder of its own; ended with the test."""

    def __init__(self, test, *command, title, seconds=30, css=""):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="quillshade-app-"))
        if css:  # of GTK's own kind
            style = self.folder / "config/gtk-3.0/gtk.css"
            style.parent.mkdir(parents=True)
            style.write_text(css)
        self.environment = dict(
            os.environ, XDG_CONFIG_HOME=str(self.folder / "config"), XDG_DATA_HOME=str(self.folder / "data"))
        self.process = subprocess.Popen(
            list(map(str, command)), env=self.environment, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        test.addCleanup(self.close)
        assert wait_until(lambda: title in active_title(), seconds), f"{command[0]} shows no window {title!r}"

    def output(self, seconds=10):
        """The next line that the program prints; empty if it prints none in time."""
        ready, _, _ = select.select([self.process.stdout], [], [], seconds)
        return self.process.stdout.readline() if ready else ""

    def close(self):
        self.process.kill()
        self.process.wait()
        self.process.stdout.close()
        shutil.rmtree(self.folder, ignore_errors=True)


CHROMIUM = [
    "chromium", *(["--no-sandbox", "--test-type"] if os.geteuid() == 0 else []), "--force-renderer-accessibility",
    "--disable-gpu", "--no-first-run", "--disable-background-networking", "--disable-component-update", "--disable-sync",
    "--disable-quic", "--password-store=basic"]


def chromium(test, page, title, *options):
    profile = tempfile.mkdtemp(prefix="quillshade-chromium-")
    test.addCleanup(shutil.rmtree, profile, ignore_errors=True)
    return Application(test, *CHROMIUM, f"--user-data-dir={profile}", *options, page, title=title, seconds=120)


class Browser:
    """A real browser with a profile of its own; all its windows belong to one process."""

    def __init__(self, test, page, title):
        self.profile = tempfile.mkdtemp(prefix="quillshade-browser-")
        test.addCleanup(shutil.rmtree, self.profile, ignore_errors=True)
        self.prepare()
        self.application = Application(test, *self.command(), *self.new_window, page, title=title, seconds=120)
        self.window = x("getactivewindow")

    def prepare(self):
        pass

    def open(self, page, title, *options):
        """Hands a page to the running browser, and answers the window that comes to the front with it."""
        subprocess.Popen([*self.command(), *options, page], env=self.application.environment,
                         stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        assert wait_until(lambda: title in active_title(), 120), f"no window {title!r}, but {active_title()!r}"
        return x("getactivewindow")

    def open_private(self, page, title):
        return self.open(page, title, *self.private)


class Chromium(Browser):
    new_window, private = ["--new-window"], ["--incognito"]

    def command(self):
        return [*CHROMIUM, f"--user-data-dir={self.profile}"]


class Firefox(Browser):
    new_window, private = [], ["--private-window"]
    preferences = {
        "browser.aboutwelcome.enabled": False, "browser.shell.checkDefaultBrowser": False,
        "datareporting.policy.dataSubmissionEnabled": False, "toolkit.telemetry.reportingpolicy.firstRun": False,
        "browser.startup.homepage_override.mstone": "ignore", "app.normandy.enabled": False,
        "browser.tabs.warnOnClose": False, "accessibility.force_disabled": -1}

    def command(self):
        return ["firefox-esr", "--profile", self.profile]

    def prepare(self):
        lines = [f"user_pref({json.dumps(key)}, {json.dumps(value)});" for key, value in self.preferences.items()]
        (pathlib.Path(self.profile) / "user.js").write_text("\n".join(lines))


class Quillshade:
    """The program over a memory of its own."""

    RECORDING = ("--set", "textOnlyMode=true", "--set", "onboardingCompleted=true")

    def __init__(self, test, *settings, wrapper=(), environment=None):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="quillshade-memory-"))
        self.data = self.folder / "data"
        self.log = self.folder / "log"
        self.environment = dict(os.environ, XDG_CONFIG_HOME=str(self.folder / "config"), **(environment or {}))
        self.command = [*wrapper, str(BINARIES / "quillshade"), "--data-dir", str(self.data), *self.RECORDING,
                        *(word for setting in settings for word in ("--set", setting))]
        self.process = None
        test.addCleanup(self.clean)

    def start(self):
        with self.log.open("a") as log:
            self.process = subprocess.Popen(self.command, env=self.environment, stdout=log, stderr=log)
        assert wait_until(lambda: (self.status() or {}).get("recording")), self.log.read_text()
        return self

    def stop(self, with_signal=signal.SIGTERM):
        """The exit code, and the seconds it took to end."""
        began = time.monotonic()
        self.process.send_signal(with_signal)
        return self.process.wait(timeout=20), time.monotonic() - began

    def clean(self):
        if self.process and self.process.poll() is None:
            self.process.kill()
            self.process.wait()
        shutil.rmtree(self.folder, ignore_errors=True)

    def ctl(self, *arguments):
        return subprocess.run(
            [str(BINARIES / "quillshadectl"), *map(str, arguments), "--data-dir", str(self.data)],
            env=self.environment, capture_output=True, text=True, check=False)

    def status(self):
        answer = self.ctl("status", "--json")
        return json.loads(answer.stdout) if answer.returncode == 0 else None

    def search(self, query):
        answer = self.ctl("search", query, "--json")
        assert answer.returncode in (0, 1), answer.stderr
        return json.loads(answer.stdout or "[]")

    def wait_for_hit(self, query, seconds):
        return wait_until(lambda: self.search(query), seconds, 0.2)

    def frame_count(self):
        return json.loads(self.ctl("stats", "--json").stdout)["storage"]["frames"]

    def last_written(self):
        return max(path.stat().st_mtime_ns for path in self.data.glob("nomara.sqlite*") if path.suffix != ".sqlite-shm")

    def skip_reason(self):
        return (self.status() or {}).get("skipReason")

    def diagnosis(self):
        return "\n".join([self.log.read_text(), str(self.status()), self.ctl("recent").stdout])

    def occurrences(self, text):
        """The files of the memory, and the log, that hold these bytes, in either of the usual encodings."""
        files = [path for path in self.folder.rglob("*") if path.is_file()]
        needles = [text.encode(), text.encode("utf-16-le")]
        return [str(path) for path in files if any(needle in path.read_bytes() for needle in needles)]
