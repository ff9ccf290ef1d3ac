#!/usr/bin/env python3
"""Turns the benchmarks' JSON into tables: targets on the terminal, everything in a generated part of a document."""

import json
import math
import os
import platform
import re
import statistics
import sys

from generated import commit, number, table, write_between

TRACKERS = ["vanilla", "reid", "hybrid", "lowFps"]
SIZES = [10, 30, 100, 300, 1000, 2000]
PEOPLE = [10, 30, 100, 300]
LENGTHS = [128, 256, 512]

# Repetitions of a time differ by what else the machine did, which only adds. Of two things timed side by side either may
# have been disturbed. What is counted must hold in every repetition.
CHOICES = {"ratio": statistics.median, "update_share": statistics.median, "parsing_share": statistics.median,
            "appearance_ratio": statistics.median, "allocations_per_frame": max,
           "new_tracks": max}


class Results:
    def __init__(self, path):
        with open(path, encoding="utf-8") as file:
            data = json.load(file)
        self.context = data["context"]
        self.runs = {}
        for run in data["benchmarks"]:
            if run["run_type"] != "iteration":
                continue
            name = re.sub(r"/(iterations:\d+|manual_time|min_time:[\d.]+|repeats:\d+)", "", run["run_name"])
            self.runs.setdefault(name, []).append(run)

    def value(self, name, counter):
        return CHOICES.get(counter, min)(run[counter] for run in self.runs[name])

    def exponent(self, tracker):
        """Slope of the straight line through the logarithms of crowd size and time per frame, by least squares."""
        points = [(math.log(size), math.log(self.value(f"crowd/{tracker}/{size}", "ns_per_frame")))
                  for size in (100, 300, 1000, 2000)]
        mean_x = statistics.mean(x for x, _ in points)
        mean_y = statistics.mean(y for _, y in points)
        return sum((x - mean_x) * (y - mean_y) for x, y in points) / sum((x - mean_x) ** 2 for x, _ in points)

    def sequences(self):
        return sorted({name.split("/")[1] for name in self.runs if name.startswith("sequence/")})


def targets(results):
    rows = []

    def add(what, value, target):
        # Nothing that was not allocated rounds to one allocation: the comparison is with the value as measured.
        rows.append([what, value, f"<= {target}", "yes" if value <= target else "NO"])

    for tracker, per_track, exponent in (("vanilla", 150, 1.15), ("lowFps", 150, 1.15), ("reid", 400, 1.2)):
        add(f"{tracker}: ns per object and frame, 100 objects", results.value(f"crowd/{tracker}/100", "ns_per_track"),
            per_track)
        add(f"{tracker}: exponent of time per frame, 100 to 2000 objects", results.exponent(tracker), exponent)
    for tracker in ("vanilla", "lowFps"):
        add(f"{tracker}: ns per object and frame, 100 objects that a new tracker sees once",
            results.value(f"once/{tracker}", "ns_per_track"), 150)
    add("in between: ms for 400 boxes in one place", results.value("inBetween", "real_time") * 1e-6, 2)
    for sequence in results.sequences():
        if sequence.startswith("MOT17-02"):
            for tracker in ("vanilla", "lowFps"):
                add(f"{tracker}: µs per frame of {sequence}",
                    results.value(f"sequence/{sequence}/{tracker}", "us_per_frame"), 4)
    add("reid, 100 people, 256 numbers: time / floor", results.value("galleries/100/256", "ratio"), 1.5)
    add("hybrid, 100 objects: time / its two parts", results.value("hybridAgainstParts/100", "ratio"), 1.1)
    for tracker in TRACKERS:
        add(f"{tracker}: 1,000 trackers in turn / one", results.value(f"thousandInTurn/{tracker}", "ratio"), 1.5)
    for size in (10, 100, 1000):
        add(f"camera motion, {size} objects: share of vanilla update", results.value(f"cameraMotion/{size}", "ratio"),
            0.15)
        add(f"camera motion, {size} objects: allocations per frame",
            results.value(f"cameraMotion/{size}", "allocations_per_frame"), 0)
    for tracker in TRACKERS:
        add(f"{tracker}: kB of a state of 100 tracks", results.value(f"saveState/{tracker}/0", "bytes") * 1e-3, 40)
        add(f"{tracker}: µs to store it", results.value(f"saveState/{tracker}/0", "real_time") * 1e-3, 50)
        add(f"{tracker}: µs to take it up", results.value(f"restoreTracker/{tracker}/0", "real_time") * 1e-3, 50)
    add("reid, galleries of 50 x 128 numbers: state / galleries", results.value("saveState/reid/128", "ratio"), 1.05)
    add("stream of crowds, vanilla: ns per detection", results.value("stream/crowd/vanilla", "ns_per_detection"), 1000)
    for tracker in ("reid", "hybrid"):
        add(f"stream with features, {tracker}: time / (update + parsing)",
            results.value(f"stream/features/{tracker}", "ratio"), 1.67)
    for name in [f"{tracker}/0" for tracker in TRACKERS] + ["reid/128", "hybrid/128"]:
        tracker, length = name.split("/")
        features = f", {length} numbers" if length != "0" else ""
        # New tracks would allocate with good reason, and the figure would say nothing.
        if results.value(f"steady/{name}", "new_tracks") > 0:
            sys.exit(f"steady/{name} started tracks: the crowd is not steady")
        add(f"{tracker}{features}: allocations per frame, steady crowd",
            results.value(f"steady/{name}", "allocations_per_frame"), 0)
    return table(["", "measured", "target", "met"], rows)


def details(results):
    parts = []

    def crowd(title, counter, trackers=None):
        rows = [[tracker] + [results.value(f"crowd/{tracker}/{size}", counter) for size in SIZES]
                for tracker in trackers or TRACKERS]
        parts.append(f"{title}\n\n" + table(["objects"] + [str(size) for size in SIZES], rows))

    crowd("Crowds without features, ns per object and frame:", "ns_per_track")
    parts.append("A crowd of 100 that a new tracker sees once, ns per object and frame:\n\n" +
                 table([""] + TRACKERS, [["once"] + [results.value(f"once/{tracker}", "ns_per_track")
                                                     for tracker in TRACKERS]]))
    crowd("Allocations per frame:", "allocations_per_frame")
    crowd("Heap bytes per track:", "bytes_per_track")
    crowd("Tracks at the end, lost ones included:", "tracks")
    crowd("Pairs per frame among which the vanilla tracker chooses:", "candidates_per_frame", ["vanilla"])

    rows = [[f"{people} people, {length} numbers"] +
            [results.value(f"galleries/{people}/{length}", counter) * scale
             for counter, scale in (("ns_per_frame", 1e-3), ("floor_ns_per_frame", 1e-3), ("ratio", 1),
                                    ("appearance_ratio", 1), ("pairs_per_frame", 1))]
            for people in PEOPLE for length in LENGTHS]
    parts.append("Re-identification with full galleries:\n\n" +
                 table(["", "µs per frame", "floor, µs", "time / floor", "appearance / floor", "pairs"], rows))

    rows = [[f"{size} objects", results.value(f"hybridAgainstParts/{size}", "ratio")] for size in (30, 100, 300)]
    parts.append("Hybrid against a vanilla and a re-identification tracker on its parts:\n\n" +
                 table(["", "time / parts"], rows))

    reports = [name for name in results.runs if name.startswith("get")]
    rows = [[name.replace("/", ", ") + ", 100 objects", results.value(name, "real_time") * 1e-3]
            for name in sorted(reports)]
    parts.append("Reports:\n\n" + table(["", "µs"], rows))
    names = [name.removeprefix("saveState/") for name in results.runs if name.startswith("saveState/")]
    rows = [[name.replace("/0", "").replace("/", ", ") + (" numbers" if name.endswith("128") else ""),
             results.value(f"saveState/{name}", "bytes") * 1e-3] +
            [results.value(f"{what}/{name}", "real_time") * 1e-3 for what in ("saveState", "restoreTracker")]
            for name in sorted(names)]
    parts.append("Stored states of 100 tracks:\n\n" + table(["", "kB", "µs to store", "µs to take up"], rows))
    filters = [name for name in results.runs if re.match(r"(Kalman|Attribute)", name)]
    parts.append("Filters:\n\n" + table(["", "ns"], [[name.replace("/", ", "), results.value(name, "real_time")]
                                                     for name in sorted(filters)]))

    rows = [[name.removeprefix("stream/").replace("/", ", ")] +
            [results.value(name, counter) for counter in ("ns_per_detection", "update_share", "parsing_share", "ratio")]
            for name in sorted(results.runs) if name.startswith("stream/")]
    parts.append("The tool on streams, ns per detection, and how much of it `update` and parsing take:\n\n" +
                 table(["", "ns", "update", "parsing", "time / both"], rows))

    if results.sequences():
        rows = [[sequence, results.value(f"sequence/{sequence}/vanilla", "detections_per_frame")] +
                [results.value(f"sequence/{sequence}/{tracker}", "us_per_frame") for tracker in TRACKERS]
                for sequence in results.sequences()]
        parts.append("Real sequences, µs per frame:\n\n" + table(["", "detections per frame"] + TRACKERS, rows))
    return "\n\n".join(parts)


def machine(results):
    model = platform.machine()
    with open("/proc/cpuinfo", encoding="utf-8") as file:
        for line in file:
            if line.startswith("model name"):
                model = line.split(":", 1)[1].strip()
                break
    context = results.context
    load = ", ".join(number(value) for value in context["load_avg"])
    return (f"Commit {commit()}, {context['date'][:10]}. {model}, {os.cpu_count()} cores, load at the start {load}. "
            f"{context['compiler']}: {context['flags']}.")


def main():
    if len(sys.argv) != 3:
        sys.exit("usage: report.py <benchmarks.json> <document>")
    results = Results(sys.argv[1])
    goals = targets(results)
    write_between(sys.argv[2], "scripts/bench.sh", "\n\n".join([machine(results), goals, details(results)]))
    print(machine(results), goals, sep="\n\n")


main()
