"""Files, and the same tracks from Python as from the tool."""

import copy
import os
import pickle
import subprocess

import numpy as np
import pytest

import nivra

TOOL = os.environ["NIVRA_TOOL"]
AS_REPORTED = ("--report", "all", "--hold", "always", "--boxes", "smoothed")  # by the tracker, as in streams


@pytest.fixture(scope="module")
def world(tmp_path_factory):
    """A made-up sequence with appearance features, and the folder that it is in."""
    folder = tmp_path_factory.mktemp("world")
    run("simulate", "-o", folder / "plaza", "--frames", "120", "--feature-length", "32")
    return folder


def run(*arguments):
    return subprocess.run([TOOL, *map(str, arguments)], check=True, capture_output=True, text=True).stdout


@pytest.mark.parametrize("tracker", ["vanilla", "reid", "hybrid", "lowfps"])
@pytest.mark.parametrize("to", ["motchallenge", "jsonl"])
def test_tracks_are_those_of_the_tool(world, tmp_path, tracker, to):
    path = tmp_path / "tracks"
    expected = run("track", world / "plaza", "--tracker", tracker, "--to", to, *AS_REPORTED)
    nivra.write_tracks(path, nivra.track(nivra.read(world / "plaza"), tracker, stabilise=True), format=to)
    assert path.read_text() == expected
    nivra.write_tracks(path, nivra.track(world / "plaza", tracker, stabilise=True), format=to, replace=True)
    assert path.read_text() == expected


def test_arrays_give_the_tracks_of_files(world, tmp_path):
    columns = np.loadtxt(world / "plaza/det/det.txt", delimiter=",")
    own = nivra.Tracker(picture=(1280, 720), fps=25, box_format="xywh", stabilise=True, camera="plaza")
    tracks = []
    for frame in range(1, 121):
        rows = columns[columns[:, 0] == frame]
        tracks.append(own.update(rows[:, 2:6], scores=rows[:, 6] / rows[:, 6].max().clip(1)))
    nivra.write_tracks(tmp_path / "tracks.txt", tracks)
    assert (tmp_path / "tracks.txt").read_text() == run("track", world / "plaza", *AS_REPORTED)


def test_streams_of_several_moving_cameras_are_tracked_as_the_tool_does(tmp_path):
    lines = []
    for step in range(12):
        for camera, speed in (("a", 6), ("b", -9)):
            if step == 6 and camera == "a":
                lines.append('{"camera":"a","picture":[1280,720],"motion":{"matrix":[1,0,-40,0,1,0]}}')
            if step == 8 and camera == "b":
                lines.append('{"camera":"b","end":true}')
            box = [500 + speed * step, 200, 560 + speed * step, 380]
            lines.append(
                f'{{"camera":"{camera}","timestamp":{step * 40_000_000},"picture":[1280,720],"detections":[{{"box":{box},'
                f'"label":"car","score":71.3,"id":"x{step}","attributes":[{{"type":1,"value":2,"score":0.5}}],'
                f'"classifications":[{{"label":"car","score":71.3}},{{"label":"bus","score":9}}]}}]}}'
            )
    stream = tmp_path / "stream.jsonl"
    stream.write_text("\n".join(lines) + "\n")
    tracks = nivra.track(nivra.read(stream), stabilise=True, classes=["bus", "car"])
    nivra.write_tracks(tmp_path / "tracks.jsonl", tracks)
    expected = run("track", stream, "--labels", "bus,car", *AS_REPORTED).splitlines()
    assert (tmp_path / "tracks.jsonl").read_text().splitlines() == [each for each in expected if '"tracks"' in each]


def test_what_is_read_can_be_written_and_read_again(world, tmp_path):
    path = tmp_path / "detections.jsonl.gz"
    nivra.write(path, nivra.read(world / "plaza"))
    pairs = list(zip(nivra.read(world / "plaza"), nivra.read(path)))
    assert len(pairs) == 120
    for first, second in pairs:
        assert np.array_equal(first.boxes, second.boxes) and np.array_equal(first.features, second.features)
        assert (first.labels, first.timestamp, first.picture) == (second.labels, second.timestamp, second.picture)
    with pytest.raises(nivra.FileError, match="exists already, and replace is not given"):
        nivra.write(path, [])
    nivra.write(path, [], replace=True)


def test_what_is_read_and_its_tracks_can_be_pickled(world, tmp_path):
    stream = tmp_path / "stream.jsonl"
    lines = ['{"camera":"a","picture":[1280,720],"motion":{"matrix":[1,0,-40,0,1,0]}}', '{"camera":"a","end":true}']
    stream.write_text("\n".join(lines) + "\n")
    records = [*nivra.read(world / "plaza"), *nivra.read(stream)]
    copies = pickle.loads(pickle.dumps(records))
    for name, each in (("first", records), ("second", copies)):
        nivra.write(tmp_path / f"{name}.jsonl", each)
        tracks = nivra.track(each, "reid")
        nivra.write_tracks(tmp_path / f"{name}.tracks.jsonl", tracks if name == "first" else copy.deepcopy(tracks))
    for kind in ("jsonl", "tracks.jsonl"):
        assert (tmp_path / f"first.{kind}").read_bytes() == (tmp_path / f"second.{kind}").read_bytes()


def test_frames_of_ones_own_can_be_written(tmp_path):
    frame = nivra.frame(
        [[0, 0, 10, 20], [5, 5, 9, 9]], 7, scores=[0.5, 1], labels=["b", "a"], picture=(64, 48), camera="door",
        features=[[1, 2], [np.nan, np.nan]], attributes=[[(1, 2, 0.5)], []], objectness=[0.25, 0],
    )  # fmt: skip
    nivra.write(tmp_path / "own.jsonl", [frame])
    (read,) = nivra.read(tmp_path / "own.jsonl")
    assert (read.camera, read.timestamp, read.picture, read.labels) == ("door", 7, (64, 48), ["b", "a"])
    assert np.allclose(read.boxes, [[0, 0, 10, 20], [5, 5, 9, 9]], atol=1e-3)
    assert read.scores.tolist() == [0.5, 1] and read.objectness.tolist() == [0.25, 0]
    assert read.attributes == [[(1, 2, 0.5)], []] and read.features[0].tolist() == [1, 2]


def test_files_that_cannot_be_read_are_named(tmp_path):
    bad = tmp_path / "bad.jsonl"
    bad.write_text('{"camera":"a","detections":[{"box":[0,0,1]}]}\n')
    with pytest.raises(nivra.FileError, match=r"bad.jsonl:1, detections\[0\].box"):
        list(nivra.read(bad))
    with pytest.raises(OSError, match="No such file"):
        nivra.read(tmp_path / "none.jsonl")
    with pytest.raises(OSError, match=r"cannot read cam --1/x--from\.txt: No such file"):
        nivra.read("cam --1/x--from.txt")
    (tmp_path / "x--to.txt").write_text("x")
    with pytest.raises(ValueError, match=r"x--to\.txt comes without .*: give picture and fps$"):
        nivra.read(tmp_path / "x--to.txt")
    with pytest.raises(ValueError, match="format blob: expected"):
        nivra.read(bad, format="blob")
    for call in (nivra.write, nivra.write_tracks):
        with pytest.raises(TypeError, match="expected .*, not list"):
            call(tmp_path / "none.jsonl", [[1, 2, 3, 4]])
    for frames, text in (({"boxes": []}, "frames: expected a list"), ([nivra.frame([], 1), []], "frames: .*records alone")):
        with pytest.raises(TypeError, match=text):
            nivra.track(frames, fps=25)


@pytest.mark.parametrize(
    "option, given, error, text",
    [
        ("fps", 0, ValueError, "fps: 0, expected frames per second from 0.01"),
        ("fps", float("nan"), ValueError, "fps: nan, expected"),
        ("fps", "25", TypeError, "fps: '25', expected a number"),
        ("picture", (0, 0), ValueError, r"picture: \(0, 0\), expected sides"),
        ("picture", "big", TypeError, "picture: 'big', expected"),
        ("label", 5, TypeError, "label: 5, expected a name"),
        ("labels", [5], TypeError, "labels: 5, expected a name"),
        ("labels", "car", TypeError, "labels: expected a list of names"),
        ("camera", 5, TypeError, "camera: 5, expected a name"),
        ("categories", ["car"], TypeError, r"categories: \['car'\], expected names by whole numbers"),
        ("categories", {"car": 1}, TypeError, "categories: expected names by whole numbers"),
        ("classes", "car", TypeError, "classes: expected a list of names"),
    ],
)
def test_wrong_options_of_files_are_named(world, tmp_path, option, given, error, text):
    path, out = world / "plaza", tmp_path / "out.txt"
    calls = {
        nivra.read: ((path,), {"fps", "picture", "label", "categories"}),
        nivra.frame: (([[1, 2, 3, 4]],), {"picture", "labels", "camera"}),
        nivra.write: ((out, []), {"fps"}),
        nivra.write_tracks: ((out, []), {"fps"}),
        nivra.evaluate: ((path, path), {"fps", "picture", "classes"}),
        nivra.track: ((path,), {"fps", "picture", "camera", "classes"}),
        nivra.explain: ((path,), {"fps", "picture", "label", "categories"}),
    }
    takers = [(call, arguments) for call, (arguments, options) in calls.items() if option in options]
    assert takers
    for call, arguments in takers:
        with pytest.raises(error, match=text):
            call(*arguments, **{option: given})


def test_figures_are_those_of_the_tool(world, tmp_path):
    tracks = nivra.track(nivra.read(world / "plaza"))
    nivra.write_tracks(tmp_path / "tracks.txt", tracks)
    table = run("eval", world / "plaza", tmp_path / "tracks.txt", "--csv").splitlines()
    columns = table[0].split(",")
    expected = dict(zip(columns, table[-1].split(",")))
    found = nivra.evaluate(world / "plaza", tmp_path / "tracks.txt")
    assert len(found) >= 1 and found[-1].curves["HOTA"].shape == (19,)
    for name in ("HOTA", "MOTA", "IDF1", "IDSW"):
        assert found[-1].figures[name] == float(expected[name])
    by_name = nivra.evaluate(world / "plaza", {"a": tmp_path / "tracks.txt", "b": tmp_path / "tracks.txt"})
    assert {each.tracker for each in by_name} == {"a", "b"}
    with pytest.raises(TypeError, match="tracks: expected a path"):
        nivra.evaluate(world / "plaza", tracks)


def test_tracks_in_memory_are_evaluated_too(world):
    tracks = nivra.track(nivra.read(world / "plaza"))
    same = nivra.evaluate(tracks, tracks)[0].figures
    assert same["HOTA"] == 1 and same["CLR_TP"] == sum(map(len, tracks))
    other = [(each.id, each.box + np.float32(1000)) for each in tracks]
    assert nivra.evaluate(tracks, other)[0].figures["CLR_TP"] == 0
    with pytest.raises(ValueError, match=r"tracks: shape \(1, 3\), expected \(1, 4\) in frame 0"):
        nivra.evaluate(tracks, [([1], [[1, 2, 3]])])
