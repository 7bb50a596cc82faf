# SPDX-License-Identifier: BSD-2-Clause
"""What lumagauge-qc and ffmpeg's detectors say of a file."""

import csv
import json
import re
import subprocess
import tempfile
from pathlib import Path

import media

# Their own defaults but for the shortest stretch that they report and for bars, asked for on every
# frame anew.
PEER_FILTERS = ("blackdetect=d=0.02,freezedetect=n=-60dB:d=0.25,cropdetect=round=2:reset=1:skip=0,"
                "idet,metadata=print:file=-")
PEER_BAR = 0.015  # share of the picture's side from which on a crop counts as a bar


def lumagauge(program, path, folder, profile="default", options=()):
    """Measures a file; NAME.csv with the values and NAME.json with the events stay in `folder`."""
    with tempfile.TemporaryDirectory(dir=folder) as out:
        done = subprocess.run([program, "--quiet", "--no-frames", "--threads", "1",
                               "--decode-threads", "1", "--profile", profile, "-o", out, *options,
                               "--", path], capture_output=True, check=False, text=True)
        written = sorted(Path(out).glob("*.json")) + sorted(Path(out).glob("*.csv"))
        if len(written) != 2:
            raise media.MediaError(f"{program} {path}: {done.stderr.strip()}")
        name = Path(path).name
        for file in written:
            file.rename(Path(folder) / f"{name}{file.suffix}")
    return Path(folder) / f"{name}.json"


def events(document):
    """The events of a result, in frames; a cadence as one over all of them, as it is no event."""
    last = document["measured"]["frames"] - 1
    cadence = [{"kind": "cadence", "severity": "info", "start": 0, "end": last}]
    return cadence * (document["cadence"] is not None) + [{"kind": event["kind"], "severity": event["severity"], "start": event["start_frame"],
             "end": event["end_frame"]} for event in document["events"]]


def values(path):
    """The rows of a CSV file of results, text by column name."""
    with open(path, encoding="utf-8", newline="") as lines:
        return list(csv.DictReader(lines))


def runs(frames):
    """First and last of each run of neighbouring numbers in a rising list."""
    found = []
    for frame in frames:
        if found and frame == found[-1][1] + 1:
            found[-1][1] = frame
        else:
            found.append([frame, frame])
    return found


def peers(path, input_options=()):
    """What ffmpeg's detectors say, from kind of event to stretches [first frame, last frame]."""
    text = media.run(media.FFMPEG[:-1] + ["-threads", 1, *input_options, "-i", path, "-map", "0:v:0",
                                          "-fps_mode", "passthrough", "-vf", PEER_FILTERS, "-f",
                                          "null", "-"]).decode()
    size = media.probe(path) if not input_options else None
    width, height = (size.width, size.height) if size else map(
        int, input_options[input_options.index("-s") + 1].split("x"))
    times, marked, spans = [], {"letterbox": [], "pillarbox": [], "interlaced": []}, {}
    for block in re.split(r"^frame:", text, flags=re.M)[1:]:
        frame = len(times)
        times.append(float(re.search(r"pts_time:(-?[\d.]+)", block).group(1)))
        tags = dict(re.findall(r"^lavfi\.([\w.]+)=(.*)$", block, re.M))
        if "cropdetect.w" in tags:
            for kind, side, whole in (("letterbox", "h", height), ("pillarbox", "w", width)):
                if int(tags[f"cropdetect.{side}"]) <= whole * (1 - 2 * PEER_BAR):
                    marked[kind].append(frame)
        if tags.get("idet.single.current_frame") in ("tff", "bff"):
            marked["interlaced"].append(frame)
        for kind, prefix in (("black", "black"), ("frozen", "freezedetect.freeze")):
            for edge in ("start", "end"):
                if f"{prefix}_{edge}" in tags:
                    spans.setdefault(kind, []).append((edge, float(tags[f"{prefix}_{edge}"])))
    found = {kind: runs(frames) for kind, frames in marked.items()}
    for kind, edges in spans.items():
        found[kind] = between(edges, times)
    return found


def between(edges, times):
    """Stretches in frames from ("start", time) and ("end", time) in turn."""
    found = []
    for edge, time in edges:
        at = min(range(len(times)), key=lambda frame: abs(times[frame] - time))
        if edge == "start":
            found.append([at, len(times) - 1])
        elif found:
            found[-1][1] = max(found[-1][0], at - 1)
    return found


def stored(path, make):
    """The JSON document at `path`, made and kept there where it is missing."""
    if not path.exists():
        part = Path(f"{path}.part")
        part.write_text(json.dumps(make()))
        part.rename(path)
    return json.loads(path.read_text())
