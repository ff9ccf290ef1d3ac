#!/usr/bin/env python3
"""Tracks the detections of a camera through a running `nivra track`: a line for each frame goes in, one comes out.

usage: track.py < detections.jsonl
"""

import json
import subprocess
import sys


class Tracker:
    """One `nivra track`, which follows any number of cameras."""

    def __init__(self, *options):
        self.process = subprocess.Popen(["nivra", "track", *options], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                        text=True, bufsize=1)

    def update(self, frame):
        """Takes a frame, such as {"camera": "gate", "timestamp": 0, "detections": [...]}, and returns its answer."""
        self.process.stdin.write(json.dumps(frame) + "\n")
        line = self.process.stdout.readline()
        if not line:
            raise RuntimeError(f"nivra has ended with code {self.process.wait()}")
        return json.loads(line)

    def close(self):
        self.process.stdin.close()
        if self.process.wait() != 0:
            raise RuntimeError(f"nivra has ended with code {self.process.returncode}")


tracker = Tracker("--labels", "human,car")
for line in sys.stdin:
    answer = tracker.update(json.loads(line))
    for track in answer.get("tracks", []):
        print(answer["camera"], answer["timestamp"], track["label"], track["id"], track["box"])
tracker.close()
