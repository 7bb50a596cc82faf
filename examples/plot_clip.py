#!/usr/bin/python3
# SPDX-License-Identifier: BSD-2-Clause
"""plot_clip.py VIDEO PICTURE: plots blur and blockiness of a video, and the events of both."""

import sys

import lumagauge
import matplotlib.pyplot as plt

video, picture = sys.argv[1:]
result = lumagauge.check(video)
frames = result.frames.set_index("time")

figure, axes = plt.subplots(2, sharex=True, figsize=(8, 4.5), layout="constrained")
for axis, name in zip(axes, ["blur", "blockiness"]):
    indicator = getattr(lumagauge.INDICATORS, name)
    axis.plot(frames.index, frames[name], linewidth=1)
    axis.set_ylabel(f"{name} ({indicator.unit})\n{indicator.worse} is worse")
    axis.set_ylim(bottom=0)
places = {"blurred": axes[0], "blocky": axes[1]}
for event in (one for one in result.events if one.kind in places):
    axis = places[event.kind]
    axis.axvspan(event.start, event.end, color="tab:red", alpha=0.15)
    axis.annotate(f"{event.severity}: {event.kind}", (event.start, 0.05), color="tab:red")
axes[1].set_xlabel("seconds")
figure.suptitle(f"{result.input.path}: {result.verdict}")
figure.savefig(picture)
