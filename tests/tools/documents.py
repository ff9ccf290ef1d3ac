#!/usr/bin/env python3
"""Holds the guide, the JSON Schemas, the manual pages and the completion to what the tool does.

usage: documents.py TOOL ROOT [WORKER] [unittest's options]
"""
import collections
import contextlib
import copy
import json
import os
import pathlib
import pty
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

import jsonschema

TOOL, ROOT = pathlib.Path(sys.argv.pop(1)).resolve(), pathlib.Path(sys.argv.pop(1)).resolve()
WORKER = pathlib.Path(sys.argv.pop(1)).resolve() if sys.argv[1:] and "/" in sys.argv[1] else None
GUIDE = (ROOT / "docs/streams.md").read_text()
README = (ROOT / "README.md").read_text()
SAMPLE = (ROOT / "examples/data/stream.jsonl").read_text()


def schema(name):
    content = json.loads((ROOT / "docs" / name).read_text())
    jsonschema.Draft202012Validator.check_schema(content)
    return jsonschema.Draft202012Validator(content)


DETECTIONS, TRACKS = schema("detections.schema.json"), schema("tracks.schema.json")
EVENTS = schema("events.schema.json")
EVENT_GUIDE = (ROOT / "docs/events.md").read_text()


def answers(text, *options):
    """What the tool says to each line."""
    run = subprocess.run([TOOL, "track", *options], input=text, stdout=subprocess.PIPE, text=True, check=True)
    return [json.loads(line) for line in run.stdout.splitlines()]


def helped(*command, program=TOOL):
    return subprocess.run([program, *command, "--help"], stdout=subprocess.PIPE, text=True, check=True).stdout


def options_of(*command, program=TOOL):
    return set(re.findall(r"^  (?:-\w,)?(--[\w-]+)", helped(*command, program=program), re.M))


def completed_by(shell, words, program):
    """What a shell offers for the last of the words."""
    scripts = {
        "bash": ["bash", "-c", 'source completions/nivra.bash; COMP_WORDS=("$@") COMP_CWORD=$(($# - 1)); _nivra;'
                 ' echo "${COMPREPLY[*]}"', "bash", program.name, *words],
        "zsh": ["zsh", "-fc", "_describe() { print -l -- ${${(P)2}%%:*} }; compadd() { print -l -- $@ }; _files() {};"
                ' words=("$@") CURRENT=$#; source completions/_nivra', "zsh", program.name, *words],
        "fish": ["fish", "-c", 'source completions/nivra.fish; complete -C "$argv"', " ".join([program.name, *words])],
    }
    path = f"{program.parent}{os.pathsep}{os.environ['PATH']}"
    run = subprocess.run(scripts[shell], cwd=ROOT, env={**os.environ, "PATH": path, "HOME": "/nonexistent"},
                         stdout=subprocess.PIPE, text=True, check=True)
    return set(run.stdout.split()) if shell != "fish" else {line.split("\t")[0] for line in run.stdout.splitlines()}


def completed(*words, program=TOOL):
    """What may stand for the last of the words; bash, zsh and fish must agree."""
    offered = completed_by("bash", words, program)
    for shell in ("zsh", "fish") if "=" not in words else ():
        found = completed_by(shell, words, program)
        assert found == offered, (shell, words, found, offered)
    return offered


# What a line may hold, with room for each number to grow and shrink.
LINES = [
    {"camera": "a", "timestamp": 5, "detections": [{
        "box": [-9, 9, 9, -9], "label": "human", "score": 90, "id": "d", "objectness": 50, "feature": [0.5, 0.5],
        "classifications": [{"label": "human", "score": 90}], "attributes": [{"type": 1, "value": 2, "score": 80}]}]},
    {"camera": "b", "picture": [1280, 720], "detections": [], "end": False, "motion": None, "note": {"of": ["host"]}},
    {"camera": "c", "picture": [1280, 720], "motion": {"matrix": [1, 2, 3, 4, 5, 6]}},
    {"camera": "d", "end": True},
]
# Features in base64 of any length, most of which is none of whole numbers, or has bits behind them.
PACKED = [{"detections": [{"box": [0, 0, 0, 0], "feature": "AACAPwAAAEAAAEBAAACAQAAAoEA"[:length] + padding}]}
          for length in range(28) for padding in ("", "=", "==", "===")]
VALUES = [None, True, False, 0, -1, 1.5, 10**10, 2**63, 1e39, "x", [], {}]

# Refused for more than a schema can say: each is fine by the schema, if it is JSON at all.
BEYOND_SCHEMA = [
    "{", '{"end":null,"id":18446744073709551616}', '{"camera":"a","camera":"a"}', '{"timestamp":1.0}', '{"timestamp":5}',
    '{"detections":[{"box":[1,0,0,0]}]}', '{"detections":[{"box":[0,0,1,1]}]}',
    '{"picture":[9,9],"detections":[{"box":[0,1,1,0]}]}', '{"motion":{"matrix":[1,0,0,2,0,0]}}',
    '{"detections":[{"box":[0,0,0,0],"feature":[1]},{"box":[0,0,0,0],"feature":[1,2]}]}',
    '{"detections":[{"box":[0,0,0,0],"feature":"AADAfw"}]}',
]


def variants(value):
    """The value with one place of it changed, for every place and in every way."""
    yield from VALUES
    if isinstance(value, dict):
        for field, inner in value.items():
            yield {name: each for name, each in value.items() if name != field}
            yield from ({**value, field: each} for each in variants(inner))
    if isinstance(value, list):
        yield value + value[-1:]
        yield value[:-1]
        for i, inner in enumerate(value):
            yield from (value[:i] + [each] + value[i + 1:] for each in variants(inner))


def with_own_place(line, number):
    """Only what the line itself holds is to count, not the lines before it."""
    line = copy.deepcopy(line)
    if isinstance(line, dict) and isinstance(line.get("camera"), str):
        line["camera"] += str(number)
    elif isinstance(line, dict) and line.get("timestamp") == 5:
        line["timestamp"] += number
    return line


class Documents(unittest.TestCase):
    def expect_tracks(self, lines):
        for line in lines:
            with self.subTest(line=line):
                TRACKS.validate(line)

    def test_schema_refuses_what_the_tool_refuses(self):
        lines = [with_own_place(line, i) for i, line in enumerate(each for base in LINES for each in variants(base))]
        lines += [{"camera": f"packed {i}", **line} for i, line in enumerate(PACKED)]
        said = answers("".join(json.dumps(line) + "\n" for line in lines))
        self.expect_tracks(said)
        verdicts = collections.Counter()
        for line, answer in zip(lines, said, strict=True):
            with self.subTest(line=line, answer=answer):
                self.assertEqual("error" not in answer, DETECTIONS.is_valid(line))
            verdicts["error" in answer] += 1
        self.assertGreater(min(verdicts[True], verdicts[False]), 100, verdicts)

    def test_tool_refuses_what_no_schema_can(self):
        text = '{"timestamp":5}\n' + "".join(line + "\n" for line in BEYOND_SCHEMA)
        for line, answer in zip(BEYOND_SCHEMA, answers(text)[1:], strict=True):
            with self.subTest(line=line):
                self.assertIn("error", answer)
                try:
                    DETECTIONS.validate(json.loads(line))
                except json.JSONDecodeError:
                    pass

    def test_sample_and_its_tracks_match(self):
        lines = [json.loads(line) for line in SAMPLE.splitlines()]
        self.assertEqual(1, sum(not DETECTIONS.is_valid(line) for line in lines))
        for options in [], ["--debug"], ["--debug", "--picture", "640x480", "--tracker", "reid"]:
            self.expect_tracks(answers(SAMPLE, *options))
        plaza = subprocess.run([TOOL, "convert", ROOT / "examples/data/plaza"], stdout=subprocess.PIPE, check=True)
        for line in plaza.stdout.splitlines()[::50]:
            DETECTIONS.validate(json.loads(line))

    def test_explanations_match(self):
        explanations = schema("explanations.schema.json")
        plaza = "examples/data/plaza"
        for options in [], ["--truth", plaza], ["--worst", "5"], ["--frame", "40", "--id", "3", "--tracker", "hybrid"]:
            run = subprocess.run([TOOL, "explain", plaza, "--json", *options], cwd=ROOT, stdout=subprocess.PIPE, check=True)
            explanations.validate(json.loads(run.stdout))

    def test_lines_of_the_guide_match(self):
        blocks = re.findall(r"^```json ?(.*)\n((?:(?!```).*\n)*)```", GUIDE, re.M)
        self.assertEqual({"input", "output"}, {kind for kind, _ in blocks})
        for kind, text in blocks:
            for line in text.splitlines():
                (DETECTIONS if kind == "input" else TRACKS).validate(json.loads(line))
            if kind == "input":
                self.assertFalse([answer for answer in answers(text) if "error" in answer])

    def test_events_match_their_guide(self):
        def block(kind):
            return re.search(rf"^```json {kind}\n((?:(?!```).*\n)*)```", EVENT_GUIDE, re.M)[1]

        for line in block("events").splitlines():
            EVENTS.validate(json.loads(line))
        with tempfile.NamedTemporaryFile("w", suffix=".json") as zones:
            zones.write(block("zones"))
            zones.flush()
            lines = subprocess.run([TOOL, "convert", ROOT / "examples/data/plaza"], stdout=subprocess.PIPE, text=True,
                                   check=True).stdout
            happened = answers(lines, "--tracker", "reid", "--events", "--zones", zones.name, "--every", "4")
            happened += answers(SAMPLE, "--labels", "human,car", "--events")
        for line in happened:
            EVENTS.validate(line)
        self.assertEqual({"confirmed", "lost", "revived", "ended", "merged", "entered", "left", "crossed", "corrected",
                          "counts", None}, {line.get("event") for line in happened})

    def test_examples_print_what_is_shown(self):
        """A block of commands, and behind it a block of what they print."""
        text = GUIDE + README + "".join((ROOT / "docs" / name).read_text() for name in ("formats.md", "evaluation.md", "events.md"))
        blocks = re.findall(r"^```(sh|python)\n((?:(?!```).*\n)*)```\n\n```text\n((?:(?!```).*\n)*)```", text, re.M)
        self.assertEqual(text.count("```text"), len(blocks))
        path = f"{TOOL.parent}{os.pathsep}{os.environ['PATH']}"
        for language, commands, output in blocks:
            with self.subTest(commands=commands):
                shell = ["bash"] if language == "sh" else [sys.executable]
                run = subprocess.run([*shell, "-c", commands], cwd=ROOT, env={**os.environ, "PATH": path}, text=True,
                                     stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
                self.assertEqual(output, run.stdout)

    def test_readme_tracks_files_of_the_reader(self):
        """The only block of the tool that shows no output, on the sample in the place of what readers have."""
        commands = re.search(r"^```sh\n(nivra track det\.txt (?:(?!```).*\n)*)```", README, re.M)[1]
        with tempfile.TemporaryDirectory() as folder:
            folder = pathlib.Path(folder)
            shutil.copy(ROOT / "examples/data/plaza/det/det.txt", folder)
            shutil.copytree(ROOT / "examples/data/plaza", folder / "path/to/sequences/plaza")
            path = f"{TOOL.parent}{os.pathsep}{os.environ['PATH']}"
            subprocess.run(["bash", "-ec", commands], cwd=folder, env={**os.environ, "PATH": path}, check=True)
            self.assertTrue((folder / "tracks.txt").stat().st_size and (folder / "tracks/plaza.txt").stat().st_size)

    @unittest.skipUnless(WORKER, "the worker is not built")
    def test_manual_and_completion_of_the_worker_have_every_option(self):
        self.expect_completion(WORKER, self.expect_manual(WORKER))
        self.assertEqual(completed("run", "--report", "", program=WORKER), {"all", "confident", "settled"})

    def test_only_terminals_get_colours(self):
        def error_on_terminal(**changes):
            reader, terminal = pty.openpty()
            subprocess.run([TOOL, "trakc"], stderr=terminal, env={**os.environ, "TERM": "xterm", **changes}, check=False)
            os.close(terminal)
            # It comes in pieces; once nobody has the terminal open, reading on is an error.
            text = b""
            with contextlib.suppress(OSError):
                while piece := os.read(reader, 4096):
                    text += piece
            os.close(reader)
            return text.decode()

        self.assertTrue(error_on_terminal(NO_COLOR="").startswith("\x1b[1;31merror:\x1b[m there is no command trakc"))
        self.assertTrue(error_on_terminal(NO_COLOR="1").startswith("error: there is no command trakc"))
        piped = subprocess.run([TOOL, "trakc"], stderr=subprocess.PIPE, text=True, check=False).stderr
        self.assertTrue(piped.startswith("error: "))

    def test_examples_pipe_lines_through_the_tool(self):
        stream = ROOT / "examples/data/stream.jsonl"
        tracks = [(answer["camera"], answer["timestamp"], track["label"], track["id"], track["box"])
                  for answer in answers(stream.read_text(), "--labels", "human,car")
                  for track in answer.get("tracks", [])]
        self.assertTrue(tracks)
        path = f"{TOOL.parent}{os.pathsep}{os.environ['PATH']}"
        for command in [sys.executable, "track.py"], ["node", "track.mjs"]:
            with self.subTest(command=command):
                if not shutil.which(command[0]):
                    self.skipTest(f"{command[0]} is not installed")
                run = subprocess.run(command, cwd=ROOT / "examples/streams", env={**os.environ, "PATH": path},
                                     stdin=stream.open(), stdout=subprocess.PIPE, text=True, check=True)
                printed = [line.split(" ", 4) for line in run.stdout.splitlines()]
                self.assertEqual([(camera, int(time), label, int(track), json.loads(box))
                                  for camera, time, label, track, box in printed], tracks)

    def expect_manual(self, program):
        """That its page has every command and option of a program, each of which is handed on."""
        path = ROOT / "docs" / f"{program.name}.1"
        page = path.read_text()
        subprocess.run(["mandoc", "-T", "lint", "-W", "warning", path], check=True)
        commands = set(re.findall(r"^  (\w+)", helped(program=program).split("Subcommands:")[1], re.M))
        self.assertEqual(commands, set(re.findall(rf"^\.Ss {program.name} (.*)", page, re.M)))
        self.assertEqual(commands, set(re.findall(r"^\.Nm\n\.Cm (.*)", page, re.M)))
        parts = dict(re.findall(rf"^\.Ss {program.name} (.*)\n((?:(?!\.S[sh]).*\n)*)", page, re.M))
        parts[""] = page.split("\n.Ss")[0]
        for command, part in parts.items():
            with self.subTest(program=program, command=command):
                items = " ".join(re.findall(r"^\.It Fl.*", part, re.M))
                known = {"--help"} | {f"-{each}" for each in re.findall(r"Fl (-[\w-]+)", items)}
                self.assertEqual(options_of(*command.split(), program=program), known)
        return parts

    def expect_completion(self, program, commands):
        self.assertEqual(set(commands) - {""}, completed("", program=program))
        for command in commands:
            with self.subTest(program=program, command=command):
                words = command.split()
                self.assertEqual(options_of(*words, program=program), completed(*words, "--", program=program))

    def test_manual_and_completion_have_every_option(self):
        self.expect_completion(TOOL, self.expect_manual(TOOL))
        names = r"jsonl|motchallenge|coco|yolo|kitti|csv|results|vanilla|reid|hybrid|lowfps|steady|flickering"
        for command, option in [("track", "--from"), ("track", "--to"), ("track", "--tracker"), ("track", "--preset"),
                                ("eval", "--from"), ("eval", "--truth-from"), ("params", "--preset"),
                                ("tune", "--from"), ("tune", "--truth-from"), ("tune", "--preset")]:
            with self.subTest(command=command, option=option):
                known = set(re.findall(names, re.search(rf"^  {option} (?:.|\n {{10}})*", helped(command), re.M)[0]))
                self.assertEqual(known, completed(command, option, ""))
                self.assertEqual(known, completed(command, option, "=", ""))


unittest.main()
