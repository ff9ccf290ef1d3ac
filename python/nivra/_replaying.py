"""Pages and drawings of tracks."""

from __future__ import annotations

import os
from collections.abc import Iterable, Mapping
from typing import Any, Union

from . import _core
from ._evaluation import FrameBoxes
from ._files import Path
from ._inputs import Frames, Setup, Truth, identities, warn

SeveralTracks = Union[Path, Iterable[FrameBoxes], Mapping[str, Union[Path, Iterable[FrameBoxes]]]]
Places = Union[Path, Mapping[str, Path], None]


def replay(
    page: Path,
    tracks: SeveralTracks,
    *,
    frames: Frames | None = None,
    truth: Truth | None = None,
    pictures: Places = None,
    video: Places = None,
    embed: bool = False,
    replace: bool = False,
    preprocessing: str | None = None,
    format: str | None = None,
    truth_format: str | None = None,
    **options: Any,
) -> None:
    """Writes a page that shows tracks in a browser, offline, by the code of `nivra replay`.

    >>> import nivra, tempfile
    >>> frames = [[[100 + 5 * i, 300, 180 + 5 * i, 500]] for i in range(40)]
    >>> tracks = nivra.track(frames, picture=(1920, 1080), fps=25)
    >>> with tempfile.TemporaryDirectory() as folder:
    ...     nivra.replay(folder + "/page.html", {"mine": tracks}, frames=frames, picture=(1920, 1080), fps=25)

    :param page: A file that is written, of HTML.
    :param tracks: What `track` returned, for each frame identities (M,) and boxes (M, 4), or a path; several by name
        stand side by side. Several cameras are chosen in the page.
    :param frames: Detections, which are shown too: a path, the records that `read` hands out, or frames as `track`
        takes them.
    :param truth: Shows who is found, missed or switched: a path, or in memory as tracks are.
    :param pictures: A folder with a picture for each frame, to stand behind the boxes; or one for each camera.
    :param video: A file instead, likewise.
    :param embed: Copies pictures and video into the page, instead of referring to them.
    :param replace: Whether an older file makes room.
    :param preprocessing: "none", "mot17" or "mot20" for truth in files; what it is made for if not given.
    :param format: Of files of tracks and detections, told from what they hold if not given.
    :param truth_format: Likewise of truth.
    :param options: `classes`, `picture`, `fps` and `box_format` as `Tracker` has them, of what is in memory without.
    :raises ValueError: naming the argument, for what there isn't; FileError for what cannot be read or written.
    """
    recording = _recording(tracks, frames, truth, preprocessing, format, truth_format, options)
    recording.write_page(os.fspath(page), _places(pictures), _places(video), embed, replace)


def plot(
    tracks: SeveralTracks,
    kind: str = "trajectories",
    *,
    truth: Truth | None = None,
    camera: str = "",
    preprocessing: str | None = None,
    format: str | None = None,
    truth_format: str | None = None,
    **options: Any,
) -> str:
    """Draws tracks for reports, by the code of `nivra plot`.

    >>> import nivra
    >>> frames = [[[100 + 5 * i, 300, 180 + 5 * i, 500]] for i in range(40)]
    >>> nivra.plot(nivra.track(frames, picture=(1920, 1080), fps=25), "lives")[:4]
    '<svg'

    :param tracks: As `replay` takes them.
    :param kind: "trajectories", "lives" or, with truth, "hota".
    :param truth: As `replay` takes it.
    :param camera: Which one, if there are several.
    :param preprocessing: As `replay` has it, and so are the others.
    :return: SVG.
    """
    return _recording(tracks, None, truth, preprocessing, format, truth_format, options).plot(kind, camera)


def _recording(
    tracks: SeveralTracks,
    frames: Frames | None,
    truth: Truth | None,
    preprocessing: str | None,
    format: str | None,
    truth_format: str | None,
    options: dict[str, Any],
) -> _core.Recording:
    setup = Setup("vanilla", **options)
    fps = setup.fps
    detections = None
    if frames is not None:
        detections, fps = setup.input("", frames, format)
    named = tracks if isinstance(tracks, Mapping) else {"tracks": tracks}
    runs = [(name, identities("tracks", each, setup.terms.native, format)) for name, each in named.items()]
    what = identities("truth", truth, setup.terms.native, truth_format)
    recording, warnings = _core.record(setup.read_settings(fps), detections, runs, what, preprocessing)
    warn(warnings)
    return recording


def _places(given: Places) -> dict[str, str]:
    """By camera; by nothing for the only one."""
    if given is None:
        return {}
    return {name: os.fspath(path) for name, path in (given if isinstance(given, Mapping) else {"": given}).items()}
