"""The same sequences give the same tracks from C, C++, ctypes, the Python package and the tool, to the last bit.
usage: sameTracks.py TOOL FOLLOW_C FOLLOW_CPP LIBRARY [SEQUENCE ...]; a simulated one if none is named
"""

import ctypes
import struct
import subprocess
import sys
import tempfile
from pathlib import Path

import numpy as np

import nivra

KINDS = ("vanilla", "reid", "hybrid", "lowfps")
AS_REPORTED = ("--stabilise", "off", "--report", "all", "--hold", "always", "--boxes", "smoothed")


class Options(ctypes.Structure):
    _fields_ = [
        ("size", ctypes.c_size_t),
        ("kind", ctypes.c_int32),
        ("aspect_ratio", ctypes.c_float),
        ("labels", ctypes.POINTER(ctypes.c_char_p)),
        ("label_count", ctypes.c_size_t),
    ]  # the rest keeps its defaults


class Detection(ctypes.Structure):
    _fields_ = [
        ("box", ctypes.c_float * 4),
        ("score", ctypes.c_float),
        ("objectness", ctypes.c_float),
        ("label", ctypes.c_int32),
        ("id", ctypes.c_int32),
        ("lists", ctypes.c_size_t * 6),
    ]


class Frame(ctypes.Structure):
    _fields_ = [
        ("size", ctypes.c_size_t),
        ("timestamp", ctypes.c_uint64),
        ("detections", ctypes.POINTER(Detection)),
        ("count", ctypes.c_size_t),
        ("detection_size", ctypes.c_size_t),
    ]


class Track(ctypes.Structure):
    _fields_ = [
        ("box", ctypes.c_float * 4),
        ("velocity", ctypes.c_float * 2),
        ("score", ctypes.c_float),
        ("label", ctypes.c_int32),
        ("id", ctypes.c_int32),
        ("detection", ctypes.c_int32),
        ("confident", ctypes.c_int32),
    ]


def line(number, identity, detection, confident, numbers):
    """As the programs print it with %a."""
    return " ".join([*map(str, (number, identity, detection, confident)), *map(plain, numbers)])


def plain(number):
    return float(number).hex()


def run(*command):
    return subprocess.run(list(map(str, command)), check=True, capture_output=True, text=True).stdout


def same_digits(text):
    """C's %a and Python's hex() write zeros differently."""
    return [
        [*words[:4], *(float.fromhex(each).hex() for each in words[4:])] for words in map(str.split, text.splitlines())
    ]


def through_ctypes(path, kind, frames, ratio):
    library = ctypes.CDLL(path)
    labels = (ctypes.c_char_p * 1)(b"human")
    options = Options(ctypes.sizeof(Options), kind, ratio, labels, 1)
    tracker = ctypes.c_void_p()
    assert library.nivra_tracker_create(ctypes.byref(options), ctypes.byref(tracker), None, ctypes.c_size_t(0)) == 0
    tracks, count = (Track * 4096)(), ctypes.c_size_t()
    lines = []
    for number, (timestamp, rows) in enumerate(frames):
        if number == len(frames) // 2:
            tracker = moved_to_another(library, options, tracker)
        detections = (Detection * len(rows))(
            *(Detection(tuple(row[:4]), row[4], 0, 0, i) for i, row in enumerate(rows.tolist()))
        )
        frame = Frame(ctypes.sizeof(Frame), timestamp, detections, len(rows), ctypes.sizeof(Detection))
        assert library.nivra_tracker_update(tracker, ctypes.byref(frame)) == 0
        size = ctypes.c_size_t(ctypes.sizeof(Track))
        assert library.nivra_tracker_tracks(tracker, tracks, size, ctypes.c_size_t(4096), ctypes.byref(count)) == 0
        for each in tracks[: count.value]:
            numbers = (*each.box, *each.velocity, each.score)
            lines.append(line(number, each.id, each.detection, each.confident, numbers))
    library.nivra_tracker_destroy(tracker)
    return lines


def moved_to_another(library, options, tracker):
    """A tracker that goes on from the state of one that ends."""
    size, other = ctypes.c_size_t(), ctypes.c_void_p()
    library.nivra_tracker_save(tracker, None, ctypes.c_size_t(0), ctypes.byref(size))
    state = ctypes.create_string_buffer(size.value)
    assert library.nivra_tracker_save(tracker, state, size, ctypes.byref(size)) == 0
    library.nivra_tracker_destroy(tracker)
    assert library.nivra_tracker_restore(ctypes.byref(options), state, size, ctypes.byref(other), None, ctypes.c_size_t(0)) == 0
    return other


def compare(tool, follow_c, follow_cpp, library, sequence, folder):
    read = list(nivra.read(sequence))
    width, height = read[0].picture
    ratio = np.float32(width) / np.float32(height)
    frames = []
    for each in read:  # features are left to the test of the files
        corners = each.boxes.reshape(-1, 2, 2) * 2 / (width, height) - 1
        rows = np.hstack(((corners * (1, -1)).reshape(-1, 4), each.scores[:, None] * 100)).astype(np.float32)
        frames.append((each.timestamp, rows))
    with open(folder / "frames", "wb") as file:
        for timestamp, rows in frames:
            file.write(struct.pack("=QQ", timestamp, len(rows)) + rows.tobytes())

    bare = folder / "bare.jsonl"
    nivra.write(bare, [nivra.frame(f.boxes, f.timestamp, scores=f.scores, picture=f.picture) for f in read], replace=True)
    for kind, name in enumerate(KINDS):
        from_cpp = same_digits(run(follow_cpp, kind, folder / "frames", plain(ratio)))
        assert len(from_cpp) > len(frames), "hardly anything was tracked"
        assert same_digits(run(follow_c, kind, folder / "frames", plain(ratio))) == from_cpp, f"C, {name}"
        assert same_digits("\n".join(through_ctypes(library, kind, frames, ratio))) == from_cpp, f"ctypes, {name}"

        tracks = nivra.track(nivra.read(bare), name)
        own = []
        for number, each in enumerate(tracks):
            for row in each._reports[0].tolist():
                identity, detection, box, velocity, score, _, _, confident = row
                own.append(line(number, identity, detection, int(confident), (*box, *velocity, score)))
        assert same_digits("\n".join(own)) == from_cpp, f"Python, {name}"
        nivra.write_tracks(folder / "tracks.jsonl", tracks, replace=True)
        assert (folder / "tracks.jsonl").read_text() == run(tool, "track", bare, "--tracker", name, *AS_REPORTED), name
    return f"{sequence.name}: {len(frames)} frames, the same"


def main():
    *programs, library = sys.argv[1:5]
    with tempfile.TemporaryDirectory() as folder:
        folder = Path(folder)
        sequences = [Path(each) for each in sys.argv[5:]]
        if not sequences:
            sequences = [folder / "plaza"]
            run(programs[0], "simulate", "-o", sequences[0], "--frames", 100)
        for each in sequences:
            print(compare(*programs, library, each, folder))


if __name__ == "__main__":
    main()
