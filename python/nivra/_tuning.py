"""Parameters that suit one's own sequences."""

from __future__ import annotations

import dataclasses
import os
from collections.abc import Mapping, Sequence
from typing import Any, NamedTuple

from . import _core
from ._evaluation import Evaluation
from ._files import Path
from ._inputs import Frames, Setup, Truth, identities, warn


class TunedParameter(NamedTuple):
    """A parameter that is worth another value than its default."""

    key: str
    """As `params` takes it."""
    value: str
    """Likewise."""
    default: str
    """What it is without."""
    gain: float | None
    """What of the objective goes without it; None after an interruption."""


class TunedScore(NamedTuple):
    """How well some parameters do on all sequences together."""

    objective: float
    """Percent."""
    evaluation: Evaluation
    """All figures."""


@dataclasses.dataclass(frozen=True)
class Tuning:
    """What `tune` found; `str` of it is a file for `nivra track --params`, which says what there is to know."""

    params: Mapping[str, str]
    """All parameters, for `Tracker`; those of a preset among them."""
    changes: tuple[TunedParameter, ...]
    """Those that were found, and what they give."""
    scores: Mapping[str, TunedScore]
    """Of "defaults", each preset, the parameters "as given" if there were any, and those "tuned"."""
    held_out: TunedScore | None
    """What was found without a part of the sequences, on that part, for all parts: what to expect of others of the
    kind. None for one sequence, and after an interruption."""
    sequences: tuple[str, ...]
    """Their names."""
    interrupted: bool
    """Whether Ctrl-C ended the search; it is the best so far then."""
    text: str = dataclasses.field(repr=False)

    def __str__(self) -> str:
        return self.text


def tune(
    frames: Frames | Mapping[str, Frames] | Sequence[Path],
    truth: Truth | Mapping[str, Truth] | None = None,
    tracker: str = "vanilla",
    *,
    vary: Sequence[str] = (),
    objective: str | Mapping[str, float] = "HOTA,IDF1",
    evaluations: int = 1000,
    folds: int = 5,
    least_gain: float = 0.2,
    seed: int = 1,
    jobs: int | None = None,
    preprocessing: str | None = None,
    format: str | None = None,
    truth_format: str | None = None,
    **options: Any,
) -> Tuning:
    """Searches parameters that do well on sequences whose truth is known, by the code of `nivra tune`.

    The same arguments get the same result. The first Ctrl-C ends the search and returns the best so far; where there
    is none yet, and at the second one, KeyboardInterrupt is raised.

    >>> import nivra
    >>> frames = [[[100 + 5 * i, 300, 180 + 5 * i, 500]] for i in range(40) if i != 20]
    >>> truth = [([7], boxes) for boxes in frames]
    >>> tuning = nivra.tune(frames, truth, picture=(1920, 1080), fps=25, vary=["vanilla"], evaluations=10)
    >>> tracker = nivra.Tracker(picture=(1920, 1080), fps=25, params=tuning.params)

    :param frames: Frames as `track` takes them, or the records that `read` hands out; a mapping of these by names of
        sequences; or paths: a file, a sequence folder, a folder of these, or a list of them.
    :param truth: For each frame its identities (M,) and boxes (M, 4), or its `Tracks`; of a mapping, one of the same
        names. Of paths a file, a folder with the truth of each, or None if sequence folders have it.
    :param tracker: As `Tracker` has it.
    :param vary: Keys and sections that may be changed; all that presets set if there are none.
    :param objective: Figures of `evaluate` to be made large: "HOTA=2,IDF1" or {"HOTA": 2, "IDF1": 1}.
    :param evaluations: How many parameters each search tries, from 10.
    :param folds: In how many parts sequences are held out; 1 for none.
    :param least_gain: Leaves out what gives less of the objective, in percent points.
    :param seed: Another number begins at other places.
    :param jobs: How many threads work; as many as there are processors if not given.
    :param preprocessing: "none", "mot17" or "mot20" for truth in files; what it is made for if not given.
    :param format: Of files of detections, told from what they hold if not given.
    :param truth_format: Likewise of truth.
    :param options: Those of `Tracker` and `explain`; `preset` and `params` are where the search begins.
    :raises ValueError: naming the argument, for what there isn't; FileError for what cannot be read.
    """
    counts = {"evaluations": evaluations, "folds": folds, "least_gain": least_gain, "seed": seed}
    counts["jobs"] = jobs = (os.cpu_count() or 1) if jobs is None else jobs
    for name, (least, most) in _core.tuning_ranges().items():
        if not least <= counts[name] <= most:
            raise ValueError(f"{name}: {counts[name]}, expected a number from {least:g} to {most:g}")
    setup = Setup(tracker, **options)
    paths = _paths(frames)
    fps: float | None
    if paths is not None:
        if truth is not None and not isinstance(truth, (str, os.PathLike)):
            raise TypeError("truth: expected a path, as the frames are one")
        place = "" if truth is None else os.fspath(truth)
        inputs, fps = _core.tuned_inputs(paths, place, format, truth_format), setup.fps
    else:
        inputs, fps = _in_memory(frames, truth, setup)
    if isinstance(objective, Mapping):
        objective = ",".join(f"{name}={weight!r}" for name, weight in objective.items())
    params, changes, scores, held_out, sequences, interrupted, text, warnings = _core.tune(
        setup.native(fps), inputs, list(vary), objective, evaluations, folds, least_gain, seed, jobs, preprocessing
    )
    warn(warnings)
    return Tuning(
        params,
        tuple(TunedParameter(*each) for each in changes),
        {name: _score(tracker, each) for name, each in scores.items()},
        None if held_out is None else _score(tracker, held_out),
        tuple(sequences),
        interrupted,
        text,
    )


def _paths(frames: Any) -> list[str] | None:
    """None for what is in memory."""
    if isinstance(frames, (str, os.PathLike)):
        return [os.fspath(frames)]
    if isinstance(frames, Sequence) and frames and all(isinstance(each, (str, os.PathLike)) for each in frames):
        return [os.fspath(each) for each in frames]
    return None


def _in_memory(frames: Any, truth: Any, setup: Setup) -> tuple[list[tuple[Any, Any]], float | None]:
    if truth is None:
        raise TypeError("truth: expected identities and boxes of each frame, as the frames are in memory")
    if isinstance(frames, Mapping) != isinstance(truth, Mapping):
        raise TypeError("truth: expected a mapping of the same names if frames are one")
    sequences = frames if isinstance(frames, Mapping) else {"frames": frames}
    truths = truth if isinstance(frames, Mapping) else {"frames": truth}
    inputs = []
    fps = None
    for name, each in sequences.items():
        if name not in truths:
            raise ValueError(f"truth: there is none of {name!r}")
        input, needed = setup.input(name, each, None)
        fps = fps or needed
        inputs.append((input, identities("truth", truths[name], setup.terms.native, None)))
    return inputs, fps


def _score(tracker: str, found: tuple[float, Any]) -> TunedScore:
    return TunedScore(found[0], Evaluation(tracker, "", "", *found[1]))
