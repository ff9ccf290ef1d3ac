"""What a tracker reports, as arrays."""

from __future__ import annotations

from typing import TYPE_CHECKING, Any, Iterator, NamedTuple, Sequence, Union, overload

import numpy as np
import numpy.typing as npt

from . import _core

if TYPE_CHECKING:
    import pandas  # type: ignore[import]

Index = Union[slice, Sequence[int], Sequence[bool], "npt.NDArray[Any]"]
Reports = tuple["npt.NDArray[np.void]", tuple[int, ...], tuple[tuple[int, int], ...], Any, Any]


class Track(NamedTuple):
    """One track of a frame, as iteration over `Tracks` hands it out; `Tracks` tells what the fields are."""

    id: int
    box: npt.NDArray[np.float32]
    score: float
    class_id: int
    label: str
    confident: bool
    velocity: npt.NDArray[np.float32]
    detection: int


class Tracks:
    """The tracks after a frame: an array for each property, and a sequence of `Track`.

    All arrays have a row for each of the M tracks, oldest first. `tracks[mask]`, `tracks[2:5]` and `tracks[[3, 1]]`
    are `Tracks` again, `tracks[0]` is a `Track`. Arrays are made when they are first asked for; to write into one
    changes nothing else.

    >>> import nivra
    >>> tracker = nivra.Tracker(classes=["person"], picture=(1920, 1080), fps=25)
    >>> tracks = tracker.update([[600, 300, 680, 520], [900, 310, 975, 530]], scores=[0.9, 0.8])
    >>> len(tracks), tracks.id.tolist(), tracks.label.tolist()
    (2, [0, 1], ['person', 'person'])
    >>> tracks[tracks.score > 0.85].box.round().tolist()
    [[600.0, 300.0, 680.0, 520.0]]
    """

    __slots__ = ("_terms", "_frame", "_count", "_reports", "_box", "timestamp")

    timestamp: int
    """Time of the frame, nanoseconds."""

    def __init__(
        self, terms: Terms, frame: _core.Frame | None, timestamp: int, count: int, reports: Reports
    ) -> None:
        """Not for callers: trackers make them."""
        self._terms = terms
        self._frame = frame
        self.timestamp = timestamp
        self._count = count
        self._reports = reports
        self._box: npt.NDArray[np.float32] | None = None

    @property
    def id(self) -> npt.NDArray[np.int64]:
        """Identities (M,), stable for a track's life, never negative."""
        return self._column("id")

    @property
    def box(self) -> npt.NDArray[np.float32]:
        """Filtered boxes (M, 4) in the tracker's `box_format`, clamped to the picture."""
        if self._box is None:
            self._box = _core.boxes_of(self._reports[0], self._terms.native)
        return self._box

    @property
    def score(self) -> npt.NDArray[np.float32]:
        """Smoothed scores (M,), 0 to 1."""
        return self._column("score") / np.float32(100)

    @property
    def class_id(self) -> npt.NDArray[np.int64]:
        """Current classes (M,), by the ids of the tracker's `classes`."""
        return np.take(self._terms.ids, self._reports[0]["classPlace"])

    @property
    def label(self) -> npt.NDArray[np.str_]:
        """Names of the current classes (M,)."""
        return np.take(self._terms.names, self._reports[0]["classPlace"])

    @property
    def confident(self) -> npt.NDArray[np.bool_]:
        """Whether a track is confirmed (M,); tracks are reported from their first detection on."""
        return self._column("confident")

    @property
    def velocity(self) -> npt.NDArray[np.float32]:
        """Velocities of the box centres (M, 2), per second: pixels with y down, or the library's units without a
        picture."""
        velocity = self._column("velocity")
        return velocity if self._terms.picture is None else velocity * self._terms.pixels_per_unit

    @property
    def detection(self) -> npt.NDArray[np.int64]:
        """The row among the frame's boxes that a track took (M,); -1 if it took none and coasts."""
        return self._column("detection")

    @property
    def detection_track(self) -> npt.NDArray[np.int64]:
        """The inverse (N,): for each of the frame's boxes the row here of the track that took it; -1 if none did."""
        rows = np.full(self._count, -1, np.int64)
        detection = self._reports[0]["detection"]
        took = np.flatnonzero(detection >= 0)
        rows[detection[took]] = took
        return rows

    @property
    def removed(self) -> tuple[int, ...]:
        """Identities that ended with this frame."""
        return self._reports[1]

    @property
    def merged(self) -> tuple[tuple[int, int], ...]:
        """(identity that ended, older identity that took its place): who was recognised with this frame."""
        return self._reports[2]

    @property
    def class_scores(self) -> npt.NDArray[np.float32]:
        """Smoothed scores of all classes (M, C), 0 to 1, in the order of the tracker's `classes`."""
        rows, hypotheses = self._reports[0], self._reports[3]
        classes = len(self._terms.ids)
        if hypotheses is None:
            scores = np.zeros((len(rows), classes), np.float32)
            scores[np.arange(len(rows)), rows["classPlace"]] = rows["score"]
            return scores / np.float32(100)
        counts, places, values = hypotheses
        scores = np.zeros((len(counts), classes), np.float32)
        scores[np.repeat(np.arange(len(counts)), counts), places] = values
        return np.take(scores, rows["place"], axis=0) / np.float32(100)

    @property
    def attributes(self) -> list[list[tuple[int, int, float]]]:
        """The smoothed attributes of each track: (type, value, score), the scores in the caller's unit."""
        rows, attributes = self._reports[0], self._reports[4]
        if attributes is None:
            return [[] for _ in rows]
        counts, types, values, scores = attributes
        entries = list(zip(types.tolist(), values.tolist(), scores.tolist()))
        ends = np.cumsum(counts).tolist()
        starts = [end - count for end, count in zip(ends, counts.tolist())]
        return [entries[starts[place] : ends[place]] for place in rows["place"].tolist()]

    @property
    def camera(self) -> str:
        """The camera's name."""
        return self._terms.camera

    def as_array(self) -> npt.NDArray[np.float64]:
        """An array (M, 8) as other trackers return: x1, y1, x2, y2, id, score, class id, row of the detection.

        Corners, whatever the tracker's `box_format`.
        """
        corners = self._terms.boxes_of(self._reports, "xyxy")
        columns = (self.id, self.score, self.class_id, self.detection)
        return np.column_stack((corners, *columns)).astype(np.float64, copy=False)

    def to_pandas(self) -> pandas.DataFrame:
        """A pandas.DataFrame with a row for each track, if pandas is there."""
        import pandas

        corners = self._terms.boxes_of(self._reports, "xyxy")
        velocity = self.velocity
        return pandas.DataFrame(
            {
                "id": self.id,
                "x1": corners[:, 0],
                "y1": corners[:, 1],
                "x2": corners[:, 2],
                "y2": corners[:, 3],
                "score": self.score,
                "class_id": self.class_id,
                "label": self.label,
                "confident": self.confident,
                "velocity_x": velocity[:, 0],
                "velocity_y": velocity[:, 1],
                "detection": self.detection,
            }
        )

    def __len__(self) -> int:
        return len(self._reports[0])

    @overload
    def __getitem__(self, index: int) -> Track: ...
    @overload
    def __getitem__(self, index: Index) -> Tracks: ...
    def __getitem__(self, index: int | Index) -> Track | Tracks:
        if isinstance(index, (int, np.integer)):
            return self._track(range(len(self))[index])
        return self._some(index)

    def __iter__(self) -> Iterator[Track]:
        columns = zip(
            self.id.tolist(),
            self.box,
            self.score.tolist(),
            self.class_id.tolist(),
            self.label.tolist(),
            self.confident.tolist(),
            self.velocity,
            self.detection.tolist(),
        )
        return map(Track._make, columns)

    def __repr__(self) -> str:
        return f"<nivra.Tracks of {len(self)}: ids {self.id.tolist()}>"

    def _column(self, name: str) -> npt.NDArray[Any]:
        return self._reports[0][name].copy()

    def _some(self, index: Index) -> Tracks:
        if not isinstance(index, slice):
            index = np.asarray(index)
            if index.ndim != 1:
                raise IndexError(f"expected a row, a slice, or a mask or list of rows, not shape {index.shape}")
            if index.size == 0:
                index = index.astype(np.intp)
        reports = (self._reports[0][index], *self._reports[1:])
        return Tracks(self._terms, self._frame, self.timestamp, self._count, reports)

    def _track(self, row: int) -> Track:
        return next(iter(self._some(slice(row, row + 1))))

    def _written(self) -> tuple[_core.Frame, _core.Terms, Reports]:
        """What files of tracks are written from."""
        terms = self._terms.native
        head = self._frame
        if head is None:
            nothing = np.empty((0, 4))
            head = _core.make_frame(
                terms, self._terms.camera, self.timestamp, nothing, *[None] * 6
            )
        return head, terms, self._reports


class Terms:
    """Coordinates and classes as a tracker's caller counts them."""

    __slots__ = ("camera", "picture", "ids", "names", "native", "_box_format", "_others", "pixels_per_unit")

    def __init__(
        self,
        camera: str,
        picture: tuple[int, int] | None,
        box_format: str,
        ids: Sequence[int],
        names: Sequence[str],
        leaves_out_others: bool,
    ) -> None:
        self.camera = camera
        self.picture = picture
        self.ids = np.array(ids, np.int64)
        self.names = np.array(names, np.str_)
        self.native = _core.Terms(picture, box_format, ids, names, leaves_out_others)
        self._box_format = box_format
        self._others = (ids, names, leaves_out_others)
        if picture is not None:
            self.pixels_per_unit = np.array([picture[0] / 2, -picture[1] / 2], np.float32)

    def __reduce__(self) -> tuple[Any, ...]:
        return Terms, (self.camera, self.picture, self._box_format, *self._others)

    def boxes_of(self, reports: Reports, box_format: str) -> npt.NDArray[np.float32]:
        """Boxes in a format that isn't the caller's own."""
        return _core.boxes_of(reports[0], _core.Terms(self.picture, box_format, *self._others))
