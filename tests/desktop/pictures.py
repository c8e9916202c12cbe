"""What the desktop tests need to judge pictures: two displays, a witness of the screen, and the pictures of a memory."""

import dataclasses
import os
import pathlib
import shutil
import sqlite3
import subprocess
import time

from session import BINARIES, Quillshade, wait_until, x

LATE = 90  # seconds within which even a machine that is busy with other things gets there
CANARY = "FF00C8"
NEAR = 70  # how far a colour may be from another, in each channel, and still be a trace of it in a video


@dataclasses.dataclass(frozen=True)
class Display:
    name: str
    left: int
    top: int
    width: int
    height: int

    @property
    def size(self):
        """As large as its pictures are."""
        return self.width & ~1, self.height & ~1

    def make(self, output):
        listed = subprocess.run(["xrandr", "--listmonitors"], capture_output=True, text=True, check=True).stdout
        away = ["--delmonitor", self.name] if f" {self.name} " in listed else []
        subprocess.run(["xrandr", *away, "--setmonitor", self.name,
                        f"{self.width}/300x{self.height}/300+{self.left}+{self.top}", output],
                       check=True, stdout=subprocess.DEVNULL)

    @property
    def middle(self):
        return self.left + self.width // 2, self.top + self.height // 2


# Of different sizes, so that a picture's tells whose it is.
LEFT, RIGHT = Display("LEFT", 0, 0, 1000, 1080), Display("RIGHT", 1000, 0, 920, 1080)


def remove_displays():
    for line in subprocess.run(["xrandr", "--listmonitors"], capture_output=True, text=True, check=True).stdout.splitlines()[1:]:
        name = line.split()[1].lstrip("+*")
        if name.isupper():
            subprocess.run(["xrandr", "--delmonitor", name], check=True)


def two_displays(test, *displays):
    """Divides the screen into displays, for as long as the test runs."""
    test.addCleanup(remove_displays)
    remove_displays()
    for number, display in enumerate(displays or (LEFT, RIGHT)):
        display.make("none" if number else "screen")


def geometry(window):
    """Left, top, width and height of a window's contents."""
    found = dict(line.split("=") for line in x("getwindowgeometry", "--shell", window).splitlines())
    return tuple(int(found[name]) for name in ("X", "Y", "WIDTH", "HEIGHT"))


def place(window, left, top, width, height):
    subprocess.run(["wmctrl", "-i", "-r", window, "-b", "remove,maximized_vert,maximized_horz"], check=True)

    def placed():
        x("windowsize", window, width, height, "windowmove", window, left, top)
        now = geometry(window)
        # Decorations shift it a little, and terminals have whole lines.
        return abs(now[0] - left) < 60 and abs(now[1] - top) < 60 and abs(now[2] - width) < 30 and abs(now[3] - height) < 30

    assert wait_until(placed, 20, 0.2), f"{window} goes to {geometry(window)}"


class Witness:
    """A program that looks at the screen all the time, and at the pictures of video files."""

    def __init__(self, test):
        self.process = subprocess.Popen(
            [BINARIES / "picture_witness"], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        test.addCleanup(self.close)

    def close(self):
        self.process.stdin.close()
        self.process.wait()
        self.process.stdout.close()

    def ask(self, *words):
        print(*words, file=self.process.stdin, flush=True)
        answer = self.process.stdout.readline().strip()
        if answer.startswith("error:") or not answer and self.process.poll() is not None:
            raise RuntimeError(f"{words}: {answer}")
        return answer.split()

    def stored(self, picture):
        """Waits until a picture is in its file: it gets its place there before it has been encoded."""
        stored = wait_until(lambda: self.readable(picture.file)[0] > picture.index, LATE)
        assert stored, f"{picture} is not in its file"
        return picture

    def on_screen(self, colour, tolerance=10):
        """How many pixels of the screen are of that colour now."""
        return int(self.ask("screen", colour, tolerance)[0])

    def shows(self, colour, pixels):
        return wait_until(lambda: self.on_screen(colour) >= pixels, LATE)

    def readable(self, file):
        """How many pictures a file announces, and which of them can't be read."""
        count, *bad = map(int, self.ask("readable", f'"{file}"'))
        return count, bad

    def colour(self, file, colour=CANARY, tolerance=NEAR):
        """How many pixels of each picture are like that colour; −1 where a picture can't be read."""
        return [int(word) for word in self.ask("colour", f'"{file}"', colour, tolerance)]

    def part(self, picture, area, colour, tolerance=10):
        """The share of an area of a picture, in the display's own coordinates, that is of that colour."""
        return float(self.ask("part", f'"{self.stored(picture).file}"', picture.index, *area, colour, tolerance)[0])

    def match(self, picture, display, begin, end):
        """How alike a picture and what was on the screen in that time are (PSNR of luma), at best; how much there was."""
        psnr, screens = self.ask(
            "match", f'"{self.stored(picture).file}"', picture.index, display.left, display.top, begin, end)
        return float(psnr), int(screens)


@dataclasses.dataclass(frozen=True)
class Picture:
    """A frame of the memory with its place in a video file."""
    frame: int
    at: float
    width: int
    height: int
    application: str | None
    segment: int
    index: int
    file: pathlib.Path

    def of(self, display):
        return (self.width, self.height) == display.size


@dataclasses.dataclass(frozen=True)
class Segment:
    id: int
    file: pathlib.Path
    width: int
    height: int
    count: int
    closed: bool


class PictureMemory(Quillshade):
    """The program, recording pictures of all displays."""

    RECORDING = ("--set", "textOnlyMode=false", "--set", "captureAllDisplays=true", "--set", "onboardingCompleted=true")

    def clean(self):
        # For whoever wants to look at them.
        if keep := os.environ.get("QUILLSHADE_KEEP_PICTURES"):
            shutil.copytree(self.folder, pathlib.Path(keep) / self.folder.name)
        super().clean()

    def rows(self, question, *values):
        with sqlite3.connect(f"file:{self.data / 'nomara.sqlite'}?mode=ro", uri=True, timeout=20) as database:
            answer = database.execute(question, values).fetchall()
        database.close()
        return answer

    def folder_of_frames(self):
        return self.data / "Frames.noindex"

    def pictures(self, since=0.0, display=None):
        """Those of the frames since then that have a picture, oldest first."""
        rows = self.rows(
            "SELECT f.id, f.ts, f.width, f.height, f.app_name, f.segment_id, f.segment_index, s.path FROM frames f "
            "JOIN segments s ON s.id = f.segment_id WHERE f.ts >= ? ORDER BY f.id", since)
        pictures = [Picture(*row[:-1], self.folder_of_frames() / row[-1]) for row in rows]
        return [picture for picture in pictures if display is None or picture.of(display)]

    def segments(self):
        return [Segment(number, self.folder_of_frames() / path, width, height, count, bool(closed))
                for number, path, width, height, count, closed in
                self.rows("SELECT id, path, width, height, frame_count, closed FROM segments ORDER BY id")]

    def video_files(self):
        return sorted(self.folder_of_frames().rglob("*.mp4*"))

    def wait_for_picture(self, display, since=None, seconds=LATE):
        """The first picture of a display that shows what is on it now, or was at that time."""
        since = time.time() if since is None else since
        # What is stored within the first second may have been taken before.
        return wait_until(lambda: next(iter(self.pictures(since + 1.1, display)), None), seconds, 0.1)

    def traces(self, witness, colour=CANARY, tolerance=NEAR):
        """The pictures, of files that have a row and of those that have none, that hold that colour."""
        found = []
        for file in self.video_files():
            found += [(file.name, index, pixels)
                      for index, pixels in enumerate(witness.colour(file, colour, tolerance)) if pixels > 0]
        return found
