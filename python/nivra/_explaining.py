"""Why identities begin, change and end."""

from __future__ import annotations

import dataclasses
import json
import math
from collections.abc import Mapping
from typing import Any, NamedTuple

from . import _core
from ._inputs import Frames, Setup, Truth, identities, warn


class Verdict(NamedTuple):
    """What a rule of a tracker said."""

    rule: str
    """Its name, such as "widthChange"."""
    holds: bool
    """Whether the figure keeps to the limit."""
    figure: float
    """What was compared; not a number if it is none that files can hold."""
    limit: float
    """With this."""
    parameter: str
    """That sets the limit, such as "vanilla.widthRelativeDiffGating"; empty where none does."""


class Check(NamedTuple):
    """What another value of the parameter that decided does, found out by tracking again with it."""

    parameter: str
    """Its key."""
    value: str
    """As `params` takes it."""
    turns_around: bool
    """Whether the decision is the opposite then."""
    totals: Mapping[str, float]
    """"identities", and with truth "HOTA", "MOTA", "IDF1" and "IDSW"."""


class Reason(NamedTuple):
    """A decision and why it was made."""

    kind: str
    """"birth", "change", "decision" or "switch"."""
    frame: int
    """From 1."""
    seconds: float
    """Since the first frame."""
    track: int
    """Identity; -1 if it is about none."""
    change: str
    """"none", "began", "confirmed", "identified", "lost", "revived", "merged" or "ended"."""
    other: int | None
    """The track that refused, was better, merged, or was before the switch."""
    truth: int | None
    """Whose identity was switched."""
    detection: int | None
    """Row among the frame's boxes."""
    verdicts: tuple[Verdict, ...]
    """Those that decided."""
    margin: float | None
    """How far the figure is from its limit, as a share of the larger."""
    sentence: str
    """All this in words."""
    check: Check | None
    """Of the one parameter that would have changed it."""


@dataclasses.dataclass(frozen=True)
class Explanations:
    """What `explain` found; `str` of it are the sentences of the command-line tool."""

    totals: Mapping[str, float]
    """"identities", and with truth "HOTA", "MOTA", "IDF1" (fractions) and "IDSW"."""
    told: tuple[Reason, ...]
    """In the order of the frames; of `worst` the narrowest first."""
    everything: Mapping[str, Any] | None
    """All that was decided in the `frame` that was asked for, as docs/explanations.schema.json has "reasons"."""
    text: str = dataclasses.field(repr=False)

    def __str__(self) -> str:
        return self.text


def explain(
    frames: Frames,
    tracker: str = "vanilla",
    *,
    id: int | None = None,
    frame: int | None = None,
    worst: int | None = None,
    truth: Truth | None = None,
    camera: str = "",
    preprocessing: str | None = None,
    format: str | None = None,
    truth_format: str | None = None,
    **options: Any,
) -> Explanations:
    """Says why identities are as `track` makes them, by the code of `nivra explain`.

    If nothing is chosen, that is told of every identity that began near a track which existed, or where one had just
    ended. Where one parameter alone would have changed a decision, all frames are tracked again with it, which takes
    its time.

    >>> import nivra
    >>> boxes = [[100, 300, 180, 500], [100, 300, 180, 500], [190, 300, 270, 500]]
    >>> why = nivra.explain([[box] for box in boxes], picture=(1920, 1080), fps=25)
    >>> print(why.told[0].sentence)
    id 1 began here because id 0 refused it: centre 1.13 widths to the side, at most 1 (vanilla.widthFactorGating)
    >>> why.told[0].check.value
    '1.13'

    :param frames: A path, the records that `read` hands out, or frames as `track` takes them.
    :param tracker: As `Tracker` has it.
    :param id: The life of this identity.
    :param frame: All that was decided in this frame, from 1.
    :param worst: So many decisions, those with the smallest margin first.
    :param truth: The identity switches by this truth: a path, or for each frame its `Tracks`, or identities (M,) and
        boxes (M, 4).
    :param camera: Which one, if there are several.
    :param preprocessing: "none", "mot17" or "mot20" for truth in files; what it is made for if not given.
    :param format: Of a file of detections, told from what it holds if not given.
    :param truth_format: Likewise of truth.
    :param options: Those of `Tracker`; for files `label`, `categories` and `scores` of `read`; and which tracks are
        held against the truth: `report` "all", "confident" or "settled" (if not given), `hold` seconds after their last
        detection (0.1; infinite for as long as there are any), `boxes` "smoothed" or "detected" (if not given).
    :raises ValueError: naming the argument, for what there isn't; FileError for what cannot be read.
    """
    setup = Setup(tracker, **options)
    input, fps = setup.input("frames", frames, format)
    what = identities("truth", truth, setup.terms.native, truth_format)
    native = setup.native(fps)
    told, text, passed_over, warnings = _core.explain(native, input, what, camera, id, frame, worst, preprocessing)
    if passed_over:
        warnings.append(f"{passed_over} frames or lines were passed over, as they cannot follow those before them")
    warn(warnings)
    found = json.loads(told)
    reasons = tuple(_reason(each) for each in found["told"])
    return Explanations(found["totals"], reasons, found.get("reasons"), text)


def _reason(told: dict[str, Any]) -> Reason:
    check = told.get("check")
    return Reason(
        told["kind"],
        told["frame"],
        told["seconds"],
        told["track"],
        told["change"],
        told.get("other"),
        told.get("truth"),
        told.get("detection"),
        tuple(_verdict(each) for each in told["verdicts"]),
        told.get("margin"),
        told["sentence"],
        Check(check["parameter"], check["value"], check["turnsAround"], check["totals"]) if check else None,
    )


def _verdict(told: dict[str, Any]) -> Verdict:
    figure, limit = (math.nan if told[name] is None else told[name] for name in ("figure", "limit"))
    return Verdict(told["rule"], told["holds"], figure, limit, told.get("parameter", ""))
