#!/usr/bin/python3
# SPDX-License-Identifier: BSD-2-Clause
"""What measuring from Python costs beyond the C++ meter, in CPU time, on the same frames.

    PYTHONPATH=build/release/python bench/python.py build/release/bench/meter_bench

Python and C++ take turns; shown are medians of the runs and of the ratios of neighbouring runs.
"""

import argparse
import pathlib
import statistics
import subprocess
import tempfile
import time

import lumagauge
import numpy

WIDTH, HEIGHT = 1920, 1080


def make_frames(count):
    """Detail, edges and noise that move."""
    random = numpy.random.default_rng(1)
    noise = random.integers(-6, 7, (HEIGHT + 64, WIDTH + 64), numpy.int16)
    y, x = numpy.mgrid[0:HEIGHT, 0:WIDTH]
    frames = numpy.empty((count, HEIGHT, WIDTH), numpy.uint8)
    for i, frame in enumerate(frames):
        picture = ((x + 3 * i) // 40 * 37 + (y + i) // 24 * 23) % 180 + 30
        dy, dx = random.integers(0, 64, 2)
        frame[:] = picture + noise[dy:dy + HEIGHT, dx:dx + WIDTH]
    return frames


def cpu_seconds(call):
    begin = time.process_time()
    call()
    return time.process_time() - begin


def add_all(frames):
    meter = lumagauge.Meter(WIDTH, HEIGHT)
    for frame in frames:
        meter.add(frame)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("meter_bench", type=pathlib.Path)
    parser.add_argument("--frames", type=int, default=100)
    parser.add_argument("--runs", type=int, default=11)
    parser.add_argument("--threads", type=int, nargs="+", default=[1, 2])
    options = parser.parse_args()
    frames = make_frames(options.frames)
    with tempfile.NamedTemporaryFile() as file:
        frames.tofile(file.name)
        calls = [("Meter.add", 1, lambda: add_all(frames))]
        for threads in options.threads:
            calls.append(("measure(array)", threads,
                          lambda threads=threads: lumagauge.measure(frames, threads=threads)))
            calls.append(("measure(iterable)", threads,
                          lambda threads=threads: lumagauge.measure(iter(frames), threads=threads)))
        print(f"{options.frames} frames of {WIDTH}x{HEIGHT}, median of {options.runs} pairs")
        for name, threads, call in calls:
            lumagauge.measure(frames[:5])
            pairs = []
            for _ in range(options.runs):
                output = subprocess.run([options.meter_bench, file.name, str(WIDTH), str(HEIGHT),
                                         str(threads)], check=True, capture_output=True).stdout
                pairs.append((cpu_seconds(call), float(output)))
            mine, theirs = (statistics.median(side) / options.frames for side in zip(*pairs))
            ratio = statistics.median(one / other for one, other in pairs)
            print(f"{name:<18} {threads} thread{'s' if threads > 1 else ' '}  Python "
                  f"{1000 * mine:.3f} ms a frame, C++ {1000 * theirs:.3f} ms, ratio {ratio:.3f}",
                  flush=True)


if __name__ == "__main__":
    main()
