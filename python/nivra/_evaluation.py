"""How well tracks agree with the truth."""

from __future__ import annotations

import os
import warnings
from collections.abc import Iterable, Mapping, Sequence
from typing import Any, NamedTuple, Union

import numpy as np
import numpy.typing as npt

from . import _core
from ._checks import checked_fps, checked_names, checked_picture
from ._files import Path
from ._tracks import Tracks

FrameBoxes = Union[Tracks, "tuple[npt.ArrayLike, npt.ArrayLike]"]


class Evaluation(NamedTuple):
    """The figures of a tracker on a sequence, or on all of them together."""

    tracker: str
    """Its name; empty for arrays."""
    sequence: str
    """Empty for all of them together."""
    label: str
    """The class; empty for all together."""
    figures: Mapping[str, float]
    """By name, such as "HOTA", "MOTA" and "IDF1"; shares are fractions."""
    curves: Mapping[str, npt.NDArray[np.float64]]
    """Those of HOTA at its 19 thresholds of overlap, 0.05 to 0.95."""


def evaluate(
    truth: Path | Iterable[FrameBoxes],
    tracks: Path | Mapping[str, Path] | Iterable[FrameBoxes],
    *,
    box_format: str = "xyxy",
    preprocessing: str | None = None,
    sequences: Sequence[str] = (),
    classes: Sequence[str] = (),
    format: str | None = None,
    truth_format: str | None = None,
    picture: tuple[int, int] | None = None,
    fps: float | None = None,
) -> list[Evaluation]:
    """Compares tracks with the truth, by the code of `nivra eval`.

    >>> import nivra
    >>> truth = [([7], [[0, 0, 10, 10]]), ([7], [[1, 0, 11, 10]])]
    >>> found = [([3], [[0, 0, 10, 10]]), ([3], [[1, 0, 11, 10]])]
    >>> nivra.evaluate(truth, found)[0].figures["HOTA"]
    1.0

    :param truth: Files: a sequence folder, a file, or a folder of either. Or for each frame its identities (M,) and
        boxes (M, 4).
    :param tracks: Files: one, or a folder with a file for each sequence; or several by name. Or for each frame its
        `Tracks`, or identities and boxes. Both sides are files, or neither.
    :param box_format: "xyxy", "xywh" or "cxcywh", of boxes that are not `Tracks`.
    :param preprocessing: "none", "mot17" or "mot20" for files; what the truth is made for if not given.
    :param sequences: Of files only these.
    :param classes: Of files each of these classes by itself.
    :param format: Of files of tracks; told from what they hold if not given.
    :param truth_format: Of files of truth, likewise.
    :param picture: Width and height in pixels, for JSON Lines without one.
    :param fps: Frames per second, by which frames of JSON Lines are numbered.
    :return: An evaluation for each sequence and tracker, and for all sequences together at the end.
    :raises FileError: for what cannot be read. ValueError for what is called wrongly.
    """
    if not isinstance(truth, (str, os.PathLike)):
        pair = (_boxes("truth", truth, box_format), _boxes("tracks", _in_memory(tracks), box_format))
        return [Evaluation("", "", "", *_core.evaluate_frames(*pair, box_format))]
    named: Iterable[tuple[str, Any]]
    if isinstance(tracks, Mapping):
        named = tracks.items()
    elif isinstance(tracks, (str, os.PathLike)):
        named = [("", tracks)]
    else:
        raise TypeError("tracks: expected a path or a mapping from names to paths, as the truth is a path")
    rows = _core.evaluate_files(
        os.fspath(truth),
        [(name, os.fspath(path)) for name, path in named],
        truth_format,
        format,
        None if preprocessing == "auto" else preprocessing,
        checked_names("sequences", sequences),
        checked_names("classes", classes),
        checked_picture(picture),
        checked_fps(fps),
        os.cpu_count() or 1,
        lambda text: warnings.warn(text, stacklevel=3),
    )
    return [Evaluation(tracker, sequence, label, *figures) for tracker, sequence, label, figures in rows]


def _in_memory(tracks: Any) -> Iterable[FrameBoxes]:
    if isinstance(tracks, (str, os.PathLike, Mapping)):
        raise TypeError("tracks: expected identities and boxes of each frame, as the truth has them")
    return tracks  # type: ignore[no-any-return]


def _boxes(argument: str, frames: Iterable[FrameBoxes], box_format: str) -> list[tuple[Any, Any]]:
    """Identities and boxes of each frame, in the format."""
    plain = []
    for number, frame in enumerate(frames):
        if isinstance(frame, Tracks):
            plain.append((frame.id, frame._terms.boxes_of(frame._reports, box_format)))
        else:
            plain.append(identified(argument, frame, number))
    return plain


def identified(argument: str, frame: Any, number: int) -> tuple[npt.NDArray[np.int64], Any]:
    """The identities and boxes of a frame.

    :param argument: Its name in complaints.
    :param number: Likewise that of the frame.
    """
    try:
        given, boxes = frame
    except (TypeError, ValueError):
        raise TypeError(f"{argument}: frame {number} is no pair of identities (M,) and boxes (M, 4)") from None
    ids = np.asarray(given)
    if ids.size > 0 and ids.dtype.kind not in "iu":
        raise TypeError(f"{argument}: identities of dtype {ids.dtype} in frame {number}, expected whole numbers")
    if ids.ndim != 1:
        raise ValueError(f"{argument}: identities of shape {ids.shape} in frame {number}, expected (M,)")
    if len(np.unique(ids)) < len(ids):
        raise ValueError(f"{argument}: an identity is twice in frame {number}")
    return ids.astype(np.int64), boxes
