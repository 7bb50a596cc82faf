# SPDX-License-Identifier: BSD-2-Clause
"""Measures what a viewer would object to in a video, frame by frame and without a reference copy:
fifteen indicators of the luma plane.

    meter = lumagauge.Meter(width=1920, height=1080, rate=25)
    record = meter.add(frame)                    # a (height, width) array of uint8
    values = lumagauge.measure(frames)           # an (N, height, width) array or an iterable
    result = lumagauge.check("movie.mp4")        # what the command lumagauge-qc says
    for record in lumagauge.frames("movie.mp4"): ...

INDICATORS is the list of the indicators, with units and the direction in which each gets worse."""

from . import _core
from ._check import (BrokenRule, CheckResult, DecodeError, Event, Frames, InputFacts,
                     NotJudged, Summary, check, frames)
from ._errors import Error, InputError, ProfileError
from ._indicators import INDICATORS, FrameRecord, Indicator, Indicators, Record
from ._measure import Meter, measure

__all__ = [
    "INDICATORS", "BrokenRule", "CheckResult", "DecodeError", "Error", "Event", "FrameRecord",
    "Frames", "Indicator", "Indicators", "InputError", "InputFacts", "Meter", "NotJudged",
    "ProfileError", "Record", "Summary", "blockiness_mos", "blur_mos", "check", "frames", "measure"]
__version__: str = _core.version()


def blockiness_mos(blockiness: float) -> float:
    """A mean opinion score of a blockiness value: 0 (bad) up to 0.58, 3.74 at 1 (no visible grid),
    without an upper end. Made by a fixed curve that was not checked against viewers: good for a
    rough order of frames of one video, not as a score to report."""
    return _core.blockiness_mos(blockiness)


def blur_mos(blur: float) -> float:
    """A mean opinion score of a blur value: 4.84 at 1 (sharp), 3.88 at 3, 2.61 at 5, towards 0
    (bad). The same caution as for blockiness_mos."""
    return _core.blur_mos(blur)
