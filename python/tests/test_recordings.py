"""What is made of whole recordings: the same as the tool makes, of files and of arrays."""

import os
import signal
import threading

import numpy as np
import pytest

import nivra
from test_files import run, world  # noqa: F401 (a fixture)

PICTURE = (1280, 720)


@pytest.fixture(scope="module")
def arrays(world):  # noqa: F811
    """The made-up sequence in memory: frames as `track` takes them, and the truth."""
    truth = np.loadtxt(world / "plaza/gt/gt.txt", delimiter=",")
    frames = [
        {"boxes": each.boxes, "timestamp": each.timestamp, "scores": each.scores, "features": each.features}
        for each in nivra.read(world / "plaza")
    ]
    rows = [truth[truth[:, 0] == number] for number in range(1, len(frames) + 1)]
    return frames, [(each[:, 1].astype(int), each[:, 2:6] + np.pad(each[:, 2:4], ((0, 0), (2, 0)))) for each in rows]


@pytest.mark.parametrize("tracker", ["vanilla", "reid", "lowfps"])
def test_explanations_are_those_of_the_tool(world, arrays, tracker):  # noqa: F811
    plaza = world / "plaza"
    frames, truth = arrays
    expected = run("explain", plaza, "--tracker", tracker, "--stabilise", "off", "--truth", plaza)
    found = nivra.explain(plaza, tracker, truth=plaza)
    assert str(found) == expected
    in_memory = nivra.explain(frames, tracker, truth=truth, picture=PICTURE, report="settled", hold=0.1)
    assert in_memory.totals["identities"] == found.totals["identities"]
    assert [each.sentence for each in in_memory.told] == [each.sentence for each in found.told]
    assert in_memory.totals["HOTA"] == pytest.approx(found.totals["HOTA"], abs=1e-3)


def test_explanations_tell_what_is_asked_for(arrays):
    frames, _ = arrays
    frames = [{**each, "camera_motion": [[1, 0, 0], [0, 1, 0]]} for each in frames[:40]]
    life = nivra.explain(frames, id=0, picture=PICTURE)
    assert {each.track for each in life.told} == {0} and life.told[0].kind == "birth"
    whole = nivra.explain(frames, frame=7, picture=PICTURE)
    assert whole.everything["pairs"] and {each.frame for each in whole.told} == {7}
    narrow = nivra.explain(frames, worst=5, picture=PICTURE)
    assert [each.margin for each in narrow.told] == sorted(each.margin for each in narrow.told) and len(narrow.told) == 5
    decided = {verdict.parameter for each in narrow.told for verdict in each.verdicts if np.isfinite(verdict.figure)}
    assert decided & {each.key for each in nivra.parameters("vanilla")}


def test_parameters_are_those_that_the_tool_finds(world, arrays):  # noqa: F811
    plaza = world / "plaza"
    frames, truth = arrays
    expected = run("tune", plaza, "--evaluations", "30", "--vary", "vanilla", "--stabilise", "off", "--objective", "IDF1=2,HOTA=1")
    options = {"evaluations": 30, "vary": ["vanilla"], "objective": {"IDF1": 2, "HOTA": 1}}
    found = nivra.tune(plaza, **options)
    assert str(found) == expected
    assert found.params == {each.key: each.value for each in found.changes} and found.held_out is None
    in_memory = nivra.tune({"plaza": frames}, {"plaza": truth}, picture=PICTURE, **options)
    assert in_memory.params == found.params and in_memory.sequences == ("plaza",)
    best = found.scores["tuned"]
    assert best.objective >= found.scores["defaults"].objective and best.evaluation.figures["HOTA"] > 0.1
    start = nivra.tune(plaza, preset="steady", params={"vanilla.scoreAbsorption": 0.5}, **options)
    assert set(start.scores) >= {"as given", "steady"}
    both = nivra.tune([plaza, plaza], evaluations=10, vary=["vanilla.scoreAbsorption"])
    assert both.held_out is not None and not both.interrupted
    nivra.Tracker(params=both.params)


def test_an_interruption_leaves_the_best_so_far(arrays):
    frames, truth = arrays
    before = signal.getsignal(signal.SIGINT)
    timer = threading.Timer(1, os.kill, (os.getpid(), signal.SIGINT))
    timer.start()
    found = nivra.tune(frames, truth, picture=PICTURE, evaluations=100_000)  # takes minutes
    assert found.interrupted and "interrupted" in str(found) and set(found.scores) >= {"defaults", "tuned"}
    assert signal.getsignal(signal.SIGINT) is before


def test_what_a_handler_raises_ends_a_search(arrays):
    frames, truth = arrays

    def complain(*_):
        raise LookupError("enough")

    before = signal.signal(signal.SIGALRM, complain)
    try:
        signal.alarm(1)
        with pytest.raises(LookupError, match="enough"):
            nivra.tune(frames, truth, picture=PICTURE, evaluations=100_000)
    finally:
        signal.alarm(0)
        signal.signal(signal.SIGALRM, before)


def test_pages_are_those_of_the_tool(world, tmp_path, arrays):  # noqa: F811
    plaza = world / "plaza"
    frames, truth = arrays
    nivra.write_tracks(tmp_path / "a.txt", nivra.track(nivra.read(plaza)))
    run("replay", plaza, "--tracks", f"a={tmp_path / 'a.txt'}", "--truth", plaza, "-o", tmp_path / "expected.html")
    nivra.replay(tmp_path / "page.html", {"a": tmp_path / "a.txt"}, frames=plaza, truth=plaza)
    assert (tmp_path / "page.html").read_bytes() == (tmp_path / "expected.html").read_bytes()
    with pytest.raises(nivra.FileError, match="exists"):
        nivra.replay(tmp_path / "page.html", tmp_path / "a.txt")

    tracks = nivra.track(frames, picture=PICTURE, fps=25)
    both = {"as tracks": tracks, "as arrays": [(each.id, each.box) for each in tracks]}
    nivra.replay(tmp_path / "own.html", both, frames=frames, truth=truth, picture=PICTURE, fps=25)
    assert 'id="recording"' in (tmp_path / "own.html").read_text()


def test_drawings_are_those_of_the_tool(world, tmp_path, arrays):  # noqa: F811
    plaza = world / "plaza"
    _, truth = arrays
    tracks = nivra.track(nivra.read(plaza))
    nivra.write_tracks(tmp_path / "a.jsonl", tracks)
    for kind in ("trajectories", "lives"):
        expected = run("plot", "--kind", kind, "--tracks", f"a={tmp_path / 'a.jsonl'}")
        assert nivra.plot({"a": tmp_path / "a.jsonl"}, kind) == expected
    assert nivra.plot({"a": tracks}, "lives") == expected
    assert "HOTA" in nivra.plot(tracks, "hota", truth=truth, picture=PICTURE)


BOX = [[100, 300, 180, 500]]
FRAMES = {"frames": [BOX] * 3, "picture": PICTURE, "fps": 25}
TRUTH = [([1], BOX)] * 3


@pytest.mark.parametrize(
    "call, error, text",
    [
        (lambda: nivra.explain([BOX]), TypeError, "fps: frame 0 has no timestamp"),
        (lambda: nivra.explain([{"boxes": BOX, "timestamp": 5}] * 2), ValueError, "timestamp: 5 in frame 1 is not newer than 5"),
        (lambda: nivra.explain([{"boxes": BOX, "colour": 5}], fps=25), TypeError, "'colour'"),
        (lambda: nivra.explain(**FRAMES, colour=5), TypeError, "'colour'"),
        (lambda: nivra.explain(**FRAMES, id=9), ValueError, "id 9: there is no such identity"),
        (lambda: nivra.explain(**FRAMES, camera="gate"), ValueError, "camera gate: there is no such camera"),
        (lambda: nivra.explain([], fps=25), nivra.FileError, "no frames"),
        (lambda: nivra.explain(**FRAMES, hold=-1), ValueError, "hold: expected seconds"),
        (lambda: nivra.explain(**FRAMES, report="few"), ValueError, "report few: expected all, confident or settled"),
        (lambda: nivra.explain(**FRAMES, params={"vanilla.x": 1}), ValueError, "params vanilla.x=1"),
        (lambda: nivra.tune(**FRAMES), TypeError, "truth: expected identities and boxes"),
        (lambda: nivra.tune(**FRAMES, truth={"a": TRUTH}), TypeError, "truth: expected a mapping"),
        (lambda: nivra.tune({"a": [BOX]}, {"b": TRUTH}, fps=25), ValueError, "truth: there is none of 'a'"),
        (lambda: nivra.explain(**FRAMES, truth=TRUTH * 2), ValueError, "truth: 6 of them, but there are 3 frames"),
        (lambda: nivra.tune(**FRAMES, truth=TRUTH * 2), ValueError, "truth: 6 of them"),
        (lambda: nivra.explain([BOX] * 40, picture=PICTURE, fps=25, truth=TRUTH), nivra.FileError, "^the truth has 3 frames, but"),
        (lambda: nivra.tune(**FRAMES, truth=[(1, BOX)]), ValueError, r"truth: identities of shape \(\) in frame 0"),
        (lambda: nivra.tune(**FRAMES, truth=[([0.5], BOX)]), TypeError, "truth: identities of dtype float64 in frame 0"),
        (lambda: nivra.tune(**FRAMES, truth=[BOX]), TypeError, "truth: frame 0 is no pair"),
        (lambda: nivra.tune(**FRAMES, truth=[([1, 1], BOX * 2)]), ValueError, "truth: an identity is twice in frame 0"),
        (lambda: nivra.tune(**FRAMES, truth=[([1], [[1, 2]])]), ValueError, r"truth: shape \(1, 2\), expected \(1, 4\) in frame 0"),
        (lambda: nivra.tune(**FRAMES, truth=TRUTH, evaluations=3), ValueError, "evaluations: 3, expected a number from 10"),
        (lambda: nivra.tune(**FRAMES, truth=TRUTH, objective="HOTTA"), ValueError, "objective HOTTA: expected"),
        (lambda: nivra.tune(**FRAMES, truth=TRUTH, objective={}), ValueError, "objective : expected figures"),
        (lambda: nivra.tune(**FRAMES, truth=TRUTH, vary=["reid"]), ValueError, "vary reid"),
        (lambda: nivra.replay("page.html", {"a": [([1], BOX)]}, truth="nowhere"), nivra.FileError, "nowhere"),
        (lambda: nivra.plot([([1], BOX)], "curves", picture=PICTURE), ValueError, "kind curves: expected"),
        (lambda: nivra.plot([([1], BOX)], "hota", picture=PICTURE), ValueError, "truth"),
    ],
)  # fmt: skip
def test_wrong_calls_are_named(call, error, text):
    with pytest.raises(error, match=text):
        call()
