import copy
import pickle
import threading

import numpy as np
import pytest

import nivra

PICTURE = (1920, 1080)
BOX = [600, 300, 680, 520]
SECOND = 1_000_000_000


def tracker(**options):
    return nivra.Tracker(**{"classes": ["person", "car"], "picture": PICTURE, "fps": 25, **options})


def after(frames, **options):
    """The tracks after frames that are like each other."""
    own = tracker(**options)
    for each in frames:
        tracks = own.update(**each)
    return tracks


@pytest.mark.parametrize(
    "arguments, error, text",
    [
        ({"boxes": np.zeros((3, 5))}, ValueError, r"boxes: shape \(3, 5\), expected \(N, 4\)"),
        ({"boxes": [1, 2, 3, 4]}, ValueError, r"boxes: shape \(4,\), expected \(N, 4\)"),
        ({"boxes": [["a"] * 4]}, TypeError, "boxes: dtype <U1, expected real numbers"),
        ({"boxes": np.zeros((1, 4), complex)}, TypeError, "boxes: dtype complex128"),
        ({"boxes": None}, TypeError, "boxes: dtype object"),
        ({"scores": [0.5, 0.5]}, ValueError, r"scores: shape \(2,\), expected \(1,\) or \(1, 2\)"),
        ({"scores": [[0.5]]}, ValueError, r"scores: shape \(1, 1\), expected \(1,\) or \(1, 2\)"),
        ({"scores": [87]}, ValueError, "scores: 87 at position 0, .* was percent meant"),
        ({"scores": [-0.1]}, ValueError, "scores: -0.1 at position 0"),
        ({"scores": [np.nan]}, ValueError, "scores: nan at position 0"),
        ({"scores": [[0.5, np.nan]]}, ValueError, "scores: nan at position 1"),
        ({"class_ids": [2]}, ValueError, "class_ids: 2 at position 0, but there are 2 classes"),
        ({"class_ids": [-1]}, ValueError, "class_ids: -1"),
        ({"class_ids": [0.5]}, TypeError, "class_ids: dtype float64, expected whole numbers"),
        ({"class_ids": [0, 1]}, ValueError, r"class_ids: shape \(2,\), expected \(1,\)"),
        ({"labels": ["cat"]}, ValueError, "labels: 'cat' at position 0 is none of the classes"),
        ({"labels": []}, ValueError, "labels: 0 of them, expected 1"),
        ({"labels": [7]}, TypeError, "labels: int at position 0"),
        ({"labels": "person"}, TypeError, "labels: expected a sequence"),
        ({"labels": {"person"}}, TypeError, "labels: expected a sequence"),
        ({"labels": ["\ud800"]}, ValueError, "labels: no text at position 0"),
        ({"labels": ["car"], "class_ids": [1]}, TypeError, "labels: class_ids are given as well"),
        ({"features": [1.0, 2.0]}, ValueError, r"features: shape \(2,\), expected \(1, D\)"),
        ({"features": np.zeros((1, 0))}, ValueError, "features: shape"),
        ({"objectness": [1, 1]}, ValueError, r"objectness: shape \(2,\), expected \(1,\)"),
        ({"objectness": [40]}, ValueError, "objectness: 40 at position 0"),
        ({"objectness": [np.nan]}, ValueError, "objectness: nan at position 0"),
        ({"attributes": [[(1, 2, np.nan)]]}, ValueError, "attributes: the score of one at position 0 is not a number"),
        ({"attributes": [[(1, 2)]]}, TypeError, "attributes: expected a list of"),
        ({"boxes": [], "attributes": [], "features": [], "objectness": [], "labels": []}, None, None),
        ({"timestamp": 0.5}, TypeError, "timestamp: expected whole nanoseconds, not float"),
        ({"timestamp": -1}, ValueError, "timestamp: -1"),
        ({"timestamp": np.array([7])}, TypeError, "timestamp: expected whole nanoseconds"),
        ({"timestamp": 2**64}, ValueError, "timestamp: 18446744073709551616"),
        ({"timestamp": 7}, ValueError, "timestamp: 7 is not newer"),
        ({"camera_motion": np.eye(4)}, ValueError, r"camera_motion: shape \(4, 4\), expected \(2, 3\) or \(3, 3\)"),
        ({"camera_motion": [[1, 0, 0], [0, 1, 0], [0.1, 0, 1]]}, ValueError, "camera_motion: a perspective"),
        ({"camera_motion": np.full((2, 3), np.nan)}, ValueError, "camera_motion: expected finite"),
    ],
)
def test_wrong_arguments_are_named_and_change_nothing(arguments, error, text):
    twins = tracker(), tracker()
    for each in twins:
        each.update([BOX], 10, scores=[0.9])
    if text is None:  # nothing for each of no boxes is right
        assert twins[0].update(timestamp=20, **arguments).detection_track.tolist() == []
        return
    with pytest.raises(error, match=text):
        twins[0].update(**{"boxes": [BOX], "timestamp": 20, "camera_motion": [[1, 0, 50], [0, 1, 0]], **arguments})
    first, second = (each.update([BOX], SECOND, scores=[0.9]).as_array() for each in twins)
    assert np.array_equal(first, second)


@pytest.mark.parametrize(
    "options, error, text",
    [
        ({"tracker": "sort"}, ValueError, "tracker sort: expected vanilla, reid, hybrid or lowfps"),
        ({"params": {"vanilla.scoreAbsorbtion": 1}}, ValueError, "params vanilla.scoreAbsorbtion=1: .*scoreAbsorption"),
        ({"params": {"reid.kalman4d.x": 1}}, ValueError, "params reid.kalman4d.x"),
        ({"preset": "stedy"}, ValueError, "preset stedy: expected steady or flickering"),
        ({"picture": (0, 10)}, ValueError, r"picture: \(0, 10\)"),
        ({"picture": 1920}, TypeError, "picture: 1920"),
        ({"fps": 0}, ValueError, "fps: 0"),
        ({"classes": "person"}, TypeError, "classes: expected a list of names"),
        ({"classes": []}, ValueError, "classes: expected at least one"),
        ({"classes": 80}, TypeError, "classes: 80, expected a list of names"),
        ({"classes": {"car"}}, TypeError, "classes: {'car'}, expected a list of names"),
        ({"classes": {"a": "b"}}, TypeError, "classes: expected names by whole numbers"),
        ({"classes": ["\ud800"]}, ValueError, "classes: .* half a character"),
        ({"fps": "25"}, TypeError, "fps: '25', expected a number"),
        ({"params": [1]}, TypeError, r"params: \[1\], expected a mapping"),
        ({"params": {1: 2}}, TypeError, "params: 1, expected keys"),
        ({"tracker": 1}, TypeError, "tracker: 1, expected a name"),
        ({"stabilise": "auto"}, TypeError, "stabilise: 'auto', expected True or False"),
        ({"camera": 5}, TypeError, "camera: 5, expected a name"),
        ({"associations": {"car": 5}}, TypeError, "associations: 5, expected lists of classes"),
        ({"classes": [1]}, TypeError, "classes: 1, expected a name"),
        ({"box_format": "yxyx"}, ValueError, "box_format: 'yxyx'"),
        ({"associations": {"car": ["truck"]}}, ValueError, "associations: 'truck' is none of the classes"),
        ({"associations": {"car": "car"}}, TypeError, "associations: expected a list"),
    ],
)
def test_wrong_options_are_named(options, error, text):
    with pytest.raises(error, match=text):
        tracker(**options)


def test_time_comes_with_the_frame_or_by_the_frame_rate():
    with pytest.raises(TypeError, match="timestamp: expected the frame's time"):
        tracker(fps=None).update([BOX])
    own = tracker(fps=30)
    assert [own.update([BOX]).timestamp for _ in range(4)] == [0, 33333333, 66666667, 100000000]
    assert own.update([BOX], np.int64(SECOND)).timestamp == SECOND


@pytest.mark.parametrize("picture", [PICTURE, None])
@pytest.mark.parametrize("box_format", ["xyxy", "xywh", "cxcywh"])
def test_boxes_come_back_in_the_format_that_they_went_in(picture, box_format):
    left, top, right, bottom = edges = (480, 270, 720, 540) if picture else (-0.5, 0.5, -0.25, 0.0)
    width, height = right - left, abs(bottom - top)
    box = {
        "xyxy": edges,
        "xywh": (left, top, width, height),
        "cxcywh": ((left + right) / 2, (top + bottom) / 2, width, height),
    }[box_format]
    tracks = tracker(box_format=box_format, picture=picture).update([box])
    assert np.allclose(tracks.box, [box], atol=1e-3)
    assert np.allclose(tracks.as_array()[:, :4], [edges], atol=1e-3)


@pytest.mark.parametrize(
    "kind", [np.float16, np.float32, np.float64, np.longdouble, np.int8, np.uint16, np.int64, ">f4", ">i4"]
)
def test_boxes_of_any_real_type_mean_the_same(kind):
    box = [60, 30, 90, 120]
    plain = tracker().update([box]).box
    assert np.array_equal(tracker().update(np.array([box], kind)).box, plain)


def test_arrays_are_read_however_they_lie_and_left_as_they_are():
    numbers = np.zeros((40, 9), np.float32)
    numbers[:, :4] = np.linspace(0, 500, 40)[:, None] + (0, 0, 80, 200)
    numbers[:, 4] = 0.9
    before = numbers.copy()
    numbers.flags.writeable = False
    views = [numbers[::2, :4], np.asfortranarray(numbers[::2, :4]), numbers[::2, :4].copy()]
    results = [tracker().update(view, scores=numbers[::2, 4]).as_array() for view in views]
    assert all(np.array_equal(each, results[0]) for each in results)
    assert np.array_equal(numbers, before)


def test_what_goes_in_decides_what_comes_out():
    own = tracker()
    boxes = [BOX, [0, 0, 0, np.nan], [100, 100, 200, 300], [1000, 500, 1300, 700]]
    for _ in range(40):
        tracks = own.update(boxes, scores=[0.9, 0.9, 0.7, 0.8], class_ids=[0, 0, 0, 1])
    kept = tracks[tracks.confident]
    assert dict(zip(kept.detection.tolist(), kept.label.tolist())) == {0: "person", 2: "person", 3: "car"}
    taken = tracks.detection_track
    assert tracks.detection[taken].tolist() == [0, 1, 2, 3]
    assert tracks.confident[taken].tolist() == [True, False, True, True]
    assert np.allclose(tracks.score[taken[3]], 0.8)
    coasting = own.update(np.empty((0, 4)))
    assert (coasting.detection == -1).all() and set(coasting.id) >= set(kept.id)
    assert (tracks.id >= 0).all()


def test_ids_that_a_mapping_does_not_name_are_left_out():
    tracks = tracker(classes={0: "person", 7: "truck"}).update([BOX, BOX, BOX], class_ids=np.array([7.0, 3, 0]))
    assert tracks.detection.tolist() == [0, 2]
    assert tracks.class_id.tolist() == [7, 0]
    assert tracks.detection_track.tolist() == [0, -1, 1]


def test_scores_of_classes_choose_one_and_are_smoothed():
    tracks = after([{"boxes": [BOX], "scores": [[0.2, 0.6]]}] * 3)
    assert tracks.label.tolist() == ["car"]
    assert np.allclose(tracks.class_scores, [[0.2, 0.6]], atol=1e-3)
    named = after([{"boxes": [BOX], "scores": [[0.2, 0.6]], "labels": ["person"]}])
    assert named.label.tolist() == ["person"] and np.allclose(named.score, 0.2)
    assert np.allclose(after([{"boxes": [BOX], "scores": [0.5], "class_ids": [1]}]).class_scores, [[0, 0.5]])


def test_attributes_come_back():
    frame = {"boxes": [BOX, [100, 100, 200, 300]], "attributes": [[(1, 5, 0.5), (2, 7, 0.25)], []]}
    tracks = after([frame])
    assert tracks.attributes == [[(1, 5, 0.5), (2, 7, 0.25)], []]
    assert tracks[::-1].attributes == [[], [(1, 5, 0.5), (2, 7, 0.25)]]


def test_associations_let_classes_take_others():
    frames = [{"boxes": [BOX], "class_ids": [each]} for each in (1, 1, 1, 0)]
    assert len(after(frames)) == 2
    assert len(after(frames, associations={"car": ["car", "person"]})) == 1


def test_features_bring_people_back():
    own = tracker(tracker="reid", classes=["person"])
    rows = np.eye(2, 16, dtype=np.float32)
    with pytest.raises(ValueError, match="features: 3 numbers, but the features of this camera have 16"):
        own.update([BOX], features=rows[:1])
        own.update([BOX], features=np.ones((1, 3)))
    for _ in range(100):
        first = own.update([BOX], features=rows[:1])
    for _ in range(75):
        own.update([])
    for step in range(300):
        tracks = own.update([BOX], features=rows[:1] if step % 3 else np.full((1, 16), np.nan))
        if tracks.merged:
            break
    ((gone, kept),) = tracks.merged
    assert kept == first.id[0] and gone != kept and kept in tracks.id


def test_camera_motion_moves_tracks_first():
    still = tracker()
    moved = tracker()
    far = [BOX[0] + 400, BOX[1], BOX[2] + 400, BOX[3]]
    for each in (still, moved):
        for _ in range(5):
            each.update([BOX])
    assert len(set(still.update([far]).id)) == 2
    assert moved.update([far], camera_motion=np.array([[2, 0, 800], [0, 2, 0], [0, 0, 2]])).id.tolist() == [0]
    moved.move([[1, 0, -400], [0, 1, 0]])
    assert moved.update([BOX]).id.tolist() == [0]


def test_velocities_are_pixels_per_second_with_y_down():
    frames = [{"boxes": [[x, x, x + 80, x + 200]]} for x in range(100, 400, 10)]
    assert np.allclose(after(frames).velocity, [[250, 250]], rtol=0.05)


def test_tracks_are_a_sequence():
    tracks = tracker().update([BOX, [100, 100, 200, 300], [1000, 500, 1300, 700]], scores=[0.9, 0.8, 0.7])
    assert [each.id for each in tracks] == tracks.id.tolist() == [0, 1, 2]
    assert tracks[-1].id == 2 and tracks[1].score == pytest.approx(0.8)
    assert [tracks[index].id.tolist() for index in (slice(1, None), [2, 0], [], np.array([True, False, True]))] == [
        [1, 2], [2, 0], [], [0, 2]]  # fmt: skip
    for beyond in (3, [3], [[0]], [True], None):
        with pytest.raises(IndexError):
            tracks[beyond]
    assert tracks.as_array().shape == (3, 8)
    assert tracks.as_array()[1].tolist() == pytest.approx([100, 100, 200, 300, 1, 0.8, 0, 1], abs=1e-3)
    tracks.id[:] = 7
    assert tracks.id.tolist() == [0, 1, 2]


def test_to_pandas():
    pandas = pytest.importorskip("pandas")
    table = tracker().update([BOX], scores=[0.9]).to_pandas()
    assert isinstance(table, pandas.DataFrame) and table.loc[0, "label"] == "person" and table.shape == (1, 12)


def test_trackers_run_on_threads_each_and_one_is_refused_twice():
    frames = [np.random.default_rng(step).uniform(0, 900, (300, 2)).repeat(2, 1) + (0, 0, 60, 90) for step in range(9)]
    expected = [each.as_array() for each in nivra.track(frames, picture=PICTURE, fps=25)]
    results = {}

    def run(name):
        results[name] = [each.as_array() for each in nivra.track(frames, picture=PICTURE, fps=25)]

    threads = [threading.Thread(target=run, args=(name,)) for name in range(4)]
    for each in threads:
        each.start()
    for each in threads:
        each.join()
    assert all(np.array_equal(a, b) for found in results.values() for a, b in zip(found, expected))


def test_one_tracker_is_of_one_thread_at_a_time():
    own = tracker(tracker="lowfps")
    texts = []

    def handler(text):
        with pytest.raises(RuntimeError, match="another thread"):
            own.update([BOX])
        texts.append(text)

    try:
        nivra.set_fault_handler(handler)
        for step in range(6):  # fast tracks of a class that may not take its own, on each other, are a fault
            own.update([[x, 300, x + 80, 500] for x in (100 + 60 * step, 110 + 60 * step)])
    finally:
        nivra.set_fault_handler(None)
    for _ in texts:
        own.update([])


def test_presets_are_changed_by_what_is_given_besides():
    preset = nivra.presets("vanilla")["steady"]
    assert preset
    frames = [{"boxes": np.random.default_rng(step).normal(BOX, 20, (9, 4))} for step in range(30)]
    results = [
        after(frames, **options).as_array()
        for options in ({"preset": "steady"}, {"params": preset}, {"preset": "steady", "params": defaults(preset)}, {})
    ]
    assert np.array_equal(results[0], results[1]) and np.array_equal(results[2], results[3])
    assert not np.array_equal(results[0], results[3])


def defaults(keys):
    return {each.key: each.default for each in nivra.parameters() if each.key in keys}


@pytest.mark.parametrize("copied", [copy.deepcopy, lambda each: pickle.loads(pickle.dumps(each))])
@pytest.mark.parametrize("options", [{"tracker": "reid"}, {"tracker": "hybrid", "preset": "steady"}, {"stabilise": True}])
def test_copies_go_on_from_where_they_were_made(copied, options):
    random = np.random.default_rng(3)
    frames = [
        {"boxes": random.normal(BOX, 15, (6, 4)) + 2 * step, "features": random.normal(0, 1, (6, 8))} for step in range(60)
    ]
    own = tracker(**options)
    for each in frames[:30]:
        own.update(**each)
    other = copied(own)
    with pytest.raises(ValueError, match="features: "):
        other.update([BOX], features=[[1]])
    with pytest.raises(ValueError, match="timestamp: 1 is not newer"):
        other.update([BOX], 1)
    for each in frames[30:]:
        first, second = (one.update(**each) for one in (own, other))
        assert first.timestamp == second.timestamp and np.array_equal(first.as_array(), second.as_array())
    assert np.array_equal(copied(first).as_array(), first.as_array())


class Door(nivra.Tracker):
    def __init__(self, number):
        self.names = ["person", "car"]
        self.among = {"car": ["car", "person"]}
        super().__init__(classes=self.names, associations=self.among, picture=PICTURE, fps=25)
        self.number = number


@pytest.mark.parametrize("copied", [copy.deepcopy, lambda each: pickle.loads(pickle.dumps(each))])
def test_copies_are_of_ones_own_class_and_keep_what_it_adds(copied):
    own = Door(7)
    own.update([BOX], labels=["car"])
    own.names.clear()
    own.among["car"].append("truck")
    other = copied(own)
    assert type(other) is Door and (other.number, other.names) == (7, [])
    first, second = (each.update([BOX], labels=["person"]) for each in (own, other))
    assert np.array_equal(first.as_array(), second.as_array()) and second.label.tolist() == ["car"]


def test_doubtful_parameters_are_warned_of():
    with pytest.warns(UserWarning, match="keeps every track for ever"):
        tracker(params={"vanilla.expirationLikelihoodThreshold": -5})
