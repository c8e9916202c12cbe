#!/usr/bin/python3
"""Runs a program in the terminal that this runs in, and writes down which lines stood on the screen for how long.

usage: witness.py FILE COMMAND…     FILE: a JSON list of [line, seconds at a stretch, when it was last seen]
"""

import fcntl
import json
import os
import pty
import select
import struct
import sys
import termios
import time
import tty

import pyte

LOOK = 0.25  # seconds between two looks at the screen


def main():
    file, *command = sys.argv[1:]
    rows, columns = struct.unpack("HHHH", fcntl.ioctl(0, termios.TIOCGWINSZ, bytes(8)))[:2]
    screen = pyte.Screen(columns, rows)
    stream = pyte.ByteStream(screen)
    child, master = pty.fork()
    if child == 0:
        os.environ["TERM"] = "vt220"
        os.execvp(command[0], command)
    fcntl.ioctl(master, termios.TIOCSWINSZ, struct.pack("HHHH", rows, columns, 0, 0))
    tty.setraw(0)
    since, longest, last = {}, {}, {}
    next_look = time.monotonic()
    while True:
        ready, _, _ = select.select([0, master], [], [], max(0.0, next_look - time.monotonic()))
        try:
            if 0 in ready and not (typed := os.read(0, 4096)):
                break
            if 0 in ready:
                os.write(master, typed)
            if master in ready:
                shown = os.read(master, 65536)
                os.write(1, shown)
                stream.feed(shown)
        except OSError:
            break
        now = time.monotonic()
        if now < next_look:
            continue
        next_look = now + LOOK
        lines = {" ".join(line.split()) for line in screen.display} - {""}
        for line in set(since) - lines:
            del since[line]
        for line in lines:
            longest[line] = max(longest.get(line, 0), now - since.setdefault(line, now))
            last[line] = time.time()
        with open(file + ".new", "w", encoding="utf-8") as out:
            json.dump([[line, seconds, last[line]] for line, seconds in longest.items()], out)
        os.rename(file + ".new", file)


if __name__ == "__main__":
    main()
