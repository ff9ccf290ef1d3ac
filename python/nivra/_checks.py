"""What arguments have to be, in the same words for all functions."""

from __future__ import annotations

from collections.abc import Iterable, Mapping
from typing import Any

import numpy as np

_LARGEST_SIDE = 1_000_000
_FRAME_RATES = (0.01, 1e6)


def require(argument: str, given: object, kind: Any, expected: str) -> None:
    if not isinstance(given, kind):
        raise TypeError(f"{argument}: {given!r}, expected {expected}")


def checked_name(argument: str, given: str) -> str:
    require(argument, given, str, "a name")
    try:
        given.encode()
    except UnicodeEncodeError:
        raise ValueError(f"{argument}: {given!r} holds half a character") from None
    return given


def checked_names(argument: str, given: Iterable[str]) -> list[str]:
    if isinstance(given, str):
        raise TypeError(f"{argument}: expected a list of names, such as [{given!r}]")
    require(argument, given, Iterable, "a list of names")
    return [checked_name(argument, each) for each in given]


def checked_numbered_names(argument: str, given: Mapping[int, str]) -> dict[int, str]:
    require(argument, given, Mapping, "names by whole numbers")
    try:
        return {number.__index__(): checked_name(argument, name) for number, name in given.items()}
    except AttributeError:
        raise TypeError(f"{argument}: expected names by whole numbers, not {given!r}") from None


def checked_picture(given: tuple[int, int] | None) -> tuple[int, int] | None:
    if given is None:
        return None
    try:
        width, height = (side.__index__() for side in given)
    except (TypeError, ValueError, AttributeError):
        raise TypeError(f"picture: {given!r}, expected (width, height) in pixels") from None
    if not (1 <= width <= _LARGEST_SIDE and 1 <= height <= _LARGEST_SIDE):
        raise ValueError(f"picture: {given!r}, expected sides from 1 to {_LARGEST_SIDE} pixels")
    return width, height


def checked_fps(given: float | None) -> float | None:
    require("fps", given, (int, float, np.number, type(None)), "a number of frames per second")
    if given is not None and not _FRAME_RATES[0] <= given <= _FRAME_RATES[1]:
        raise ValueError(f"fps: {given}, expected frames per second from {_FRAME_RATES[0]} to {_FRAME_RATES[1]:g}")
    return given
