#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-2-Clause
"""Times whole runs of lumagauge over a raw clip; script/bench builds what it needs and calls it."""

import argparse
import os
import re
import shutil
import statistics
import subprocess
import sys
import time
from collections import namedtuple
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
LUMAGAUGE = ROOT / "build/release/lumagauge"
LUMAGAUGE_FORM = ROOT / "build/release/bench/lumagauge_form"
WORK = ROOT / "build/bench"


def masks():
    """One of each indicator, as the header's list has them, and of none and all."""
    header = (ROOT / "include/lumagauge/lumagauge.h").read_text()
    names = [name.replace("_", " ") for name in re.findall(r"^  X\([A-Z_]+, (\w+),", header, re.M)]
    result = {"reading only": 0} | {name: 1 << bit for bit, name in enumerate(names)}
    result["freezing"] |= result["temporal activity"]  # it does nothing without
    return result | {"all": (1 << len(names)) - 1}


MASKS = masks()
ALL = MASKS["all"]
PEER_CHAIN = ("siti=print_summary=1,blockdetect,blurdetect,blackdetect,freezedetect,cropdetect,"
              "idet,signalstats,entropy,bitplanenoise")
SMALL_WIDTH, SMALL_HEIGHT, SMALL_FRAMES = 176, 144, 2000
LARGE_FRAMES = 20
PEER_FRAMES = 20

Clip = namedtuple("Clip", "path width height frames")
Run = namedtuple("Run", "cpu wall")  # seconds


def luma_command(clip, mask=ALL, program=LUMAGAUGE):
    return [program, clip.path, clip.width, clip.height, hex(mask), 25, clip.frames]


def start(command, form=None):
    environment = dict(os.environ)
    environment.pop("LUMAGAUGE_TARGET", None)
    if form:
        environment["LUMAGAUGE_TARGET"] = form
    return subprocess.Popen([str(word) for word in command], cwd=WORK, env=environment,
                            stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL)


def timed(command, form=None):
    """CPU time, user and system, and wall time of one run."""
    began = time.perf_counter()
    process = start(command, form)
    _, status, usage = os.wait4(process.pid, 0)
    wall = time.perf_counter() - began
    process.returncode = os.waitstatus_to_exitcode(status)
    if process.returncode != 0:
        sys.exit(f"bench: {command[0]} ended with status {process.returncode}")
    return Run(usage.ru_utime + usage.ru_stime, wall)


def rounds(jobs, count):
    """Runs of each job. Rounds go through all jobs, so that a busy spell hits none alone."""
    runs = {name: [] for name in jobs}
    for _ in range(count):
        for name, job in jobs.items():
            runs[name].append(timed(*job))
    return runs


def best(runs):
    return Run(min(run.cpu for run in runs), min(run.wall for run in runs))


def peak_memory(command):
    """MB resident at most. Taken from the process while it runs: what the system reports at its
    end counts the memory of this interpreter, which started it."""
    process = start(command)
    peak = 0
    while process.poll() is None:
        try:
            status = Path(f"/proc/{process.pid}/status").read_text()
            if "Name:\tlumagauge\n" in status:
                peak = max([peak] + [int(line.split()[1]) for line in status.splitlines()
                                     if line.startswith("VmHWM")])
        except OSError:
            pass
        time.sleep(0.001)
    return peak / 1024


def results(command, form=None):
    """The rows that a run writes; the sign of a NaN is the CPU's own."""
    timed(command, form)
    return (WORK / "metricsResultsCSV.csv").read_text().replace("-nan", "nan")


def table(head, rows):
    lines = [head] + [[str(cell) for cell in row] for row in rows]
    widths = [max(len(line[i]) for line in lines) for i in range(len(head))]
    lines.insert(1, ["-" * (width - (i > 0)) + ":" * (i > 0) for i, width in enumerate(widths)])
    for line in lines:
        cells = [cell.rjust(width) if i else cell.ljust(width)
                 for i, (cell, width) in enumerate(zip(line, widths))]
        print("| " + " | ".join(cells) + " |")
    print(flush=True)


def planes(frame, width, height):
    """The rows of the three planes of a frame."""
    at = 0
    for w, h in ((width, height), (width // 2, height // 2), (width // 2, height // 2)):
        yield [frame[at + y * w:at + (y + 1) * w] for y in range(h)]
        at += w * h


def read_frames(clip, count):
    size = clip.width * clip.height * 3 // 2
    with open(clip.path, "rb") as file:
        return [file.read(size) for _ in range(min(count, clip.frames))]


def write_clip(name, frames, width, height):
    path = WORK / name
    path.write_bytes(b"".join(frames))
    return Clip(path, width, height, len(frames))


def doubled(clip):
    """Each frame four times in one of twice the width and height: the same detail everywhere."""
    frames = [b"".join(row * 2 for rows in planes(frame, clip.width, clip.height)
                       for row in rows * 2) for frame in read_frames(clip, LARGE_FRAMES)]
    return write_clip("large.yuv", frames, 2 * clip.width, 2 * clip.height)


def middle(clip):
    """The middle of the frames, over and over."""
    left, top = (clip.width - SMALL_WIDTH) // 2, (clip.height - SMALL_HEIGHT) // 2
    frames = []
    for frame in read_frames(clip, clip.frames):
        part = b""
        for scale, rows in zip((1, 2, 2), planes(frame, clip.width, clip.height)):
            x, y = left // scale, top // scale
            part += b"".join(row[x:x + SMALL_WIDTH // scale]
                             for row in rows[y:y + SMALL_HEIGHT // scale])
        frames.append(part)
    frames = (frames * (SMALL_FRAMES // len(frames) + 1))[:SMALL_FRAMES]
    return write_clip("small.yuv", frames, SMALL_WIDTH, SMALL_HEIGHT)


def show_masks(clip, runs):
    """Each mask alone. Returns the best run of all indicators together."""
    measured = rounds({name: (luma_command(clip, mask),) for name, mask in MASKS.items()}, runs)
    reading = best(measured["reading only"]).cpu
    rows = []
    for name, mask in MASKS.items():
        fastest = best(measured[name])
        per_frame = 1000 / clip.frames
        median = statistics.median(run.cpu for run in measured[name])
        rows.append([name, f"{mask:#x}", f"{fastest.cpu * per_frame:.2f}",
                     f"{median * per_frame:.2f}", f"{(fastest.cpu - reading) * per_frame:.2f}",
                     f"{clip.frames / fastest.wall:.0f}"])
    table(["indicator", "mask", "CPU ms a frame, best", "median", "best beyond reading",
           "frames a second"], rows)
    return measured["all"]


def size_ratio(clip, large, runs):
    """CPU of the frames of `large` over that of as many of `clip`, without starting the process."""
    once = clip._replace(frames=large.frames)
    runs = rounds({name: (luma_command(each),) for name, each in
                   (("start", clip._replace(frames=0)), ("large", large), ("once", once))}, runs)
    start_up, large_cpu, once_cpu = (best(runs[name]).cpu for name in ("start", "large", "once"))
    return (large_cpu - start_up) / (once_cpu - start_up)


def wall_over_cpu(runs):
    ratios = [run.wall / run.cpu for run in runs]
    return f"{min(ratios):.3f} at best, median {statistics.median(ratios):.3f}"


def show_whole(clip, all_fifteen, runs):
    fastest = best(all_fifteen)
    start_up = best(rounds({"start": (luma_command(clip._replace(frames=0)),)}, runs)["start"])
    # How well the system spreads threads depends on what ran before, too.
    in_a_row = rounds({"all": (luma_command(clip),)}, runs + 1)["all"][1:]
    rows = [
        ["peak memory, all fifteen", f"{peak_memory(luma_command(clip)):.1f} MB"],
        ["peak memory, reading only", f"{peak_memory(luma_command(clip, 0)):.1f} MB"],
        ["wall time over CPU time, all fifteen: runs in a row", wall_over_cpu(in_a_row)],
        ["the same after a run of a single indicator", wall_over_cpu(all_fifteen)],
    ]
    if LUMAGAUGE_FORM.exists():
        plain = luma_command(clip, ALL, LUMAGAUGE_FORM)
        if results(plain, "plain") != results(luma_command(clip)):
            sys.exit("bench: the plain form gives other values than the form in use")
        cpu = best(rounds({"plain": (plain, "plain")}, runs)["plain"]).cpu
        rows.append(["all fifteen, plain form", f"{cpu / clip.frames * 1000:.2f} ms of CPU a frame"])
    else:
        rows.append(["all fifteen, plain form", "left out: needs Google Benchmark (script/setup)"])
    if clip.width % 2 == 0 and clip.height % 2 == 0:
        large = doubled(clip)
        rows.append([f"cost of {large.width}x{large.height} over {clip.width}x{clip.height}",
                     f"{size_ratio(clip, large, runs):.2f} times"])
        large.path.unlink()
    if clip.width >= SMALL_WIDTH and clip.height >= SMALL_HEIGHT:
        small = middle(clip)
        run = best(rounds({"small": (luma_command(small),)}, runs)["small"])
        rows.append([f"{small.width}x{small.height}, all fifteen",
                     f"{small.frames / run.wall:.0f} frames a second, "
                     f"{run.cpu / small.frames * 1e6:.0f} us of CPU a frame"])
        small.path.unlink()
    rows[:0] = [["all fifteen", f"{fastest.cpu / clip.frames * 1000:.2f} ms of CPU a frame"],
                ["start of the process, no frame", f"{start_up.cpu * 1000:.1f} ms of CPU"]]
    table(["whole runs", "result"], rows)


def peer_command(clip, frames):
    return ["ffmpeg", "-v", "error", "-nostdin", "-f", "rawvideo", "-pix_fmt", "yuv420p", "-s",
            f"{clip.width}x{clip.height}", "-i", clip.path, "-frames:v", frames, "-vf", PEER_CHAIN,
            "-f", "null", "-"]


def show_peers(clip, runs):
    """Both on one file of the first frames: whole processes, and what the frames after the first
    one take, which leaves starting the process out."""
    part = write_clip("peers.yuv", read_frames(clip, PEER_FRAMES), clip.width, clip.height)
    measured = rounds({
        "peer": (peer_command(part, part.frames),),
        "peer's first": (peer_command(part, 1),),
        "own": (luma_command(part),),
        "own first": (luma_command(part._replace(frames=1)),),
    }, min(runs, 5))
    cpu = {name: best(runs).cpu * 1000 for name, runs in measured.items()}
    later = max(part.frames - 1, 1)
    peer = cpu["peer"] / part.frames, (cpu["peer"] - cpu["peer's first"]) / later
    own = cpu["own"] / part.frames, (cpu["own"] - cpu["own first"]) / later
    table([f"{part.frames} frames, CPU ms a frame", "whole process", "after the first frame"],
          [["ffmpeg's filters"] + [f"{each:.1f}" for each in peer],
           ["lumagauge, all fifteen"] + [f"{each:.2f}" for each in own],
           ["ratio"] + [f"{a / b:.0f}" if b > 0 else "-" for a, b in zip(peer, own)]])
    print(f"The filters: {PEER_CHAIN}")
    part.path.unlink()


def machine():
    model = next((line.split(":")[1].strip() for line in
                  Path("/proc/cpuinfo").read_text().splitlines() if line.startswith("model name")),
                 os.uname().machine)
    return f"{model}, {os.cpu_count()} CPUs, load {os.getloadavg()[0]:.1f} at the start"


def arguments():
    parser = argparse.ArgumentParser(prog="script/bench", description=__doc__)
    parser.add_argument("file", help="raw planar 8-bit 4:2:0 video")
    parser.add_argument("width", type=int)
    parser.add_argument("height", type=int)
    parser.add_argument("--peers", action="store_true",
                        help="compare with a chain of ffmpeg's filters too")
    parser.add_argument("--runs", type=int, default=7, help="runs of each, of which the best counts")
    parser.add_argument("--frames", type=int, default=100, help="frames of the clip at most")
    return parser.parse_args()


def main():
    options = arguments()
    path = Path(options.file).resolve()
    frame_size = options.width * options.height * 3 // 2
    if not path.is_file() or frame_size <= 0 or path.stat().st_size < frame_size:
        sys.exit(f"bench: {path} holds no frame of {options.width}x{options.height}")
    if options.peers and shutil.which("ffmpeg") is None:
        sys.exit("bench: --peers needs ffmpeg")
    frames = min(options.frames, path.stat().st_size // frame_size)
    clip = Clip(path, options.width, options.height, frames)
    WORK.mkdir(parents=True, exist_ok=True)
    print(f"{time.strftime('%d %B %Y')}, {machine()}")
    print(f"{path.name}, {clip.width}x{clip.height}, {frames} frames, {options.runs} runs of each\n",
          flush=True)
    show_whole(clip, show_masks(clip, options.runs), options.runs)
    if options.peers:
        show_peers(clip, options.runs)


if __name__ == "__main__":
    main()
