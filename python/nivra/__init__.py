"""Multi-object tracking for cameras: boxes of a detector in, tracks with stable identities out.

>>> import nivra
>>> tracker = nivra.Tracker(classes=["person"], picture=(1920, 1080), fps=25)
>>> tracks = tracker.update([[600, 300, 680, 520]], scores=[0.9])
>>> tracks.id, tracks.confident
(array([0]), array([False]))

`Tracker` is where to begin; `track` does whole recordings, `read`, `write` and `write_tracks` files, and `evaluate`
tells what tracks are worth.
"""

import atexit

from ._core import FileError, set_fault_handler, version as __version__
from ._evaluation import Evaluation, evaluate
from ._files import CameraEnd, CameraMotion, Frame, frame, read, write, write_tracks
from ._parameters import Parameter, parameters, presets
from ._tracker import Tracker, track
from ._tracks import Track, Tracks

__all__ = [
    "CameraEnd",
    "CameraMotion",
    "Evaluation",
    "FileError",
    "Frame",
    "Parameter",
    "Track",
    "Tracker",
    "Tracks",
    "__version__",
    "evaluate",
    "frame",
    "parameters",
    "presets",
    "read",
    "set_fault_handler",
    "track",
    "write",
    "write_tracks",
]

# It is kept where Python's end doesn't reach.
atexit.register(set_fault_handler, None)
