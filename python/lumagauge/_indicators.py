# SPDX-License-Identifier: BSD-2-Clause
"""The list of the indicators and the record of a frame, made from the list in lumagauge.h."""

from collections import namedtuple
from collections.abc import Mapping
from typing import NamedTuple

from . import _core

__all__ = ["INDICATORS", "FrameRecord", "Indicator", "Indicators", "Record"]


class Indicator(NamedTuple):
    """What one of the numbers means.

        worse           Where a viewer objects more: at ``"higher"`` or ``"lower"`` values, or at
                        both ``"extremes"``, away from 127.5.
        bit             In masks and in the field ``valid`` of arrays.
        needs_previous  Without a value for the first frame of a video.
        least_width     Narrower pictures have no value, or one that says nothing.
        least_height    Lower ones."""

    name: str
    unit: str
    worse: str
    bit: int
    needs_previous: bool
    least_width: int
    least_height: int


_list = [Indicator(*line) for line in _core.indicators()]
Indicators = namedtuple("Indicators", [indicator.name for indicator in _list])
INDICATORS = Indicators(*_list)


def _meaning(indicator):
    worse = {"extremes": "both ends are worse"}.get(indicator.worse, f"{indicator.worse} is worse")
    first = ", no value for the first frame" if indicator.needs_previous else ""
    least = f"from {indicator.least_width}x{indicator.least_height} samples on"
    return f"{indicator.unit}; {worse}; {least}{first}"


TABLE = "\n".join(f"    {one.name:<17} {_meaning(one)}" for one in INDICATORS)


class Record(Mapping):
    __slots__ = ("_values",)
    _fields = Indicators._fields

    def __init__(self, values):
        self._values = tuple(values)

    def __getitem__(self, name):
        try:
            return self._values[self._fields.index(name)]
        except ValueError:
            raise KeyError(f"{name!r}; there are: {', '.join(self._fields)}") from None

    def __iter__(self):
        return iter(self._fields)

    def __len__(self):
        return len(self._fields)

    def _asdict(self):
        return dict(zip(self._fields, self._values))

    def __repr__(self):
        pairs = ", ".join(f"{name}={value!r}" for name, value in self._asdict().items())
        return f"{type(self).__name__}({pairs})"

    def __reduce__(self):
        return type(self), (self._values,)


class FrameRecord(Record):
    __slots__ = ()
    _fields = ("frame", "time", "picture_type", *Record._fields)


Record.__doc__ = f"""The values of a frame: ``record.blur`` or ``record["blur"]``, a float, which
may be a NaN or an infinity, or None where there is no value. Otherwise a mapping from names to
values, so ``dict(record)`` and ``record.items()`` work.

{TABLE}

There is no value where the indicator was not asked for or the picture is too small, for noise where
no level is found, and for flickering but once in {_core.FLICKERING_PERIOD} frames."""

FrameRecord.__doc__ = """The values of a frame of a video, as Record has them, and ``frame``,
counted from the first of the stream, ``time`` in seconds and ``picture_type``, "I", "P", "B" or
None where the decoder does not say."""


def _add_properties(cls, names, meaning):
    for name in names:
        place = cls._fields.index(name)
        setattr(cls, name, property(lambda self, at=place: self._values[at], doc=meaning(name)))


_add_properties(Record, Record._fields, lambda name: _meaning(getattr(INDICATORS, name)))
_add_properties(
    FrameRecord, FrameRecord._fields,
    lambda name: _meaning(getattr(INDICATORS, name)) if name in Record._fields else None)
for _class in (Indicator, Indicators, Record, FrameRecord):
    _class.__module__ = "lumagauge"
