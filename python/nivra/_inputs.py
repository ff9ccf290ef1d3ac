"""Recordings and truth as callers hand them over, files or arrays, and what they are tracked with."""

from __future__ import annotations

import os
import warnings
from collections.abc import Iterable, Iterator, Mapping, Sequence
from typing import Any, SupportsIndex, Union

import numpy.typing as npt

from . import _core
from ._checks import checked_name, checked_numbered_names
from ._evaluation import FrameBoxes, identified
from ._files import Path, Record
from ._tracker import Classes, Tracker, _associations, _classes, _texts
from ._tracks import Tracks

Frames = Union[Path, Iterable[Any]]
Truth = Union[Path, Iterable[FrameBoxes]]


class Setup:
    """What recordings are tracked with: the options of `Tracker`, those of `read` for files, and what is told."""

    def __init__(
        self,
        tracker: str,
        *,
        classes: Classes | None = None,
        picture: tuple[int, int] | None = None,
        fps: float | None = None,
        preset: str | None = None,
        params: Mapping[str, object] | None = None,
        associations: Mapping[str, Iterable[str]] | None = None,
        box_format: str = "xyxy",
        stabilise: bool = False,
        label: str = "human",
        categories: Mapping[int, str] | None = None,
        scores: str | None = None,
        report: str | None = None,
        hold: float | None = None,
        boxes: str | None = None,
    ) -> None:
        if classes is None and isinstance(associations, Mapping):
            names = [each for label, taken in associations.items() for each in (label, *taken)]
        else:
            names = _classes(classes)[1]
        checked = Tracker(
            tracker, classes=classes, picture=picture, fps=fps, preset=preset, params=params, box_format=box_format
        )
        self.terms = checked._terms
        self._tracker = tracker
        self.fps = fps
        self._preset = preset
        self._params = _texts(params)
        self._labels = [] if classes is None else names
        self._associations = {} if classes is None and associations is None else _associations(associations, names)
        self._stabilise = stabilise
        numbered = checked_numbered_names("categories", {} if categories is None else categories)
        self._read = (checked_name("label", label), numbered, scores)
        self._told = (report, hold, boxes)

    def read_settings(self, fps: float | None) -> _core.ReadSettings:
        return _core.ReadSettings(self.terms.picture, fps, *self._read)

    def native(self, fps: float | None) -> _core.Setup:
        """:param fps: By which frames are numbered, and those without times get theirs."""
        made_by = (self._tracker, self._preset, self._params, self._labels, self._associations)
        return _core.Setup(*made_by, self.read_settings(fps), self._stabilise, *self._told)

    def input(self, name: str, frames: Frames, format: str | None) -> tuple[_core.Input, float | None]:
        """Detections, and the frame rate that they have to be told of."""
        if isinstance(frames, (str, os.PathLike)):
            return _core.input_of_file(os.fspath(frames), format), self.fps
        records = list(self._records(frames))
        are_timed = all(each.timestamp is not None for each in records if isinstance(each, _core.Frame))
        return _core.input_of_records(name, records), None if are_timed else self.fps

    def _records(self, frames: Iterable[Any]) -> Iterator[Record]:
        """Records of frames as `track` takes them."""
        last = -1
        number = 0
        for each in frames:
            if isinstance(each, (_core.Frame, _core.CameraMotion, _core.CameraEnd)):
                yield each
                continue
            number += 1
            arguments = dict(each) if isinstance(each, Mapping) else {"boxes": each}
            motion = arguments.pop("camera_motion", None)
            if arguments.get("timestamp") is None:
                if self.fps is None:
                    raise TypeError(f"fps: frame {number - 1} has no timestamp, so frames per second are needed")
                arguments["timestamp"] = _core.timestamp_of(number, self.fps)
            frame = frame_of(self.terms.native, **arguments)
            if frame.timestamp is not None and frame.timestamp <= last:
                raise ValueError(f"timestamp: {frame.timestamp} in frame {number - 1} is not newer than {last}")
            last = frame.timestamp or 0
            if motion is not None:
                yield _core.CameraMotion(motion, self.terms.picture, "")
            yield frame


def frame_of(
    terms: _core.Terms,
    boxes: npt.ArrayLike,
    timestamp: SupportsIndex | None = None,
    *,
    scores: npt.ArrayLike | None = None,
    class_ids: npt.ArrayLike | None = None,
    labels: Sequence[str] | None = None,
    features: npt.ArrayLike | None = None,
    attributes: Sequence[Sequence[tuple[int, int, float]]] | None = None,
    objectness: npt.ArrayLike | None = None,
    camera: str = "",
) -> _core.Frame:
    """A frame of the arguments of `Tracker.update`."""
    columns = (scores, class_ids, labels, features, attributes, objectness)
    return _core.make_frame(terms, camera, timestamp, boxes, *columns)


def identities(argument: str, given: Truth | None, terms: _core.Terms, format: str | None) -> _core.Identities:
    """Truth or tracks: a path, or of each frame its `Tracks`, or identities and boxes.

    :param argument: Its name in complaints.
    """
    if given is None or isinstance(given, (str, os.PathLike)):
        return _core.Identities("" if given is None else os.fspath(given), format)
    frames = list(given)
    tracks = [each for each in frames if isinstance(each, Tracks)]
    if len(tracks) == len(frames):
        told = [(each.camera, each.timestamp, each._terms.native, each._reports) for each in tracks]
        return _core.identities_of_tracks(told)
    if tracks:
        raise TypeError(f"{argument}: some frames are Tracks, others are not")
    pairs = [identified(argument, each, number) for number, each in enumerate(frames)]
    return _core.identities_of_arrays(argument, pairs, terms)


def warn(texts: Iterable[str]) -> None:
    for text in texts:
        warnings.warn(text, stacklevel=3)
