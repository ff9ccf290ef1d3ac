"""Multi-object tracking for cameras: boxes of a detector in, tracks with stable identities out.

>>> import nivra
>>> tracker = nivra.Tracker(classes=["person"], picture=(1920, 1080), fps=25)
>>> tracks = tracker.update([[600, 300, 680, 520]], scores=[0.9])
>>> tracks.id, tracks.confident
(array([0]), array([False]))

`Tracker` is where to begin; `track` does whole recordings, `read`, `write` and `write_tracks` files, and `evaluate`
tells what tracks are worth. `explain` says why they are as they are, `replay` and `plot` show them, and `tune` searches
parameters that suit one's own sequences.
"""

import atexit

from ._core import FileError, set_fault_handler, version as __version__
from ._evaluation import Evaluation, evaluate
from ._explaining import Check, Explanations, Reason, Verdict, explain
from ._files import CameraEnd, CameraMotion, Frame, frame, read, write, write_tracks
from ._parameters import Parameter, parameters, presets
from ._replaying import plot, replay
from ._tracker import Tracker, track
from ._tracks import Track, Tracks
from ._tuning import TunedParameter, TunedScore, Tuning, tune

__all__ = [
    "CameraEnd",
    "CameraMotion",
    "Check",
    "Evaluation",
    "Explanations",
    "FileError",
    "Frame",
    "Parameter",
    "Reason",
    "Track",
    "Tracker",
    "Tracks",
    "TunedParameter",
    "TunedScore",
    "Tuning",
    "Verdict",
    "__version__",
    "evaluate",
    "explain",
    "frame",
    "parameters",
    "plot",
    "presets",
    "read",
    "replay",
    "set_fault_handler",
    "track",
    "tune",
    "write",
    "write_tracks",
]

# It is kept where Python's end doesn't reach.
atexit.register(set_fault_handler, None)
