"""Files of detections and tracks, in the formats of the command-line tool."""

from __future__ import annotations

import os
import warnings
from collections.abc import Iterable, Iterator, Mapping, Sequence
from typing import TYPE_CHECKING, SupportsIndex, Union

import numpy.typing as npt

from . import _core
from ._checks import checked_fps, checked_name, checked_names, checked_numbered_names, checked_picture, require

if TYPE_CHECKING:
    from ._tracks import Tracks

Frame = _core.Frame
CameraMotion = _core.CameraMotion
CameraEnd = _core.CameraEnd
Record = Union[_core.Frame, _core.CameraMotion, _core.CameraEnd]
Path = Union[str, "os.PathLike[str]"]


def read(
    path: Path,
    *,
    format: str | None = None,
    picture: tuple[int, int] | None = None,
    fps: float | None = None,
    label: str = "human",
    categories: Mapping[int, str] | None = None,
    scores: str | None = None,
) -> Iterator[Record]:
    """Reads detections as the command-line tool does, frame by frame.

    :param path: A file or sequence folder, packed by gzip or not.
    :param format: "jsonl", "motchallenge", "coco", "yolo", "kitti", "csv" or "results"; told from the content if not
        given.
    :param picture: Width and height in pixels, for formats that don't tell it.
    :param fps: Frames per second, likewise.
    :param label: Of detections that come without one.
    :param categories: Labels of numbered categories.
    :param scores: "fraction" or "percent", where a format doesn't tell and a guess would be wrong.
    :return: Frames; of JSON Lines also movements and ends of cameras.
    :raises FileError: for what cannot be read, naming file and line.
    """
    label = checked_name("label", label)
    numbered = checked_numbered_names("categories", {} if categories is None else categories)
    reader = _core.FileReader(
        os.fspath(path), format, checked_picture(picture), checked_fps(fps), label, numbered, scores
    )
    return _warning(reader)


def _warning(reader: _core.FileReader) -> Iterator[Record]:
    for record in reader:
        _warn(reader)
        yield record
    _warn(reader)


def _warn(reader: _core.FileReader) -> None:
    for text in reader.take_warnings():
        warnings.warn(text, stacklevel=3)


def frame(
    boxes: npt.ArrayLike,
    timestamp: SupportsIndex | None = None,
    *,
    scores: npt.ArrayLike | None = None,
    labels: Sequence[str] | None = None,
    features: npt.ArrayLike | None = None,
    attributes: Sequence[Sequence[tuple[int, int, float]]] | None = None,
    objectness: npt.ArrayLike | None = None,
    picture: tuple[int, int] | None = None,
    camera: str = "",
    box_format: str = "xyxy",
) -> Frame:
    """A frame of one's own detections, for `write`; the arguments are those of `Tracker.update`.

    >>> import nivra
    >>> frame = nivra.frame([[600, 300, 680, 520]], 0, scores=[0.9], picture=(1920, 1080))
    >>> frame.labels, frame.boxes.round().tolist()
    (['human'], [[600.0, 300.0, 680.0, 520.0]])
    """
    names = sorted(set(checked_names("labels", () if labels is None else labels))) or ["human"]
    require("box_format", box_format, str, "a name")
    terms = _core.Terms(checked_picture(picture), box_format, list(range(len(names))), names, False)
    camera = checked_name("camera", camera)
    return _core.make_frame(terms, camera, timestamp, boxes, scores, None, labels, features, attributes, objectness)


def write(
    path: Path, records: Iterable[Record], *, format: str | None = None, fps: float | None = None, replace: bool = False
) -> None:
    """Writes detections, as `read` hands them out or `frame` makes them.

    :param path: A file for "jsonl", packed if its name ends in .gz; a folder for "motchallenge".
    :param format: Either of these; told from the file's name if not given.
    :param fps: Frames per second, by which "motchallenge" numbers frames.
    :param replace: Whether an older file makes room.
    :raises FileError: if it cannot be written.
    """
    _core.write_records(os.fspath(path), records, format, checked_fps(fps), replace)


def write_tracks(
    path: Path,
    tracks: Iterable[Tracks],
    *,
    format: str | None = None,
    fps: float | None = None,
    replace: bool = False,
) -> None:
    """Writes tracks in the formats of the command-line tool.

    :param path: A file, packed if its name ends in .gz.
    :param tracks: Of frame after frame; some may be left out, such as those which are not confident.
    :param format: "jsonl", "motchallenge", "kitti" or "csv"; told from the file's name if not given.
    :param fps: Frames per second, by which frames are numbered; they are counted if it isn't given.
    :param replace: Whether an older file makes room.
    :raises FileError: if it cannot be written.
    """
    written = []
    for each in tracks:
        if not hasattr(each, "_written"):
            raise TypeError(f"tracks: expected those of each frame, not {type(each).__name__}")
        written.append(each._written())
    _core.write_tracks(os.fspath(path), written, format, checked_fps(fps), replace)
