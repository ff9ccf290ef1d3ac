"""The parameters of the trackers."""

from __future__ import annotations

from typing import NamedTuple

from . import _core


class Parameter(NamedTuple):
    """All that is known of a parameter."""

    key: str
    """Section and name, as `Tracker`'s `params` takes it."""
    kind: str
    """"number", "count", "flag", "number pair" or "class list"."""
    default: str
    unit: str
    """Empty for plain numbers."""
    meaning: str
    pull: str
    """What a larger value does."""
    range: tuple[float, float]
    """The least and the largest number that it may be; of no meaning for class lists."""
    usual: tuple[float, float]
    """Where good values are found."""
    scale: str
    """"linear" or "logarithmic": how values lie between the ends of a range."""


def parameters(tracker: str | None = None) -> list[Parameter]:
    """All parameters, or those which a tracker reads.

    >>> import nivra
    >>> absorption = {each.key: each for each in nivra.parameters("vanilla")}["vanilla.scoreAbsorption"]
    >>> absorption.kind, absorption.range
    ('number', (0.0, 1.0))
    """
    return [Parameter(*each) for each in _core.parameters(tracker)]


def presets(tracker: str = "vanilla") -> dict[str, dict[str, str]]:
    """What each preset changes of a tracker's defaults: parameters that suit cameras of a kind, to begin with.

    >>> import nivra
    >>> sorted(nivra.presets())
    ['flickering', 'steady']
    """
    return _core.presets(tracker)
