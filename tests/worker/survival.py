#!/usr/bin/env python3
"""Harms workers and their Redis while they answer, and holds the answers to those of one `nivra track`.

usage: survival.py WORKER TOOL [options]; --help names them. Needs redis-server. "disk" also needs root, since it mounts a
small file system.
"""
import argparse
import collections
import contextlib
import json
import os
import pathlib
import random
import signal
import socket
import subprocess
import sys
import tempfile
import threading
import time

from redis_server import Redis

OPTIONS = ["--labels", "human,car"]


def made_up_lines(cameras, frames, seed):
    """What cameras tell that see some people walk: mostly frames, and of everything else a little."""
    dice = random.Random(seed)
    people = {f"camera {i}": [[dice.uniform(0, 1280), dice.uniform(100, 500)] for _ in range(5)] for i in range(cameras)}
    times = dict.fromkeys(people, 0)
    names = list(people)
    for count in range(frames):
        camera = names[count % cameras]
        kind = dice.random()
        if kind < 0.002:
            yield '{"camera":"' + camera + '","detections":[{"box":[1,2]}]}'
        elif kind < 0.003:
            yield "no JSON at all"
        elif kind < 0.005:
            yield json.dumps({"camera": camera, "picture": [1280, 720], "motion": {"matrix": [1, 0, 5, 0, 1, 0]}})
        elif kind < 0.006:
            yield json.dumps({"camera": camera, "end": True})
        else:
            times[camera] += 40_000_000
            detections = []
            for i, place in enumerate(people[camera]):
                place[0] = (place[0] + dice.uniform(-6, 10)) % 1280
                place[1] += dice.uniform(-3, 3)
                if dice.random() < 0.9:
                    detections.append({"box": [round(place[0], 2), round(place[1], 2), round(place[0] + 60, 2),
                                               round(place[1] + 150, 2)],
                                       "label": "car" if i == 4 else "human", "score": round(dice.uniform(60, 99), 1)})
            yield json.dumps({"camera": camera, "timestamp": times[camera], "picture": [1280, 720],
                              "detections": detections})


class Network:
    """A way to a port that passes bytes on, unless it stalls."""

    def __init__(self, target):
        self.target, self.flows = target, threading.Event()
        self.flows.set()
        self.server = socket.create_server(("127.0.0.1", 0))
        self.port = self.server.getsockname()[1]
        threading.Thread(target=self.accept, daemon=True).start()

    def accept(self):
        while True:
            near, _ = self.server.accept()
            far = socket.create_connection(("127.0.0.1", self.target))
            for source, target in (near, far), (far, near):
                threading.Thread(target=self.carry, args=(source, target), daemon=True).start()

    def carry(self, source, target):
        with contextlib.suppress(OSError):
            while piece := source.recv(1 << 16):
                self.flows.wait()
                target.sendall(piece)
        for each in source, target:
            with contextlib.suppress(OSError):
                each.shutdown(socket.SHUT_RDWR)


class Scene:
    def __init__(self, arguments, folder):
        self.arguments, self.folder = arguments, pathlib.Path(folder)
        self.dice = random.Random(arguments.seed)
        self.harms = collections.Counter()
        self.disk = self.folder / "disk"
        self.disk.mkdir()
        if "disk" in arguments.harm:
            subprocess.run(["mount", "-t", "tmpfs", "-o", "size=256m", "none", self.disk], check=True)
        fsync = arguments.fsync or ("always" if "redis" in arguments.harm else "everysec" if "disk" in arguments.harm else "")
        self.redis = Redis(self.disk, fsync)
        self.network = Network(self.redis.port) if "network" in arguments.harm else None
        self.workers = []
        self.log = open(self.folder / "messages", "wb")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        for each in self.workers:
            with contextlib.suppress(ProcessLookupError):
                each.send_signal(signal.SIGCONT)
            each.kill()
            each.wait()
        self.redis.kill()
        if "disk" in self.arguments.harm:
            subprocess.run(["umount", self.disk], check=True)
        self.log.close()

    def command(self, name, *options, port=None):
        return [self.arguments.worker, name, "--redis", f"redis://127.0.0.1:{port or self.redis.port}", *options]

    def start_worker(self):
        port = self.network.port if self.network else None
        self.workers.append(subprocess.Popen(
            self.command("run", *OPTIONS, "--lease", str(self.arguments.lease), "--state-every", "200", port=port),
            stderr=self.log))

    def harm(self):
        self.HARMS[self.dice.choice(self.arguments.harm)](self)

    def kill(self):
        victim = self.dice.choice(self.workers)
        self.workers.remove(victim)
        victim.kill()
        victim.wait()
        self.start_worker()
        self.harms["killed workers"] += 1

    def leave(self):
        victim = self.dice.choice(self.workers)
        self.workers.remove(victim)
        victim.terminate()
        if victim.wait(10) != 0:
            raise RuntimeError("a worker does not end well")
        self.start_worker()
        self.harms["workers told to end"] += 1

    def stall(self):
        victim = self.dice.choice(self.workers)
        victim.send_signal(signal.SIGSTOP)
        time.sleep(2 * self.arguments.lease)
        victim.send_signal(signal.SIGCONT)
        self.harms["workers stalled beyond their lease"] += 1

    def redis_killed(self):
        self.redis.kill()
        time.sleep(self.dice.uniform(0, 1))
        self.redis.start()
        self.harms["killed Redis"] += 1

    def disk_full(self):
        filler = self.disk / "filler"
        with contextlib.suppress(OSError), open(filler, "wb", buffering=0) as file:
            while True:
                file.write(bytes(1 << 16))
        time.sleep(2)
        filler.unlink()
        if self.redis.process.poll() is not None:  # as it does that syncs always
            self.redis.start()
            self.harms["Redis ended by a full disk"] += 1
        self.harms["full disks"] += 1

    def network_stalled(self):
        self.network.flows.clear()
        time.sleep(self.dice.uniform(1, 3) * self.arguments.lease)
        self.network.flows.set()
        self.harms["stalls of the network"] += 1

    HARMS = {"kill": kill, "leave": leave, "stall": stall, "redis": redis_killed, "disk": disk_full,
             "network": network_stalled}


def answers_by_camera(text):
    """The lines of each camera, in their order; faults name none."""
    answers = collections.defaultdict(list)
    for line in text.splitlines():
        answer = json.loads(line)
        answers[answer.get("camera", f"line {answer.get('error', {}).get('line')}")].append(line)
    return answers


def differences(expected, found):
    for camera in expected.keys() | found.keys():
        if expected[camera] == found[camera]:
            continue
        missing = collections.Counter(expected[camera]) - collections.Counter(found[camera])
        surplus = collections.Counter(found[camera]) - collections.Counter(expected[camera])
        yield f"{camera}: {sum(missing.values())} missing, {sum(surplus.values())} too many" + (
            "" if missing or surplus else ", in another order")


def follow(scene, lines, expected):
    arguments = scene.arguments
    for _ in range(arguments.workers):
        scene.start_worker()
    feed = subprocess.Popen(scene.command("feed", "--source", "test"), stdin=subprocess.PIPE, stderr=scene.log)
    found = scene.folder / "found"
    with open(found, "wb") as file:
        drain = subprocess.Popen(scene.command("drain", "--follow"), stdout=file, stderr=scene.log)
    begin = time.monotonic()

    def pour():
        for i, line in enumerate(lines):
            ahead = begin + i * arguments.seconds / len(lines) - time.monotonic()
            if ahead > 0.01:
                feed.stdin.flush()
                time.sleep(ahead)
            feed.stdin.write(line.encode() + b"\n")
        feed.stdin.close()

    pouring = threading.Thread(target=pour)
    pouring.start()
    next_harm = begin + arguments.every
    deadline = begin + arguments.seconds + arguments.patience
    while time.monotonic() < deadline:
        if pouring.is_alive() and time.monotonic() >= next_harm:
            scene.harm()
            next_harm = max(next_harm + arguments.every, time.monotonic())
        if not pouring.is_alive() and found.read_bytes().count(b"\n") >= expected:
            break
        time.sleep(0.02)
    pouring.join()
    if feed.wait(arguments.patience) != 0:
        raise RuntimeError("feed failed")
    time.sleep(2 * arguments.lease)  # in which somebody might answer again
    drain.terminate()
    drain.wait()
    subprocess.run(scene.command("drain"), stdout=open(found, "ab"), check=True, timeout=arguments.patience)
    for each in scene.workers:
        each.terminate()
    for each in scene.workers:
        if each.wait(10) != 0:
            raise RuntimeError("a worker does not end well")
    print(f"{len(lines)} lines in {time.monotonic() - begin:.0f} s;",
          ", ".join(f"{count} {what}" for what, count in sorted(scene.harms.items())) or "no harm")
    return found.read_text()


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("worker")
    parser.add_argument("tool")
    parser.add_argument("--cameras", type=int, default=40)
    parser.add_argument("--frames", type=int, default=40_000)
    parser.add_argument("--workers", type=int, default=3)
    parser.add_argument("--seconds", type=float, default=60, help="over which the lines are fed")
    parser.add_argument("--harm", type=lambda text: text.split(","), default=["kill"],
                        help=f"any of {','.join(Scene.HARMS)}")
    parser.add_argument("--every", type=float, default=1, help="seconds from one harm to the next")
    parser.add_argument("--lease", type=float, default=1)
    parser.add_argument("--fsync", help="Redis's appendfsync")
    parser.add_argument("--patience", type=float, default=120, help="seconds for what is left when all is fed")
    parser.add_argument("--seed", type=int, default=1)
    arguments = parser.parse_args()
    lines = list(made_up_lines(arguments.cameras, arguments.frames, arguments.seed))
    single = subprocess.run([arguments.tool, "track", *OPTIONS], input="\n".join(lines) + "\n", stdout=subprocess.PIPE,
                            stderr=subprocess.DEVNULL, text=True, check=True).stdout
    with tempfile.TemporaryDirectory() as folder, Scene(arguments, folder) as scene:
        found = follow(scene, lines, single.count("\n"))
        faults = list(differences(answers_by_camera(single), answers_by_camera(found)))
        if faults:
            sys.exit("the answers are not those of one nivra track:\n" + "\n".join(faults) + "\nmessages:\n" +
                     (scene.folder / "messages").read_text()[-2000:])
    print("camera by camera, the answers are the bytes of one nivra track")


main()
