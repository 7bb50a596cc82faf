# SPDX-License-Identifier: BSD-2-Clause
"""The clips that faults are planted into: footage with labels, or pictures that ffmpeg makes."""

import re
from dataclasses import dataclass
from functools import cached_property
from pathlib import Path

import labels
import media

SECONDS = 3.0  # of a clip that are used, from its middle
SHORTEST = 2.4  # seconds; a second of fault with some time on both sides
LARGEST = 854 * 480  # samples; larger pictures are made smaller

# Pictures to move over, edges as wide as a lens makes them, and grain: they look like footage to who
# measures.
MOVING = "crop=352:288:x='{x}':y='{y}',noise=alls={grain}:allf=t:all_seed=7"
MADE = {
    "fractal": "mandelbrot=size=704x576:rate=25:start_x=-0.7436:start_y=0.1318:start_scale=0.012:"
               "end_scale=0.004:end_pts=400:maxiter=400,gblur=1," +
               MOVING.format(x="120+60*sin(n/19)", y="100+n", grain=4),
    "soft": "nullsrc=size=704x576:rate=25,geq=cb=128:cr=128:"
            "lum='120+50*sin(X/37)*cos(Y/29)+25*sin((X+Y)/11)'," +
            MOVING.format(x="2*n", y="60+40*cos(n/23)", grain=6),
    "life": "life=size=176x144:rate=25:mold=12:life_color=#c8d0a0:death_color=#304830:"
            "mold_color=#705838:seed=5,scale=704:576:flags=bicubic,gblur=2," +
            MOVING.format(x="40+n", y="30", grain=3),
    "bars": "smptehdbars=size=704x576:rate=25,gblur=1," +
            MOVING.format(x="100+80*sin(n/31)", y="80+60*cos(n/27)", grain=3),
}


@dataclass
class Clip:
    name: str
    label: labels.Label
    frames: media.Frames
    offset: int = 0  # of its first frame in the footage

    @cached_property
    def digest(self):
        return media.digest(self.frames.data.tobytes(), self.frames.rate)


def input_options(path, label):
    """Raw files have their size in the label alone."""
    size = re.match(r"(\d+x\d+), raw", label.size)
    if not size:
        return []
    return ["-f", "rawvideo", "-pix_fmt", "yuv420p", "-framerate", "25", "-s", size.group(1)]


def suited(folder, table, count):
    """Names of `count` clips at most in which a fault would be the only one, in the order of their
    names: long enough, shot by a camera and not hopeless."""
    names = []
    for name, label in sorted(table.items()):
        if label.is_drawn or label.is_hopeless or input_options(folder / name, label):
            continue
        seen = media.probe(folder / name)
        if seen.frames / seen.rate >= SHORTEST and seen.rate > 20:
            names.append(name)
    return names[:count]


def load(folder, name, label):
    path = Path(folder) / name
    seen = media.probe(path)
    count = min(seen.frames, round(SECONDS * seen.rate))
    first = (seen.frames - count) // 2
    chain = f"trim=start_frame={first}:end_frame={first + count}"
    if seen.width * seen.height > LARGEST:
        chain += ",scale='trunc(iw*{0}/2)*2:trunc(ih*{0}/2)*2'".format(
            (LARGEST / seen.width / seen.height) ** 0.5)
    return Clip(name, label, media.read_frames(path, chain), first)


def made(name):
    frames = media.read_frames(MADE[name], "trim=end_frame=75", ["-f", "lavfi"])
    return Clip(name, labels.Label(), frames)
