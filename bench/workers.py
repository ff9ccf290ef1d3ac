#!/usr/bin/env python3
"""Measures workers on a Redis of their own beside `nivra track`, and prints the tables of docs/scale.md.

usage: workers.py BUILD [--frames N] [--rounds N] [--lag-seconds S]; BUILD is a folder of the preset bench.
"""
import argparse
import contextlib
import json
import os
import pathlib
import random
import re
import statistics
import subprocess
import sys
import tempfile
import time

sys.path.append(str(pathlib.Path(__file__).resolve().parent.parent / "tests/worker"))
from redis_server import ANSWERS, Redis  # noqa: E402

LABELS = ["--labels", "human"]
CAMERAS = 16


def walking(people, frames):
    """Detections, as JSON, of people who walk to and fro in a full-HD picture."""
    dice = random.Random(people)
    walkers = [[dice.uniform(0, 1860), dice.uniform(0, 950), dice.uniform(-3, 3), dice.uniform(-1, 1)] for _ in range(people)]
    for _ in range(frames):
        detections = []
        for walker in walkers:
            for axis, limit in (0, 1860), (1, 950):
                walker[axis] += walker[axis + 2]
                if not 0 <= walker[axis] <= limit:
                    walker[axis + 2] *= -1
            left, top = (round(walker[axis] + dice.gauss(0, 1), 2) for axis in (0, 1))
            detections.append({"box": [left, top, round(left + 60, 2), round(top + 130, 2)], "label": "human",
                               "score": round(dice.uniform(60, 99), 1)})
        yield json.dumps(detections)


def lines_of(cameras, frames, people):
    """So many frames, of each camera in turn."""
    places = list(walking(people, min(frames // cameras, 200)))
    to_and_fro = places + places[-2:0:-1]
    for i in range(frames):
        turn = i // cameras
        yield (f'{{"camera":"camera {i % cameras}","timestamp":{turn * 40_000_000},"picture":[1920,1080],'
               f'"detections":{to_and_fro[turn % len(to_and_fro)]}}}\n')


class Bench:
    def __init__(self, build, folder):
        self.tool, self.worker = build / "tools/nivra/nivra", build / "worker/nivra-worker"
        self.folder = pathlib.Path(folder)

    def command(self, redis, name, *options):
        return [self.worker, name, "--redis", f"redis://127.0.0.1:{redis.port}", *options]

    def figures(self, path):
        text = path.read_text()
        return {name: float(value) for name, value in re.findall(r'^nivra_worker_(\S+) (\S+)$', text, re.M)}


@contextlib.contextmanager
def server(fsync=""):
    with tempfile.TemporaryDirectory() as folder:
        redis = Redis(folder, fsync)
        try:
            yield redis
        finally:
            redis.kill()


def processor_seconds_at_end(process):
    """Waits until it has ended."""
    _, status, usage = os.wait4(process.pid, 0)
    process.returncode = os.waitstatus_to_exitcode(status)
    return usage.ru_utime + usage.ru_stime


def processor_seconds(process):
    """So far."""
    fields = pathlib.Path(f"/proc/{process.pid}/stat").read_text().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def seconds_of_track(bench, stream):
    """By the clock, and of the processor."""
    begin = time.monotonic()
    process = subprocess.Popen([bench.tool, "track", *LABELS], stdin=open(stream), stdout=subprocess.DEVNULL,
                               stderr=subprocess.DEVNULL)
    busy = processor_seconds_at_end(process)
    return time.monotonic() - begin, busy


def seconds_of_workers(bench, stream, frames, count, fsync="", options=()):
    """From the first answer to the last one, of the processor for workers and Redis, and what the workers say."""
    with server(fsync) as redis:
        subprocess.run(bench.command(redis, "feed", "--most-waiting", "1000000", stream), check=True)
        fed = processor_seconds(redis.process)
        metrics = [bench.folder / f"metrics{i}" for i in range(count)]
        begin = time.monotonic()
        workers = [subprocess.Popen(bench.command(redis, "run", *LABELS, "--metrics", path, *options)) for path in metrics]
        answered = 0
        while answered < frames:
            time.sleep(0.01)
            answered = redis.ask("EVAL", ANSWERS, "0", number=True)
            if answered == 0:
                begin = time.monotonic()
        seconds = time.monotonic() - begin
        for each in workers:
            each.terminate()
        busy = sum(processor_seconds_at_end(each) for each in workers)
        return seconds, (busy, processor_seconds(redis.process) - fed), [bench.figures(path) for path in metrics]


def measure_throughput(bench, frames, rounds):
    stream = bench.folder / "stream.jsonl"
    with open(stream, "w") as file:
        file.writelines(lines_of(CAMERAS, frames, 100))
    kinds = {"1 worker": (1, ""), "2 workers": (2, ""), "4 workers": (4, ""),
             "1 worker, appendfsync everysec": (1, "everysec"), "1 worker, appendfsync always": (1, "always")}
    speeds, costs, shares = ({name: [] for name in kinds} for _ in range(3))
    for _ in range(rounds):
        for name, kind in kinds.items():
            track_seconds, track_busy = seconds_of_track(bench, stream)
            seconds, busy, figures = seconds_of_workers(bench, stream, frames, *kind)
            speeds[name].append(track_seconds / seconds)
            costs[name].append([each / track_busy for each in busy])
            shares[name].append([figures[0][each] / seconds for each in
                                 ("busy_seconds_total", "commit_seconds_sum", "state_seconds_total")])
    print(f"{frames} frames of {CAMERAS} cameras, 100 detections each, beside `nivra track` on the same lines; the middle "
          f"of {rounds} pairs of runs\n")
    print("| | frames per second | processor time of the workers | and of Redis |\n|---|---|---|---|")
    for name in kinds:
        figures = [statistics.median(each) for each in (speeds[name], *zip(*costs[name]))]
        print(f"| {name} | " + " | ".join(f"{100 * each:.0f} %" for each in figures) + " |")
    answers, commits, states = (100 * statistics.median(each) for each in zip(*shares["1 worker"]))
    print(f"\nOf the time of one worker, answers take {answers:.0f} %, commits {commits:.0f} %, states {states:.1f} %.")


def measure_lag(bench, seconds, cameras=1000, rate=10):
    stream = list(lines_of(cameras, cameras * rate * seconds, 5))
    with server() as redis:
        metrics = bench.folder / "metrics"
        worker = subprocess.Popen(bench.command(redis, "run", *LABELS, "--metrics", metrics))
        drain = subprocess.Popen(bench.command(redis, "drain", "--follow"), stdout=subprocess.DEVNULL)
        feed = subprocess.Popen(bench.command(redis, "feed"), stdin=subprocess.PIPE)
        begin = time.monotonic()
        for i in range(0, len(stream), 100):
            time.sleep(max(0.0, begin + i / (cameras * rate) - time.monotonic()))
            feed.stdin.write("".join(stream[i:i + 100]).encode())
            feed.stdin.flush()
        feed.stdin.close()
        feed.wait()
        fed = time.monotonic() - begin
        time.sleep(1)
        for each in worker, drain:
            each.terminate()
            each.wait()
        figures = bench.figures(metrics)
    count = figures["lag_seconds_count"]
    print(f"\n{cameras} cameras, {len(stream) / fed / cameras:.1f} frames a second of each, one worker, "
          f"5 detections a frame, over {fed:.0f} s\n")
    print("| answered within | of the frames |\n|---|---|")
    for name, value in figures.items():
        if bound := re.fullmatch(r'lag_seconds_bucket\{le="([\d.]+)"\}', name):
            if 0.002 <= float(bound[1]) <= 0.5:
                print(f"| {1000 * float(bound[1]):.0f} ms | {100 * value / count:.2f} % |")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("--frames", type=int, default=10_000)
    parser.add_argument("--rounds", type=int, default=7)
    parser.add_argument("--lag-seconds", type=int, default=15)
    arguments = parser.parse_args()
    with tempfile.TemporaryDirectory() as folder:
        bench = Bench(arguments.build.resolve(), folder)
        measure_throughput(bench, arguments.frames, arguments.rounds)
        measure_lag(bench, arguments.lag_seconds)


main()
