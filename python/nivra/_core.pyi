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
    class_ids: Any,
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

class ReadSettings:
    def __init__(
        self,
        picture: tuple[int, int] | None,
        fps: float | None,
        label: str,
        categories: dict[int, str],
        scores: str | None,
    ) -> None: ...

class Setup:
    def __init__(
        self,
        tracker: str,
        preset: str | None,
        params: dict[str, str],
        labels: list[str],
        associations: dict[str, set[str]],
        read: ReadSettings,
        stabilise: bool,
        report: str | None,
        hold: float | None,
        boxes: str | None,
    ) -> None: ...

class Input: ...

class Identities:
    def __init__(self, path: str, format: str | None) -> None: ...

class Recording:
    def write_page(
        self, path: str, pictures: dict[str, str], videos: dict[str, str], embed: bool, replace: bool
    ) -> None: ...
    def plot(self, kind: str, camera: str) -> str: ...

def input_of_file(path: str, format: str | None) -> Input: ...
def input_of_records(name: str, records: Iterable[Any]) -> Input: ...
def identities_of_arrays(argument: str, frames: Iterable[Any], terms: Terms) -> Identities: ...
def identities_of_tracks(frames: list[tuple[str, int, Terms, Any]]) -> Identities: ...
def explain(
    setup: Setup,
    input: Input,
    truth: Identities,
    camera: str,
    id: int | None,
    frame: int | None,
    worst: int | None,
    preprocessing: str | None,
) -> tuple[str, str, int, list[str]]: ...
def tuned_inputs(
    paths: list[str], truth: str, format: str | None, truth_format: str | None
) -> list[tuple[Input, Identities]]: ...
def tuning_ranges() -> dict[str, tuple[float, float]]: ...
def tune(
    setup: Setup,
    inputs: list[tuple[Input, Identities]],
    vary: list[str],
    objective: str,
    evaluations: int,
    folds: int,
    least_gain: float,
    seed: int,
    jobs: int,
    preprocessing: str | None,
) -> tuple[dict[str, str], list[tuple[Any, ...]], dict[str, Any], Any, list[str], bool, str, list[str]]: ...
def record(
    read: ReadSettings,
    detections: Input | None,
    tracks: list[tuple[str, Identities]],
    truth: Identities,
    preprocessing: str | None,
) -> tuple[Recording, list[str]]: ...
def timestamp_of(frame: int, fps: float) -> int: ...
def parameters(tracker: str | None) -> list[tuple[Any, ...]]: ...
def presets(tracker: str) -> dict[str, dict[str, str]]: ...
def set_fault_handler(handler: Callable[[str], None] | None) -> None:
    """Hands the faults inside frames of all trackers, such as boxes that make no sense to the low-frame-rate tracker,
    to a function from now on; None restores the usual way, the system log and standard error.
    """
