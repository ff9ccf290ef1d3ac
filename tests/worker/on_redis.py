#!/usr/bin/env python3
"""What the worker does with a real redis-server.

usage: on_redis.py WORKER TOOL ROOT [unittest's options]
"""
import contextlib
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import time
import unittest

from redis_server import ANSWERS, Redis

WORKER, TOOL, ROOT = (pathlib.Path(sys.argv.pop(1)).resolve() for _ in range(3))
SAMPLE = (ROOT / "examples/data/stream.jsonl").read_text()
LABELS = ["--labels", "human,car"]


def answers_of_track(text):
    return subprocess.run([TOOL, "track", *LABELS], input=text, stdout=subprocess.PIPE, text=True, check=True).stdout


class OnRedis(unittest.TestCase):
    def setUp(self):
        self.folder = self.enterContext(tempfile.TemporaryDirectory())
        self.redis = Redis(self.folder)
        self.addCleanup(self.redis.kill)

    def call(self, name, *options, address=None, check=True, **others):
        address = address or f"redis://127.0.0.1:{self.redis.port}"
        return subprocess.run([WORKER, name, "--redis", address, *options], check=check, text=True, timeout=20,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE, **others)

    @contextlib.contextmanager
    def worker(self, *options, address=None):
        address = address or f"redis://127.0.0.1:{self.redis.port}"
        command = [WORKER, "run", "--redis", address, *LABELS, *options]
        process = subprocess.Popen(command, stderr=subprocess.PIPE, text=True)
        try:
            yield process
        finally:
            process.terminate()
            messages = process.communicate(timeout=20)[1]
            self.assertEqual(process.returncode, 0, messages)

    def wait_for(self, expected, *words):
        for _ in range(1000):
            said = self.redis.ask(*words)
            if said == str(expected):
                return
            time.sleep(0.01)
        self.fail(f"{words}: {said} instead of {expected}")

    def test_answers_are_those_of_track(self):
        with self.worker("--metrics", f"{self.folder}/metrics"):
            self.call("feed", input=SAMPLE)
            found = self.call("drain").stdout
        self.assertEqual(sorted(found.splitlines()), sorted(answers_of_track(SAMPLE).splitlines()))
        self.assertEqual(self.call("drain").stdout, "", "what was taken is gone")
        metrics = pathlib.Path(self.folder, "metrics").read_text()
        self.assertIn("\nnivra_worker_answered_total 11\n", metrics)
        self.assertIn("\nnivra_worker_refused_total 1\n", metrics)
        self.assertIn('\nnivra_worker_lag_seconds_bucket{le="+Inf"} 11\n', metrics)

    def test_lines_that_are_fed_again_are_known_by_their_source(self):
        lines = SAMPLE.splitlines(keepends=True)
        with self.worker():
            self.call("feed", "--source", "sample", input="".join(lines[:4]))
            self.call("feed", "--source", "sample", input=SAMPLE)
            found = self.call("drain").stdout
        self.assertEqual(sorted(found.splitlines()), sorted(answers_of_track(SAMPLE).splitlines()))

    def test_what_is_no_line_is_answered_and_set_aside(self):
        self.redis.ask("SET", "nivra:shards", "1")
        self.redis.ask("XADD", "nivra:{0}:in", "*", "something", "else")
        self.redis.ask("XADD", "nivra:{0}:in", "*", *["more", "than a script unpacks"] * 5000)
        long = '{"camera":"' + "x" * (64 << 20) + '"}\n'
        with self.worker("--metrics", f"{self.folder}/metrics"):
            self.call("feed", input="\n" + long + "\n")
            found = self.call("drain").stdout
        self.assertEqual(sorted(json.loads(line)["error"]["message"] for line in found.splitlines()),
                         ["an entry without a field line"] * 2 + ["longer than 64 MiB"])
        self.assertIn(answers_of_track("\n" + long), found)
        self.assertEqual(self.redis.ask("XLEN", "nivra:{0}:poison"), "3")
        self.assertIn("\nnivra_worker_set_aside_total 3\n", pathlib.Path(self.folder, "metrics").read_text())

    def test_a_line_is_set_aside_that_three_workers_died_of(self):
        lines = [f'{{"camera":"a","timestamp":{i}}}' for i in range(1, 4)]
        for name, triers in ("few", "one two "), ("enough", "one two three "):
            with self.subTest(triers=triers):
                self.redis.ask("SET", f"{name}:shards", "1")
                for i, line in enumerate(lines):
                    self.redis.ask("XADD", f"{name}:{{0}}:in", f"{i + 1}-1", "line", line)
                self.redis.ask("HSET", f"{name}:{{0}}:shard", "takeovers", "2", "tried", "2-1", "triers", triers)
                with self.worker("--name", name, "--batch", "3"):
                    found = self.call("drain", "--name", name).stdout.splitlines()
                if name == "enough":
                    self.assertIn("set aside", json.loads(found.pop(1))["error"]["message"])
                    self.assertEqual(self.redis.ask("XLEN", f"{name}:{{0}}:poison"), "1")
                    del lines[1]
                self.assertEqual("\n".join(found) + "\n", answers_of_track("\n".join(lines) + "\n"))
                self.assertEqual(self.redis.ask("HEXISTS", f"{name}:{{0}}:shard", "triers"), "0")
                self.assertEqual(self.redis.ask("HEXISTS", f"{name}:{{0}}:shard", "takeovers"), "0")

    def test_workers_that_leave_have_died_of_nothing(self):
        note = "return redis.call('HSET', KEYS[2], 'triers', 'other ' .. redis.call('ZRANGE', KEYS[1], 0, 0)[1] .. ' ')"
        with self.worker():
            self.wait_for(1, "ZCARD", "nivra:workers")
            self.redis.ask("EVAL", note, "2", "nivra:workers", "nivra:{0}:shard")
        self.assertEqual(self.redis.ask("HSTRLEN", "nivra:{0}:shard", "triers"), str(len("other ")))

    def test_queues_have_an_end(self):
        lines = "".join(f'{{"camera":"a","timestamp":{i}}}\n' for i in range(50))
        self.redis.ask("SET", "nivra:shards", "1")
        feed = subprocess.Popen([WORKER, "feed", "--redis", f"redis://127.0.0.1:{self.redis.port}", "--most-waiting", "10"],
                                stdin=subprocess.PIPE, text=True)
        self.addCleanup(feed.kill)
        feed.stdin.write(lines)
        feed.stdin.close()
        self.wait_for(10, "XLEN", "nivra:{0}:in")
        with self.worker("--most-unread", "20", "--batch", "1", "--state-every", "5"):
            self.wait_for(20, "XLEN", "nivra:{0}:out")
            time.sleep(0.3)  # in which it would go on
            self.assertEqual(self.redis.ask("XLEN", "nivra:{0}:out"), "20")
            self.assertIsNone(feed.poll(), "there is no room for the rest")
            found = self.call("drain").stdout
        self.assertEqual(feed.wait(), 0)
        self.assertEqual(found, answers_of_track(lines))

    def test_a_redis_that_is_full_is_drained(self):
        with self.worker():
            self.call("feed", input=SAMPLE)
            self.wait_for(11, "EVAL", ANSWERS, "0")
            self.redis.ask("CONFIG", "SET", "maxmemory", "1")
            found = self.call("drain").stdout
            self.redis.ask("CONFIG", "SET", "maxmemory", "0")
        self.assertEqual(sorted(found.splitlines()), sorted(answers_of_track(SAMPLE).splitlines()))

    def test_figures_that_cannot_be_written_are_no_reason_to_end(self):
        with self.worker("--metrics", f"{self.folder}/nowhere/metrics"):
            self.call("feed", input=SAMPLE)
            found = self.call("drain").stdout
        self.assertEqual(sorted(found.splitlines()), sorted(answers_of_track(SAMPLE).splitlines()))

    def test_states_of_other_options_are_left_to_others(self):
        lines = SAMPLE.splitlines(keepends=True)
        with self.worker():
            self.call("feed", "--source", "sample", input="".join(lines[:4]))
            found = self.call("drain").stdout
        run = self.call("run", "--labels", "human", check=False)
        self.assertEqual(run.returncode, 1)
        self.assertRegex(run.stderr, "error: shard [0-9]+: stored state")
        with self.worker("--lease", "60"):
            self.call("feed", "--source", "sample", input=SAMPLE)
            found += self.call("drain").stdout
        self.assertEqual(sorted(found.splitlines()), sorted(answers_of_track(SAMPLE).splitlines()))
        self.assertEqual(self.call("run", "--report", "settled", check=False).returncode, 2)

    def test_passwords_come_from_a_file_or_the_environment(self):
        self.redis.ask("ACL", "SETUSER", "me", "on", ">hidden", "~*", "+@all")
        self.redis.ask("CONFIG", "SET", "requirepass", "secret")
        file = pathlib.Path(self.folder, "password")
        file.write_text("hidden\n")
        secret = {**os.environ, "NIVRA_REDIS_PASSWORD": "secret"}
        as_me = f"redis://me@127.0.0.1:{self.redis.port}"
        self.call("drain", env=secret)
        self.call("drain", "--password-file", file, address=as_me, env=secret)
        for options in {"env": {**secret, "NIVRA_REDIS_PASSWORD": "wrong"}}, {"address": as_me, "env": secret}, {}:
            with self.subTest(options=options):
                run = self.call("drain", check=False, **options)
                self.assertEqual(run.returncode, 1)
                self.assertIn("error: Redis refuses: ", run.stderr)

    def test_a_user_needs_no_more_rights_than_the_guide_says(self):
        keys, commands = re.search("needs `(.+)` and `(.+)`", (ROOT / "docs/scale.md").read_text()).groups()
        self.redis.ask("ACL", "SETUSER", "me", "on", "nopass", keys, *commands.split())
        as_me = f"redis://me@127.0.0.1:{self.redis.port}"
        with self.worker(address=as_me):
            self.call("feed", input=SAMPLE, address=as_me)
            found = self.call("drain", address=as_me).stdout
        self.assertEqual(found.count("\n"), 11)
        self.redis.ask("ACL", "SETUSER", "me", "-time")
        run = self.call("run", *LABELS, address=as_me, check=False)
        self.assertEqual(run.returncode, 1)
        self.assertIn("error: Redis refuses: ", run.stderr)

    def test_wrong_calls_and_other_numbers_of_shards_are_refused(self):
        self.call("drain", "--shards", "3")
        for code, options, message in ((2, {"address": "rediss://localhost"}, "without encryption"),
                                       (1, {"extra": ["--shards", "4"]}, "there are 3 shards in Redis, not 4")):
            with self.subTest(message=message):
                run = self.call("drain", *options.pop("extra", []), check=False, **options)
                self.assertEqual(run.returncode, code)
                self.assertIn(message, run.stderr)

    def test_workers_wait_for_redis(self):
        self.redis.kill()
        with self.worker():
            time.sleep(0.2)
            self.redis.start()
            self.call("feed", input=SAMPLE)
            self.assertEqual(self.call("drain").stdout.count("\n"), 11)


unittest.main()
