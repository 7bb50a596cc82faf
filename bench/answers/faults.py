# SPDX-License-Identifier: BSD-2-Clause
"""Faults to plant into frames, as one table.

A plant changes the frames first to last (both included) of `frames` in place; `clean` has them as
they were. `random` is a generator seeded by clip and fault, so that a run can be repeated to the bit.
"""

import math
from dataclasses import dataclass
from functools import partial
from typing import Callable

import numpy

import media

BLACK, GREY, WHITE = 16, 126, 235
BLOCK = 16


@dataclass(frozen=True)
class Fault:
    row: str  # of the table of results
    name: str  # its variant
    kinds: tuple  # kinds of events of which each is a right answer, the first one its own
    plant: Callable
    seconds: float = 1.0
    whole: bool = False  # also over the whole clip, as such faults mostly come
    least: float = 0.0  # share of the blocks that must look different; below nothing is to be seen
    skipped: int = 0  # frames at the start that look as they should, such as the first of a freeze


def frozen(frames, clean, first, last, random, noise=0):
    frames.data[first:last + 1] = clean.data[first]
    if noise:
        part = frames.luma[first:last + 1]
        part[:] = with_noise(part, random.integers(-noise, noise + 1, part.shape))


def with_noise(luma, noise):
    return numpy.clip(luma + noise, 0, 255).astype(numpy.uint8)


def uniform(frames, clean, first, last, random, level=BLACK, noise=0):
    luma, *chroma = frames.part(first, last).planes
    luma[:] = with_noise(numpy.full(luma.shape, level),
                         random.integers(-noise, noise + 1, luma.shape))
    for plane in chroma:
        plane[:] = 128


def fade(frames, clean, first, last, random):
    """Half a second to black, black, half a second back; first and last are those of the black."""
    steps = round(float(frames.rate) / 2)
    uniform(frames, clean, first, last, random)
    for step in range(1, steps):
        for at in (first - step, last + step):
            if 0 <= at < len(frames):
                scaled(frames, clean, at, at, random, step / steps, BLACK)


def scaled(frames, clean, first, last, random, factor, pivot=None):
    """Luma about `pivot`, by default its mean; chroma likewise."""
    luma, *chroma = frames.part(first, last).planes
    centre = luma.mean() if pivot is None else pivot
    for plane, middle in ((luma, centre), *((plane, 128) for plane in chroma)):
        plane[:] = numpy.clip(numpy.rint(middle + (plane.astype(numpy.float32) - middle) * factor),
                              0, 255)


def overexposed(frames, clean, first, last, random, share):
    luma = frames.luma[first:last + 1]
    level = max(BLACK + 2, numpy.quantile(luma[::5], 1 - share))
    gain = (WHITE - BLACK) / (level - BLACK)
    luma[:] = numpy.clip(numpy.rint(BLACK + (luma.astype(numpy.float32) - BLACK) * gain), 0, WHITE)


def letterbox(frames, clean, first, last, random, aspect, noise=0):
    bar = round((frames.height - frames.width / aspect) / 4) * 2
    if bar < 4:
        raise NothingPlanted("the picture is as wide as that")
    bars(frames, first, last, random, (bar, bar, 0, 0), noise)


def pillarbox(frames, clean, first, last, random, left=True, right=True):
    """As wide as those of 4:3 in 16:9: an eighth of the picture a side."""
    bar = round(frames.width / 16) * 2
    bars(frames, first, last, random, (0, 0, bar * left, bar * right))


def bars(frames, first, last, random, sizes, noise=0):
    top, bottom, left, right = sizes
    for plane, level, size in zip(frames.planes, (BLACK, 128, 128), (1, 2, 2)):
        part = plane[first:last + 1]
        inner = numpy.zeros(part.shape[1:], bool)
        inner[top // size:part.shape[1] - bottom // size,
              left // size:part.shape[2] - right // size] = True
        # Noise adds to black and cannot go below 0.
        amount = random.integers(0, 2 * noise + 1, part.shape) if size == 1 and noise else 0
        part[:] = numpy.where(inner, part, level + amount)


def lost_blocks(frames, clean, first, last, random, share, fill):
    rows, columns = frames.height // BLOCK, frames.width // BLOCK
    count = max(1, round(share * rows * columns))
    for frame in range(first, last + 1):
        for block in random.choice(rows * columns, count, replace=False):
            row, column = divmod(int(block), columns)
            for plane, other, level, size in zip(frames.planes, clean.planes, fill or (0, 0, 0),
                                                 (BLOCK, BLOCK // 2, BLOCK // 2)):
                area = (slice(row * size, (row + 1) * size), slice(column * size, (column + 1) * size))
                plane[frame][area] = level if fill else other[max(0, frame - 4)][area]


def smeared_rows(frames, clean, first, last, random, count):
    """Block rows in which everything from a column on repeats that column."""
    for frame in range(first, last + 1):
        row = int(random.integers(0, frames.height // BLOCK - count + 1))
        start = int(random.integers(1, max(2, frames.width // BLOCK // 4)))
        for plane, size in zip(frames.planes, (BLOCK, BLOCK // 2, BLOCK // 2)):
            part = plane[frame][row * size:(row + count) * size]
            part[:, start * size:] = part[:, start * size - 1:start * size]


def smeared_down(frames, clean, first, last, random):
    for plane in frames.planes:
        start = plane.shape[1] * 2 // 3 // 8 * 8
        plane[first:last + 1, start:] = plane[first:last + 1, start - 1:start]


def stale_rows(frames, clean, first, last, random, count=4):
    for frame in range(first, last + 1):
        row = int(random.integers(0, frames.height // BLOCK - count + 1))
        for plane, other, size in zip(frames.planes, clean.planes, (BLOCK, BLOCK // 2, BLOCK // 2)):
            area = slice(row * size, (row + count) * size)
            plane[frame][area] = other[max(0, frame - 4)][area]


def interlaced(frames, clean, first, last, random):
    for plane, other in zip(frames.planes, clean.planes):
        for frame in range(first, last + 1):
            plane[frame][1::2] = other[min(frame + 1, len(frames) - 1)][1::2]


def coded(frames, clean, first, last, random, coder):
    frames.data[first:last + 1] = media.recoded(clean.part(first, last), coder).data


def blurred(frames, clean, first, last, random, sigma):
    frames.data[first:last + 1] = media.filtered(clean.part(first, last),
                                                 f"gblur=sigma={sigma}:steps=3").data


def noisy(frames, clean, first, last, random, deviation):
    for luma in frames.luma[first:last + 1]:
        noise = random.standard_normal(luma.shape, numpy.float32) * deviation
        luma[:] = with_noise(luma, numpy.rint(noise).astype(numpy.int16))


def flicker(frames, clean, first, last, random, hertz, levels=20):
    for frame in range(first, last + 1):
        sign = 1 if math.floor(2 * hertz * (frame - first) / frames.rate) % 2 == 0 else -1
        frames.luma[frame] = with_noise(clean.luma[frame], numpy.int16(sign * levels))


def repeated(frames, clean, first, last, random, share):
    """Frames at uneven places show the one before them once more; the first and the last one do."""
    count = max(3, round(share * (last - first + 1)))
    inner = random.choice(numpy.arange(first + 1, last), count - 2, replace=False)
    for at in sorted({first, last, *map(int, inner)}):
        frames.data[at] = frames.data[at - 1]


def late(frames, clean, first, last, random):
    """Two or three frames in a row wait for the one before them, then the picture leaps on."""
    at = first
    while at <= last:
        end = min(last, at + int(random.integers(1, 3)))
        frames.data[at:end + 1] = frames.data[at - 1]
        at = end + int(random.integers(3, 9))
    frames.data[last] = frames.data[last - 1]


def cadence(frames, clean, first, last, random, each):
    """Every picture for `each` frames on average, as evenly as that goes."""
    for at in range(first, last + 1):
        frames.data[at] = clean.data[math.floor(math.floor(at / each) * each)]


class NothingPlanted(Exception):
    """The fault does not show in this clip; the message says why."""


def coders(row, kinds, table, least):
    return [Fault(row, name, kinds, partial(coded, coder=words.split()), whole=True, least=least)
            for name, words in table.items()]


FULL_BLOCKS = {"grey": (GREY, 128, 128), "green": (0, 0, 0), "stale": None}
DAMAGE = ("concealed", "undecodable", "block_loss", "slice_error")

FAULTS = [
    Fault("frozen", "0.3 s", ("frozen",), frozen, seconds=0.3, skipped=1),
    Fault("frozen", "1 s", ("frozen",), frozen, skipped=1),
    Fault("frozen", "1 s, noise of 1 level", ("frozen",), partial(frozen, noise=1), skipped=1),
    Fault("stutter", "1 in 4", ("stutter",), partial(repeated, share=0.25), least=0.01),
    Fault("stutter", "1 in 8, 2 s", ("stutter",), partial(repeated, share=0.125), seconds=2,
          least=0.005),
    Fault("stutter", "late by 2 or 3", ("stutter",), late, least=0.01),
    *(Fault("cadence", name, ("cadence",), partial(cadence, each=each), seconds=math.inf)
      for name, each in {"24 in 60": 2.5, "25 in 30": 1.2, "on twos": 2}.items()),
    Fault("black", "level 16", ("black",), uniform),
    Fault("black", "level 20", ("black",), partial(uniform, level=20)),
    Fault("black", "noise of 1 level", ("black",), partial(uniform, level=17, noise=1)),
    Fault("black", "one frame", ("black",), uniform, seconds=0),
    Fault("black", "fade and back", ("black",), fade, seconds=0.5),
    Fault("flat", "grey", ("flat",), partial(uniform, level=GREY)),
    Fault("letterbox", "2.39", ("letterbox",), partial(letterbox, aspect=2.39), whole=True),
    Fault("letterbox", "1.85", ("letterbox",), partial(letterbox, aspect=1.85), whole=True),
    Fault("letterbox", "2.39, noise", ("letterbox",), partial(letterbox, aspect=2.39, noise=3),
          whole=True),
    Fault("pillarbox", "4:3", ("pillarbox",), pillarbox, whole=True),
    Fault("pillarbox", "left", ("pillarbox",), partial(pillarbox, right=False), whole=True),
    Fault("pillarbox", "right", ("pillarbox",), partial(pillarbox, left=False), whole=True),
    *(Fault("block loss", f"{name} {share * 100:.0f} %", ("block_loss",),
            partial(lost_blocks, share=share, fill=fill), least=share / 2)
      for name, fill in FULL_BLOCKS.items() for share in (0.01, 0.05)),
    Fault("slice error", "1 row sideways", ("slice_error", "block_loss"),
          partial(smeared_rows, count=1), least=0.01),
    Fault("slice error", "4 rows sideways", ("slice_error", "block_loss"),
          partial(smeared_rows, count=4), least=0.03),
    Fault("slice error", "lower third down", ("slice_error", "block_loss"), smeared_down, least=0.1),
    Fault("slice error", "4 stale rows", ("slice_error", "block_loss"), stale_rows, least=0.03),
    Fault("interlaced", "woven fields", ("interlaced",), interlaced, whole=True, least=0.05),
    *coders("blocky", ("blocky",), {
        "MPEG-2 q 16": "-c:v mpeg2video -qscale:v 16", "MPEG-2 q 31": "-c:v mpeg2video -qscale:v 31",
        "MJPEG q 25": "-c:v mjpeg -pix_fmt yuvj420p -qscale:v 25"}, least=0.1),
    *coders("starved", ("starved", "blocky", "blurred"), {
        "x264 crf 40": "-c:v libx264 -crf 40", "x264 crf 48": "-c:v libx264 -crf 48",
        "x265 crf 45": "-c:v libx265 -crf 45 -x265-params log-level=none:pools=1"}, least=0.1),
    *(Fault("blurred", f"sigma {sigma}", ("blurred",), partial(blurred, sigma=sigma), whole=True,
            least=0.03) for sigma in (1, 2, 4)),
    *(Fault("noisy", f"sd {deviation}", ("noisy",), partial(noisy, deviation=deviation), whole=True)
      for deviation in (5, 10, 20)),
    *(Fault("flicker", f"{hertz} Hz", ("flicker",), partial(flicker, hertz=hertz))
      for hertz in (12.5, 5)),
    *(Fault("overexposed", f"{share * 100:.0f} % clipped", ("overexposed", "clipped"),
            partial(overexposed, share=share), whole=True) for share in (0.5, 0.75)),
    *(Fault("underexposed", f"x {factor}", ("underexposed",),
            partial(scaled, factor=factor, pivot=BLACK), whole=True) for factor in (0.25, 0.12)),
    *(Fault("low contrast", f"x {factor}", ("low_contrast",), partial(scaled, factor=factor),
            whole=True) for factor in (0.3, 0.15)),
]
BITSTREAM_ROW = "bitstream damage"


def different_blocks(frames, clean, levels=4):
    """A frame: the share of the whole 16x16 blocks that differ by more than `levels` on average."""
    rows, columns = frames.height // BLOCK, frames.width // BLOCK
    shares = []
    for one, other in zip(frames.luma, clean.luma):
        area = (slice(rows * BLOCK), slice(columns * BLOCK))
        difference = numpy.abs(one[area].astype(numpy.int16) - other[area])
        means = difference.reshape(rows, BLOCK, columns, BLOCK).mean(axis=(1, 3))
        shares.append((means > levels).mean())
    return numpy.array(shares)


def plant(fault, clean, random, whole=False):
    """A copy of the frames with the fault, and its first and last frame. Raises NothingPlanted
    where it does not show."""
    count = min(len(clean), round(max(1, min(len(clean), fault.seconds * float(clean.rate)))) + fault.skipped)
    first = 0 if whole else (len(clean) - count) // 2
    last = len(clean) - 1 if whole else first + count - 1
    frames = clean.copy()
    fault.plant(frames, clean, first, last, random)
    if fault.least:
        seen = different_blocks(frames.part(first, last), clean.part(first, last)).mean()
        if seen < fault.least:
            raise NothingPlanted(f"{seen * 100:.2f} % of the blocks look different, "
                                 f"{fault.least * 100:.2f} % would count")
    return frames, first + fault.skipped, last
