"""Trackers, one for each camera."""

from __future__ import annotations

import os
import warnings
from collections.abc import Iterable, Mapping, Sequence
from typing import Any, SupportsIndex, Union

import numpy as np
import numpy.typing as npt

from . import _core
from ._checks import checked_fps, checked_name, checked_names, checked_numbered_names, checked_picture, require
from ._files import Frame, Path, read
from ._tracks import Terms, Tracks

Classes = Union[Sequence[str], Mapping[int, str]]


class Tracker:
    """A tracker of one camera: detections in, tracks with stable identities out.

    Each camera has its own, and each may be on a thread of its own; while a frame is worked on, other threads of the
    interpreter run. `pickle` and `copy.deepcopy` make trackers that go on from there, to the last bit.

    >>> import nivra
    >>> tracker = nivra.Tracker(classes=["person", "car"], picture=(1920, 1080))
    >>> for frame in range(3):
    ...     boxes = [[600 + 5 * frame, 300, 680 + 5 * frame, 520]]
    ...     tracks = tracker.update(boxes, frame * 40_000_000, scores=[0.9], class_ids=[0])
    >>> for id, box, row in zip(tracks.id, tracks.box, tracks.detection):
    ...     print(id, box.round().astype(int), row)
    0 [606 300 686 520] 0
    """

    def __init__(
        self,
        tracker: str = "vanilla",
        *,
        classes: Classes | None = None,
        picture: tuple[int, int] | None = None,
        fps: float | None = None,
        preset: str | None = None,
        params: Mapping[str, object] | None = None,
        associations: Mapping[str, Iterable[str]] | None = None,
        box_format: str = "xyxy",
        stabilise: bool = False,
        camera: str = "",
    ) -> None:
        """
        :param tracker: "vanilla" for anything that moves, "reid" for people with appearance features, "hybrid" for
            both (people being those of the class "human"), "lowfps" for cameras that deliver frames rarely.
        :param classes: The names of the detector's classes, in the order of their ids; or a mapping from the ids of
            those that are to be tracked, and all others are left out. ["human"] if not given.
        :param picture: Width and height in pixels. If given, boxes are pixels with y downward; else they are in the
            library's coordinates, -1 to 1 on both axes with y upward, and the picture counts as 16:9.
        :param fps: Frames per second of a camera whose frames come without times.
        :param preset: A name from `presets()`, which `params` may change further.
        :param params: Values by key, such as {"vanilla.scoreAbsorption": 0.1}; `parameters()` lists them all.
        :param associations: The classes that tracks of a class may take, such as {"car": ["car", "truck"]}. A class
            that isn't mentioned takes itself.
        :param box_format: "xyxy" (left, top, right, bottom), "xywh" (left, top, width, height) or "cxcywh" (centre,
            width, height), of boxes that go in and out.
        :param stabilise: Whether the camera's movement is estimated from the detections, until one is told.
        :param camera: A name for files.
        :raises ValueError: for names, values and sizes that there are not.
        """
        require("tracker", tracker, str, "a name")
        require("params", params, (Mapping, type(None)), "a mapping from keys to values")
        require("preset", preset, (str, type(None)), "a name")
        require("box_format", box_format, str, "a name")
        require("stabilise", stabilise, (bool, np.bool_), "True or False")
        camera = checked_name("camera", camera)
        fps = checked_fps(fps)
        ids, names, leaves_out = _classes(classes)
        picture = checked_picture(picture)
        texts = _texts(params)
        taken = _associations(associations, names)
        self._terms = Terms(camera, picture, box_format, ids, names, leaves_out)
        self._native = _core.Tracker(tracker, preset, texts, taken, self._terms.native, fps, stabilise)
        self._options = {  # nothing of the caller's, who may change it
            "tracker": tracker,
            "classes": dict(zip(ids, names)) if leaves_out else names,
            "picture": picture,
            "fps": fps,
            "preset": preset,
            "params": texts,
            "associations": taken,
            "box_format": box_format,
            "stabilise": stabilise,
            "camera": camera,
        }
        if self._native.warnings:
            warnings.warn(self._native.warnings.rstrip(), stacklevel=2)

    def update(
        self,
        boxes: npt.ArrayLike,
        timestamp: SupportsIndex | None = None,
        *,
        scores: npt.ArrayLike | None = None,
        class_ids: npt.ArrayLike | None = None,
        labels: Sequence[str] | None = None,
        features: npt.ArrayLike | None = None,
        attributes: Sequence[Sequence[tuple[int, int, float]]] | None = None,
        objectness: npt.ArrayLike | None = None,
        camera_motion: npt.ArrayLike | None = None,
    ) -> Tracks:
        """Takes in all detections of a frame.

        Nothing is changed in place. C-contiguous arrays of float32 and float64 are read without a copy. Boxes that are
        not numbers are like no other: each starts a track of its own, which is never confirmed.

        :param boxes: (N, 4) of any real type, in the tracker's `box_format`; N may be 0.
        :param timestamp: Time of the frame, whole nanoseconds, newer than that of the frame before; not needed if the
            tracker has `fps`.
        :param scores: (N,), 0 to 1; or (N, C), one for each class, of which the best one counts unless `class_ids` or
            `labels` tell another. All are 1 if not given.
        :param class_ids: (N,) ids of the tracker's `classes`; the first class if neither these nor `labels` are given.
        :param labels: N names of classes instead.
        :param features: (N, D) appearances, of the same D in all frames; a row of NaN means none.
        :param attributes: For each box a list of (type, value, score).
        :param objectness: (N,), 0 to 1; 0 means none.
        :param camera_motion: (2, 3) or (3, 3), the affine map of the camera's movement since the frame before, in the
            boxes' coordinates: what was at (x, y) is now at matrix @ (x, y, 1).
        :raises ValueError: naming the argument, for shapes, lengths and values that don't fit; nothing has changed
            then. TypeError likewise for types.
        """
        timestamp_, count, reports = self._native.update(
            boxes, timestamp, scores, class_ids, labels, features, attributes, objectness, camera_motion
        )
        return Tracks(self._terms, None, timestamp_, count, reports)

    def update_frame(self, frame: Frame) -> Tracks:
        """Takes in a frame as `read` hands it out, exactly as the command-line tool does.

        :raises ValueError: as `update` does.
        """
        timestamp, count, reports = self._native.update_frame(frame)
        return Tracks(self._terms, frame.head(), timestamp, count, reports)

    def move(self, camera_motion: npt.ArrayLike) -> None:
        """Tells that the camera has moved, between two frames; as `camera_motion` of `update`."""
        self._native.move(camera_motion)

    def __getstate__(self) -> tuple[dict[str, Any], bytes, dict[str, Any]]:
        made_anew = ("_options", "_terms", "_native")
        others = {name: value for name, value in self.__dict__.items() if name not in made_anew}
        return self._options, self._native.state(), others

    def __setstate__(self, kept: tuple[dict[str, Any], bytes, dict[str, Any]]) -> None:
        options, state, others = kept
        with warnings.catch_warnings():
            warnings.simplefilter("ignore")  # it has been warned of them
            Tracker.__init__(self, **options)  # that of a class made of this one may take others
        self._native.go_on_from(state)
        self.__dict__.update(others)


def track(
    frames: Path | Iterable[Any],
    tracker: str = "vanilla",
    **options: Any,
) -> list[Tracks]:
    """Tracks whole recordings.

    >>> import nivra
    >>> frames = [{"boxes": [[600 + 5 * i, 300, 680 + 5 * i, 520]], "scores": [0.9]} for i in range(3)]
    >>> [tracks.id.tolist() for tracks in nivra.track(frames, picture=(1920, 1080), fps=25)]
    [[0], [0], [0]]

    :param frames: For each frame of a camera its boxes, or a mapping with the arguments of `Tracker.update`. Or a path,
        or the records that `read` hands out, of any number of cameras: each gets a tracker of its own, and the classes
        are the labels that there are, if `classes` isn't given.
    :param tracker: As `Tracker` has it, and so are the options.
    :return: The tracks of each frame.
    """
    if isinstance(frames, (str, os.PathLike)):
        frames = read(frames, picture=options.get("picture"), fps=options.get("fps"))
    if isinstance(frames, Mapping):
        raise TypeError("frames: expected a list of them, not a mapping")
    listed = list(frames)
    if any(isinstance(each, _core.Frame) for each in listed):
        return _track_records(listed, tracker, options)
    camera = Tracker(tracker, **options)
    return [camera.update(**each) if isinstance(each, Mapping) else camera.update(each) for each in listed]


def _track_records(records: list[Any], tracker: str, options: dict[str, Any]) -> list[Tracks]:
    labels = {label for each in records if isinstance(each, _core.Frame) for label in each.labels}
    options = {"classes": sorted(labels) or None, "fps": 25, **options}
    cameras: dict[str, Tracker] = {}
    results = []
    for record in records:
        require("frames", record, (_core.Frame, _core.CameraMotion, _core.CameraEnd), "records alone if there are any")
        if isinstance(record, _core.CameraEnd):
            cameras.pop(record.camera, None)
            continue
        if record.camera not in cameras:
            own = {"picture": record.picture, "camera": record.camera}
            cameras[record.camera] = Tracker(tracker, **{**own, **options})
        if isinstance(record, _core.CameraMotion):
            cameras[record.camera].move(record.matrix)
        else:
            results.append(cameras[record.camera].update_frame(record))
    return results


def _classes(given: Classes | None) -> tuple[list[int], list[str], bool]:
    """Ids and names of classes, and whether others are left out."""
    if isinstance(given, Mapping):
        numbered = checked_numbered_names("classes", given)
        ids, names = list(numbered), list(numbered.values())
    else:
        given = ["human"] if given is None else given
        require("classes", given, (Sequence, np.ndarray), "a list of names, or a mapping from ids to names")
        names = checked_names("classes", given)
        ids = list(range(len(names)))
    if not names:
        raise ValueError("classes: expected at least one")
    return ids, names, isinstance(given, Mapping)


def _associations(given: Mapping[str, Iterable[str]] | None, names: list[str]) -> dict[str, set[str]]:
    associations = {name: {name} for name in names}
    require("associations", given, (Mapping, type(None)), "a mapping from classes to lists of classes")
    for label, taken in (given or {}).items():
        require("associations", taken, Iterable, "lists of classes")
        if isinstance(taken, str):
            raise TypeError(f"associations: expected a list of classes for {label!r}, such as [{taken!r}]")
        associations[label] = set(taken)
        for unknown in ({label} | associations[label]) - set(names):
            raise ValueError(f"associations: {unknown!r} is none of the classes")
    return associations


def _texts(params: Mapping[str, object] | None) -> dict[str, str]:
    """Parameters as the library reads them."""
    for key in params or {}:
        require("params", key, str, "keys that are names")
    return {key: _text(value) for key, value in (params or {}).items()}


def _text(value: object) -> str:
    """A parameter's value as the library reads it."""
    if isinstance(value, bool):
        return str(int(value))
    if isinstance(value, (tuple, list)):
        return ", ".join(_text(each) for each in value)
    return str(value)
