#!/usr/bin/python3
"""What programs in a terminal write: writer.py compiler|log SECONDS, or writer.py text LINES."""

import random
import sys
import time

WORDS = """anchor basalt canvas darkroom eastern fabric garden hammer island jacket kettle lantern marble needle orchard
pepper quarry ribbon saddle timber uncle velvet walnut yellow zipper almond barrel candle dragon engine feather glacier
harbour indigo jungle kitchen ladder magnet nickel oyster pencil quiver rabbit silver tunnel umbrella village window
copper bridge castle desert falcon granite hollow ivory jasmine lagoon meadow nutmeg olive pebble raven sparrow thistle
urchin violet willow amber birch cedar dolphin ember forest ginger heron juniper lemon mustard nettle otter parsley
quartz rosemary saffron tulip vanilla wheat acorn beetle clover daisy elder fennel gravel hazel iris""".split()
CHANCE = random.Random(11)


def words(count):
    return CHANCE.sample(WORDS, count)


def compiler(until):
    number = 0
    while time.monotonic() < until:
        number += 1
        one, two, three = words(3)
        print(f"[{min(99, number // 2):3d}%] Building CXX object {one}/CMakeFiles/{two}.dir/{three}.cpp.o", flush=True)
        time.sleep(CHANCE.uniform(0.3, 1.5))
        if number % 12 == 0:
            one, two, three, four = words(4)
            print(f"{one}/{two}.cpp:{number}:9: warning: unused variable '{three}' in {four}", flush=True)
            time.sleep(CHANCE.uniform(4, 8))


def log(until):
    number = 1000
    while time.monotonic() < until:
        number += 7
        one, two, three, four = words(4)
        print(f"worker {number} moved {one} {two} to the {three} {four}", flush=True)
        time.sleep(4)


def text(count):
    for number in range(1, count + 1):
        print(f"{number}. " + " ".join(words(6)) + ".")


if __name__ == "__main__":
    what, amount = sys.argv[1:]
    if what == "text":
        text(int(amount))
    else:
        {"compiler": compiler, "log": log}[what](time.monotonic() + float(amount))
        time.sleep(1000)
