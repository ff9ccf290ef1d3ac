#!/usr/bin/env python3
"""Measures how accurate the trackers are on sequences with truth, and writes the tables of documents.

usage: accuracy.py TOOL FOLDER DOCUMENT README
"""
import csv
import io
import json
import os
import pathlib
import subprocess
import sys
import tempfile
from concurrent.futures import ThreadPoolExecutor

from generated import commit, table, write_between

TOOL, FOLDER, DOCUMENT, README = sys.argv[1:]
TRACKERS = ["vanilla", "reid", "hybrid", "lowfps"]
PRESETS = ["steady", "flickering"]
POLICIES = {
    "settled, held for 0.1 s, as detected (the default)": [],
    "the same, as smoothed": ["--boxes", "smoothed"],
    "the same, gaps of up to 1 s filled": ["--fill", "1"],
    "settled, held for ever": ["--hold", "always"],
    "confident, held for 0.1 s": ["--report", "confident"],
    "all, held for 0.1 s": ["--report", "all"],
    "all, held for ever, as smoothed (streams)": ["--report", "all", "--hold", "always", "--boxes", "smoothed"],
}
ALL = "all"


def said(*command):
    return subprocess.run([TOOL, *map(str, command)], check=True, stdout=subprocess.PIPE, text=True).stdout


def sequences():
    return sorted(path.name for path in pathlib.Path(FOLDER).iterdir() if (path / "gt/gt.txt").is_file())


def measured(options):
    """HOTA, IDF1 and MOTA in percent of each sequence and of all, by trackers with these options."""
    with tempfile.TemporaryDirectory() as tracks:
        folders = [str(pathlib.Path(FOLDER) / name) for name in sequences()]
        said("track", *folders, "-o", tracks + "/", "--quiet", *options)
        rows = csv.DictReader(io.StringIO(said("eval", FOLDER, tracks, "--csv", "--jobs", 1)))
        figures = {row["sequence"]: [100 * float(row[each]) for each in ("HOTA", "IDF1", "MOTA")] for row in rows}
    figures[ALL] = figures.pop("COMBINED")
    return figures


def all_measured(choices):
    """The figures of several lists of options, several at once."""
    with ThreadPoolExecutor(os.cpu_count()) as pool:
        return list(pool.map(measured, choices))


def shown(figures):
    return " / ".join(f"{each:.1f}" for each in figures[:2])


def by_trackers():
    columns = [(tracker, preset) for tracker in TRACKERS for preset in [None] + PRESETS]
    results = all_measured([["--tracker", tracker] + (["--preset", preset] if preset else [])
                            for tracker, preset in columns])
    parts = []
    for tracker in TRACKERS:
        own = [result for (name, _), result in zip(columns, results) if name == tracker]
        rows = [[name] + [shown(result[name]) for result in own] for name in sequences() + [ALL]]
        parts.append(f"By {tracker}, HOTA / IDF1:\n\n" + table(["", "defaults"] + PRESETS, rows))
    return parts


def figures_that_matter():
    rows = {"vanilla, as it comes": [], "vanilla, `--preset steady`": ["--preset", "steady"],
            "re-identification, `--preset flickering`": ["--tracker", "reid", "--preset", "flickering"]}
    results = [result[ALL] for result in all_measured(rows.values())]
    return (f"On {len(sequences())} public sequences together, in percent (docs/accuracy.md has each of them):\n\n" +
            table(["", "HOTA", "IDF1", "MOTA"],
                  [[name] + [f"{each:.1f}" for each in result] for name, result in zip(rows, results)]))


def by_policies():
    results = all_measured([["--tracker", "vanilla", *options] for options in POLICIES.values()])
    rows = [[name] + [shown(result[each]) for each in sequences() + [ALL]] for name, result in zip(POLICIES, results)]
    return "What is told, vanilla with defaults, HOTA / IDF1:\n\n" + table([""] + sequences() + [ALL], rows)


def by_parameters(tracker, preset):
    listed = said("params", "--tracker", tracker, "--preset", preset, "--json")
    parameters = json.loads(listed)
    base = ["--tracker", tracker, "--preset", preset]
    results = all_measured([base] + [base + ["--param", f"{each['key']}={each['default']}"] for each in parameters])
    rows = []
    for each, without in zip(parameters, results[1:]):
        change = [whole - left for whole, left in zip(results[0][ALL], without[ALL])]
        rows.append([f"`{each['key']}`", each["default"], each["value"]] + [f"{value:+.1f}" for value in change])
    return (f"What each parameter of {preset} gives {tracker} on all sequences, against its default:\n\n" +
            table(["", "default", preset, "HOTA", "IDF1", "MOTA"], rows))


def main():
    parts = [f"Commit {commit()}."] + by_trackers() + [by_policies()]
    parts += [by_parameters(tracker, preset) for tracker in ("vanilla", "reid", "lowfps") for preset in PRESETS]
    write_between(DOCUMENT, "scripts/accuracy.sh", "\n\n".join(parts))
    write_between(README, "scripts/accuracy.sh", figures_that_matter())
    print("\n\n".join(parts))


main()
