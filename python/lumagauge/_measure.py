# SPDX-License-Identifier: BSD-2-Clause
"""Measuring frames in arrays."""

from __future__ import annotations

import math
import operator
import os
import reprlib
from collections.abc import Iterable
from typing import Any, NoReturn, Union

import numpy
import numpy.typing

from . import _core
from ._errors import Error
from ._indicators import INDICATORS, TABLE, Indicator, Record

__all__ = ["Meter", "measure"]

MOST_THREADS = 1024
FRAMES_A_SECOND = "a number of frames a second"

Frame = numpy.typing.ArrayLike
"""A (height, width) array of uint8; other objects that numpy.asarray makes one of count too."""
IndicatorChoice = Union[None, int, str, Indicator, Iterable[Union[str, Indicator]]]


def mask_of(indicators: IndicatorChoice) -> int:
    if indicators is None:
        return _core.ALL_INDICATORS
    try:
        mask = operator.index(indicators)  # type: ignore[arg-type]
    except TypeError:  # of an array, too, although it has the method
        return _mask_of_names(indicators)
    if mask <= 0 or mask & ~_core.ALL_INDICATORS:
        raise Error(f"indicators is {mask:#x}, expected a mask of bits out of "
                    f"{_core.ALL_INDICATORS:#x}, at least one, or names")
    return mask


def _mask_of_names(indicators: Any) -> int:
    if isinstance(indicators, (str, bytes, Indicator)):
        indicators = [indicators]
    try:
        names = list(indicators)
    except TypeError:
        raise wrong_type("indicators", indicators, "names, a mask or None") from None
    mask = 0
    for one in names:
        name = one.name if isinstance(one, Indicator) else one
        if not isinstance(name, str) or name not in INDICATORS._fields:
            raise Error(f"there is no indicator {reprlib.repr(name)}; there are: "
                        f"{', '.join(INDICATORS._fields)}")
        mask |= getattr(INDICATORS, name).bit
    if mask == 0:
        raise Error("indicators names none; leave it out, or give None, to measure all")
    return mask


def wrong_type(name: str, value: Any, expected: str) -> TypeError:
    return TypeError(f"{name} is {reprlib.repr(value)}, expected {expected}")


def real_number(name: str, value: Any, expected: str) -> float:
    """Refuses texts, which float() would read."""
    if not isinstance(value, (str, bytes, bytearray)):
        try:
            return float(value)
        except TypeError:
            pass
        except OverflowError:
            return math.inf if value > 0 else -math.inf
    raise wrong_type(name, value, expected)


def integer(name: str, value: Any) -> int:
    try:
        return operator.index(value)
    except TypeError:
        raise wrong_type(name, value, "a whole number") from None


def whole_number(name: str, value: Any, least: int, most: int) -> int:
    number = integer(name, value)
    if not least <= number <= most:
        raise Error(f"{name} is {value}, expected {least} to {most}")
    return number


def thread_count(threads: int | None) -> int:
    """The CPUs that this process may use, where None is given."""
    if threads is None:
        return min(len(os.sched_getaffinity(0)), MOST_THREADS)
    return whole_number("threads", threads, 1, MOST_THREADS)


class Meter:
    """Measures the frames of one video, one after another on the calling thread.

    ``width`` and ``height`` are those of the luma plane in samples, ``rate`` is frames a second,
    which freezing alone depends on. ``indicators`` chooses what is measured: names, such as
    ``["blur", "noise"]``, members of INDICATORS, a mask, or None for all. Different meters may be
    used on different threads at once; the interpreter is free for other threads meanwhile.
    """

    def __init__(self, width: int, height: int, rate: float = _core.DEFAULT_RATE,
                 indicators: IndicatorChoice = None) -> None:
        self._rate = real_number("rate", rate, FRAMES_A_SECOND)
        self._mask = mask_of(indicators)
        self._core = _core.Meter(integer("width", width), integer("height", height), self._rate,
                                 self._mask)

    def add(self, frame: Frame) -> Record:
        """Measures the next frame: a (height, width) array of uint8, or a view of one with any
        strides. Rows of adjacent samples are read where they are, others are copied. After an
        error the meter stands where it stood."""
        return Record(self._core.add(frame))

    @property
    def width(self) -> int:
        return self._core.width

    @property
    def height(self) -> int:
        return self._core.height

    @property
    def rate(self) -> float:
        return self._rate

    def __repr__(self) -> str:
        chosen = [one.name for one in INDICATORS if one.bit & self._mask]
        return (f"Meter(width={self.width}, height={self.height}, rate={self.rate}, "
                f"indicators={None if len(chosen) == len(INDICATORS) else chosen})")

    def __reduce__(self) -> NoReturn:
        raise TypeError("a Meter cannot be copied or pickled: it remembers the frames so far; make "
                        "another one")


def measure(frames: Iterable[Frame], *, rate: float = _core.DEFAULT_RATE,
            indicators: IndicatorChoice = None,
            threads: int | None = None) -> numpy.typing.NDArray[Any]:
    mask, count = mask_of(indicators), thread_count(threads)
    rate = real_number("rate", rate, FRAMES_A_SECOND)
    if isinstance(frames, (str, bytes, os.PathLike)):
        raise TypeError(f"measure takes frames in arrays and was given {reprlib.repr(frames)}: for "
                        "a file, lumagauge.check and lumagauge.frames")
    if isinstance(frames, numpy.ndarray):
        return _core.measure_array(frames, rate, mask, count)
    return _core.measure_iterator(iter(frames), rate, mask, count)


measure.__doc__ = f"""Measures the frames of one video on all CPUs.

``frames`` is an (N, height, width) array of uint8 or an iterable of (height, width) arrays. An
array may be a view with any strides; while samples of a row are adjacent nothing is copied. Of an
iterable a few frames are held at a time, as copies, so it may fill one array over and over.
``rate`` is frames a second, ``indicators`` names, members of INDICATORS or a mask (None: all),
``threads`` how many frames are measured at once (None: the CPUs that the process may use).

Returns a structured array of N elements with a field an indicator (float64) and ``valid``:

{TABLE}

Where there is no value the field is NaN, which numpy's nan-functions, pandas and matplotlib all
pass over; ``valid`` (uint32) has the bits of the indicators that have a value, and tells such a NaN
from one that was measured. So ``pandas.DataFrame(values)`` and ``numpy.nanmean(values["noise"])``
work as they are, which they would not with a masked array; and where the difference matters there
is ``values["valid"] & lumagauge.INDICATORS.noise.bit``.

The values are the same to the last bit whatever the number of threads."""
