#!/usr/bin/python3
"""Measures what a frame takes from Python, beside `update` and the reports in C++ for the same boxes, in turn.
usage: python.py BUILD_FOLDER [--soak FRAMES], which instead tracks so many frames and fails if memory grows
"""

import resource
import subprocess
import sys
import tempfile
import time
from pathlib import Path

import numpy as np

FRAMES, ROUNDS, PASSES = 400, 7, 3
PICTURE = (1920, 1080)
DURATION = 40_000_000  # ns


def crowd(count, frames=FRAMES):
    """Boxes of people who walk about and come back to where they began, a whole number of times."""
    random = np.random.default_rng(1)
    home = random.uniform((100, 100), (1820, 980), (count, 2))
    turns = random.integers(1, 4, (count, 2))
    size = np.array((40, 100)) / np.sqrt(max(count / 30, 1))
    boxes = []
    for frame in range(frames):
        centre = home + 80 * np.sin(2 * np.pi * turns * frame / frames)
        boxes.append(np.hstack((centre - size / 2, centre + size / 2)).astype(np.float32))
    return boxes


def write_for_the_loop(frames, path):
    sides = np.array(PICTURE, np.float64)
    with open(path, "wb") as file:
        for boxes in frames:
            corners = 2 * boxes.reshape(-1, 2, 2).astype(np.float64) / sides - 1
            edges = (corners * (1, -1)).reshape(-1, 4).astype(np.float32)
            np.float32(len(boxes)).tofile(file)
            edges.tofile(file)


class Caller:
    """Feeds the frames to a tracker, again and again."""

    def __init__(self, nivra, name, frames, columns):
        self.tracker = nivra.Tracker(name, classes=["human"], picture=PICTURE)
        self.frames = [(boxes, np.full(len(boxes), 0.9, np.float32), np.zeros(len(boxes), int)) for boxes in frames]
        self.columns = columns
        self.time = 0

    def cheapest(self):
        best = float("inf")
        update, columns = self.tracker.update, self.columns
        for _ in range(PASSES):
            now = self.time
            start = time.perf_counter_ns()
            for boxes, scores, ids in self.frames:
                now += DURATION
                tracks = update(boxes, now, scores=scores, class_ids=ids)
                for column in columns:
                    getattr(tracks, column)
            best = min(best, (time.perf_counter_ns() - start) / len(self.frames))
            self.time = now
        return best


def measure(build, nivra):
    loop = build / "bench/nivra_plain_loop"
    print("| tracker | boxes | C++, µs | Python, µs | ratio | with id, box and detection, µs |")
    print("| --- | ---: | ---: | ---: | ---: | ---: |")
    with tempfile.TemporaryDirectory() as folder:
        for selector, name in enumerate(("vanilla", "reid")):
            for count in (10, 100, 1000):
                frames = crowd(count)
                write_for_the_loop(frames, f"{folder}/frames")
                callers = [Caller(nivra, name, frames, columns) for columns in ((), ("id", "box", "detection"))]
                rounds = []
                for _ in range(ROUNDS):
                    plain = float(subprocess.check_output([loop, str(selector), f"{folder}/frames", str(PASSES)]))
                    rounds.append((plain, *(each.cheapest() for each in callers)))
                plain, call, whole = np.min(rounds, axis=0) / 1e3
                print(f"| {name} | {count} | {plain:.2f} | {call:.2f} | {call / plain:.2f} | {whole:.2f} |")


def resident():
    return resource.getrusage(resource.RUSAGE_SELF).ru_maxrss


def soak(nivra, count):
    caller = Caller(nivra, "vanilla", crowd(10), ("id", "box", "label", "detection_track"))
    passes = max(count // (PASSES * FRAMES), 2)
    for each in range(passes):
        caller.cheapest()
        if each == passes // 10:
            before = resident()
    grown = resident() - before
    print(f"{passes * PASSES * FRAMES} frames: {before} KiB, then {grown} KiB more")
    if grown > 1024:
        sys.exit("memory grows")


def main():
    build = Path(sys.argv[1]).resolve()
    sys.path.insert(0, str(build / "python"))
    import nivra

    if sys.argv[2:3] == ["--soak"]:
        soak(nivra, int(sys.argv[3]))
    else:
        measure(build, nivra)


if __name__ == "__main__":
    main()
