# SPDX-License-Identifier: BSD-2-Clause
"""Measuring frames in arrays."""

from __future__ import annotations

import operator
import os
from collections.abc import Iterable
from typing import Any, SupportsIndex, Union

import numpy
import numpy.typing

from . import _core
from ._errors import Error
from ._indicators import INDICATORS, TABLE, Record

__all__ = ["Meter", "measure"]

MOST_THREADS = 1024

Frame = numpy.typing.ArrayLike
"""A (height, width) array of uint8; other objects that numpy.asarray makes one of count too."""
IndicatorChoice = Union[None, int, str, Iterable[str]]


def mask_of(indicators: IndicatorChoice) -> int:
    if indicators is None:
        return _core.ALL_INDICATORS
    if isinstance(indicators, (str, bytes)):
        indicators = [indicators]
    if isinstance(indicators, SupportsIndex):
        mask = operator.index(indicators)
        if mask <= 0 or mask & ~_core.ALL_INDICATORS:
            raise Error(f"indicators is {mask:#x}, expected a mask of bits out of "
                        f"{_core.ALL_INDICATORS:#x}, at least one, or names")
        return mask
    mask = 0
    for name in indicators:
        if name not in INDICATORS._fields:
            raise Error(f"there is no indicator {name!r}; there are: "
                        f"{', '.join(INDICATORS._fields)}")
        mask |= getattr(INDICATORS, name).bit
    if mask == 0:
        raise Error("indicators names none; leave it out, or give None, to measure all")
    return mask


def whole_number(name: str, value: Any, least: int, most: int) -> int:
    number = operator.index(value)
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
    ``["blur", "noise"]``, a mask, or None for all. Different meters may be used on different
    threads at once; the interpreter is free for other threads meanwhile.
    """

    def __init__(self, width: int, height: int, rate: float = _core.DEFAULT_RATE,
                 indicators: IndicatorChoice = None) -> None:
        self._rate = float(rate)
        self._core = _core.Meter(operator.index(width), operator.index(height), self._rate,
                                 mask_of(indicators))

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
        return f"Meter(width={self.width}, height={self.height}, rate={self.rate})"


def measure(frames: Iterable[Frame], *, rate: float = _core.DEFAULT_RATE,
            indicators: IndicatorChoice = None, threads: int | None = None) -> numpy.ndarray:
    mask, count = mask_of(indicators), thread_count(threads)
    if isinstance(frames, numpy.ndarray):
        return _core.measure_array(frames, rate, mask, count)
    return _core.measure_iterator(iter(frames), rate, mask, count)


measure.__doc__ = f"""Measures the frames of one video on all CPUs.

``frames`` is an (N, height, width) array of uint8 or an iterable of (height, width) arrays. An
array may be a view with any strides; while samples of a row are adjacent nothing is copied. Of an
iterable a few frames are held at a time, as copies, so it may fill one array over and over.
``rate`` is frames a second, ``indicators`` names or a mask (None: all), ``threads`` how many frames
are measured at once (None: the CPUs that the process may use).

Returns a structured array of N elements with a field an indicator (float64) and ``valid``:

{TABLE}

Where there is no value the field is NaN, which numpy's nan-functions, pandas and matplotlib all
pass over; ``valid`` (uint32) has the bits of the indicators that have a value, and tells such a NaN
from one that was measured. So ``pandas.DataFrame(values)`` and ``numpy.nanmean(values["noise"])``
work as they are, which they would not with a masked array; and where the difference matters there
is ``values["valid"] & lumagauge.INDICATORS.noise.bit``.

The values are the same to the last bit whatever the number of threads."""
