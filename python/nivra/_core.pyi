"""What is written in C++. Arguments that hold arrays are checked there, and may be None."""

from collections.abc import Callable, Iterable, Iterator, Sequence
from typing import Any

import numpy as np
import numpy.typing as npt

version: str

class FileError(OSError):
    """A file that cannot be read or written; the text names file and line."""

class Terms:
    def __init__(
        self,
        picture: tuple[int, int] | None,
        box_format: str,
        ids: Sequence[int],
        names: Sequence[str],
        leaves_out_others: bool,
    ) -> None: ...

class Tracker:
    def __init__(
        self,
        tracker: str,
        preset: str | None,
        params: dict[str, str],
        associations: dict[str, set[str]],
        terms: Terms,
        fps: float | None,
        stabilise: bool,
    ) -> None: ...
    @property
    def warnings(self) -> str: ...
    def update(
        self,
        boxes: Any,
        timestamp: Any,
        scores: Any,
        class_ids: Any,
        labels: Any,
        features: Any,
        attributes: Any,
        objectness: Any,
        camera_motion: Any,
    ) -> tuple[int, int, Any]: ...
    def update_frame(self, frame: Frame) -> tuple[int, int, Any]: ...
    def move(self, camera_motion: Any) -> None: ...
    def state(self) -> bytes: ...
    def go_on_from(self, state: bytes) -> None: ...

class Frame:
    """All detections of a camera at one time, as `read` hands them out."""

    @property
    def camera(self) -> str:
        """The camera's name."""
    @property
    def timestamp(self) -> int | None:
        """Nanoseconds; None if the file doesn't tell."""
    @property
    def picture(self) -> tuple[int, int] | None:
        """Width and height in pixels; None if boxes are in the library's coordinates."""
    @property
    def boxes(self) -> npt.NDArray[np.float64]:
        """(N, 4): left, top, right, bottom."""
    @property
    def scores(self) -> npt.NDArray[np.float64]:
        """(N,), 0 to 1."""
    @property
    def objectness(self) -> npt.NDArray[np.float64]:
        """(N,), 0 to 1; 0 means none."""
    @property
    def labels(self) -> list[str]:
        """N names of classes."""
    @property
    def features(self) -> npt.NDArray[np.float32] | None:
        """(N, D), with rows of NaN for detections without one; None if no detection has any."""
    @property
    def attributes(self) -> list[list[tuple[int, int, float]]]:
        """For each detection its (type, value, score)."""
    def head(self) -> Frame:
        """The same without detections."""
    def __len__(self) -> int: ...

class CameraMotion:
    """A camera has moved."""

    def __init__(self, matrix: Any, picture: tuple[int, int] | None, camera: str) -> None: ...
    @property
    def camera(self) -> str:
        """The camera's name."""
    @property
    def picture(self) -> tuple[int, int] | None:
        """Width and height if the matrix is one of pixels."""
    @property
    def matrix(self) -> npt.NDArray[np.float64]:
        """(2, 3): what was at (x, y) is now at matrix @ (x, y, 1)."""

class CameraEnd:
    """No more is to come of a camera."""

    def __init__(self, camera: str) -> None: ...
    @property
    def camera(self) -> str:
        """The camera's name."""

class FileReader:
    def __init__(
        self,
        path: str,
        format: str | None,
        picture: tuple[int, int] | None,
        fps: float | None,
        label: str,
        categories: dict[int, str],
        scores: str | None,
    ) -> None: ...
    def __iter__(self) -> Iterator[Frame | CameraMotion | CameraEnd]: ...
    def __next__(self) -> Frame | CameraMotion | CameraEnd: ...
    def take_warnings(self) -> list[str]: ...

def boxes_of(rows: Any, terms: Terms) -> npt.NDArray[np.float32]: ...
def make_frame(
    terms: Terms,
    camera: str,
    timestamp: Any,
    boxes: Any,
    scores: Any,
    labels: Any,
    features: Any,
    attributes: Any,
    objectness: Any,
) -> Frame: ...
def write_records(
    path: str, records: Iterable[Any], format: str | None, fps: float | None, replace: bool
) -> None: ...
def write_tracks(
    path: str, frames: list[tuple[Frame, Terms, Any]], format: str | None, fps: float | None, replace: bool
) -> None: ...
def evaluate_files(
    truth: str,
    trackers: list[tuple[str, str]],
    truth_format: str | None,
    format: str | None,
    preprocessing: str | None,
    sequences: list[str],
    classes: list[str],
    picture: tuple[int, int] | None,
    fps: float | None,
    jobs: int,
    warn: Callable[[str], None],
) -> list[tuple[str, str, str, Any]]: ...
def evaluate_frames(truth: Any, tracks: Any, box_format: str) -> tuple[dict[str, float], dict[str, Any]]: ...
def parameters(tracker: str | None) -> list[tuple[Any, ...]]: ...
def presets(tracker: str) -> dict[str, dict[str, str]]: ...
def set_fault_handler(handler: Callable[[str], None] | None) -> None:
    """Hands the faults inside frames of all trackers, such as boxes that make no sense to the low-frame-rate tracker,
    to a function from now on; None restores the usual way, the system log and standard error.
    """
