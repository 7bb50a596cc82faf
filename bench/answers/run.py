#!/usr/bin/python3
# SPDX-License-Identifier: BSD-2-Clause
"""Plants faults into clips and prints which of them lumagauge-qc finds, and what it names without
cause; script/answers builds what it needs and calls it."""

import argparse
import inspect
import json
import os
import sys
import tomllib
from concurrent.futures import ThreadPoolExecutor
from dataclasses import dataclass
from functools import partial
from pathlib import Path

import numpy

import clips
import damage
import faults
import labels
import measure
import media
import score

ROOT = Path(__file__).resolve().parent.parent.parent
JUDGE = ROOT / "build/release/bench/answers/judge_csv"
PEER_ROWS = {"frozen", "black", "letterbox", "pillarbox", "interlaced", "clean"}


@dataclass
class Job:
    """A file to be made and measured."""
    clip: clips.Clip
    row: str
    name: str
    kinds: tuple
    encoding: str
    fault: faults.Fault | None = None


def jobs(clip, turn=None):
    """The clean encodings of a clip and every fault in it that its label does not name; given a
    `turn`, which differs from clip to clip, a third of the encodings of faults."""
    result = [Job(clip, "clean", "", (), encoding) for encoding in media.ENCODINGS]
    last = clip.offset + len(clip.frames) - 1
    wanted = [fault for fault in faults.FAULTS
              if not any(clip.label.names(kind, clip.offset, last) for kind in fault.kinds)]
    for number, fault in enumerate(wanted):
        encodings = [*media.ENCODINGS, "whole"]
        if turn is not None:
            encodings = [encodings[(number + turn) % 3], *(["whole"] * ((number + turn) % 3 == 0))]
        result += [Job(clip, fault.row, fault.name, fault.kinds, encoding, fault)
                   for encoding in encodings if encoding != "whole" or fault.whole]
    return result + [Job(clip, faults.BITSTREAM_ROW, variant, faults.DAMAGE, "as coded")
                     for variant in damage.VARIANTS]


class Bench:
    """Makes and measures files, and keeps both in `work` so that no call does it twice."""

    def __init__(self, work, program, profile, reuse):
        self.program, self.profile, self.reuse = program, profile, reuse
        self.latest = (None, None)  # pictures with a fault, and what they are
        self.files, self.results = Path(work) / "files", Path(work) / "results"
        for folder in (self.files, self.results):
            folder.mkdir(parents=True, exist_ok=True)
        # A new fault in the table leaves the files of the others as they are.
        functions = inspect.getmembers(faults, inspect.isfunction)
        self.generator = media.digest(
            *(Path(module.__file__).read_bytes() for module in (damage, media)),
            *(inspect.getsource(function) for _, function in functions))
        self.measurer = media.digest(
            Path(program).read_bytes(), Path(measure.__file__).read_bytes(),
            Path(profile).read_bytes() if Path(profile).is_file() else profile)

    def key(self, job):
        """The same for the same file."""
        details = job.fault and [getattr(job.fault.plant, "keywords", ""), job.fault.seconds,
                                 job.fault.least, job.fault.skipped]
        return media.digest(self.generator, job.clip.name, job.clip.digest, job.row, job.name,
                            job.encoding, details)

    def made(self, job):
        """The file of a job, and what is in it; "nothing" says why nothing could be planted."""
        key = self.key(job)
        path = self.files / f"{key}.{'ts' if job.encoding == 'as coded' else 'mkv'}"
        about = measure.stored(self.files / f"{key}.json", partial(self.make, job, key, path))
        if not about.get("nothing") and not path.exists():  # deleted to save space
            self.make(job, key, path)
        return path, about

    def make(self, job, key, path):
        clean = job.clip.frames
        try:
            if job.row == faults.BITSTREAM_ROW:
                first, last = damage.plant(job.name, clean, path)
                return {"first_time": first, "last_time": last}
            frames, first, last = clean, 0, len(clean) - 1
            if job.fault:
                frames, first, last = self.planted(job)
            coder = media.ENCODINGS["h264" if job.encoding == "whole" else job.encoding]
            media.write_video(frames, path, coder)
            return {"first": first, "last": last}
        except faults.NothingPlanted as reason:
            return {"nothing": str(reason)}

    def planted(self, job):
        """The pictures with the fault, the same in each encoding."""
        key = (job.clip.name, job.row, job.name, job.encoding == "whole")
        latest = self.latest  # other threads set it as well
        if latest[0] != key:
            random = numpy.random.default_rng(int(media.digest(*key[:3]), 16))
            latest = (key, faults.plant(job.fault, job.clip.frames, random, key[3]))
            self.latest = latest
        return latest[1]

    def result(self, job):
        """What is found in the file of a job; None where nothing can be planted."""
        path, about = self.made(job)
        if "nothing" in about:
            return None
        found = self.measured(path)
        with_peers = self.peers(path) if job.row in PEER_ROWS else {}
        if "first_time" in about:
            shown = found["times"]
            about = {edge: min(range(len(shown)), key=lambda at: abs(shown[at] - about[f"{edge}_time"]))
                     for edge in ("first", "last")}
        return {"clip": job.clip.name, "row": job.row, "name": job.name, "kinds": job.kinds,
                "encoding": job.encoding, "offset": job.clip.offset, "frames": len(found["times"]),
                "rate": float(job.clip.frames.rate), "first": about["first"], "last": about["last"],
                "events": found["events"], "peers": with_peers, "file": path.name}

    def measured(self, path, options=()):
        """Events and times of a file; with `reuse` of the values that are there, judged anew."""
        values = self.results / path.name
        if self.reuse and Path(f"{values}.csv").exists():
            line = media.run([JUDGE, self.profile, "--", values])
            return {"events": json.loads(line)["events"], "times": times(f"{values}.csv")}
        key = f"{path.name}-{self.measurer}"

        def make():
            document = json.loads(measure.lumagauge(self.program, path, self.results, self.profile,
                                                    options).read_text())
            return {"events": measure.events(document), "times": times(f"{values}.csv")}
        return measure.stored(self.results / f"{key}.json", make)

    def peers(self, path, input_options=()):
        key = media.digest(path.name, measure.PEER_FILTERS, measure.PEER_BAR)
        found = measure.stored(self.results / f"{path.name}-{key}-peers.json",
                               partial(measure.peers, path, input_options))
        return {"black": [], "frozen": [], **found}  # they say nothing where they find nothing

    def original(self, folder, name, label):
        """What is found in a clip as it is."""
        path = Path(folder) / name
        options = clips.input_options(path, label)
        raw = ["--raw", "--size", options[-1]] if options else []
        found = self.measured(path, raw)
        shown = found["times"]
        rate = (len(shown) - 1) / shown[-1] if shown[-1] > 0 else 25.0
        return {"clip": name, "row": "original", "name": "", "kinds": (), "encoding": "original",
                "offset": 0, "frames": len(shown), "rate": rate, "first": 0, "last": len(shown) - 1,
                "events": found["events"], "peers": self.peers(path, options), "file": name}


def times(path):
    """Of the frames in a file of values, from the first one on."""
    rows = measure.values(path)
    return [float(row["time"]) - float(rows[0]["time"]) for row in rows]


def tolerant(call, *arguments):
    """One broken file shall not end an hour's work: it is told of and counted."""
    try:
        return call(*arguments)
    except (media.MediaError, OSError, ValueError) as error:
        print(f"answers: {error}", file=sys.stderr)
        return error


def run(bench, arguments, table):
    """All results; errors are told at the end."""
    results, failed = [], 0
    names = list(clips.MADE) if arguments.quick else clips.suited(arguments.folder, table,
                                                                  arguments.clips)
    with ThreadPoolExecutor(arguments.jobs) as pool:
        if not arguments.quick:
            results += pool.map(lambda item: tolerant(bench.original, arguments.folder, *item),
                                sorted(table.items()))
        for number, name in enumerate(names):
            turn = number if arguments.quick or arguments.thin else None
            clip = clips.made(name) if arguments.quick else clips.load(arguments.folder, name,
                                                                       table[name])
            print(f"{name}: {len(clip.frames)} frames", file=sys.stderr, flush=True)
            results += pool.map(lambda job: tolerant(bench.result, job),
                                jobs(clip, turn))
    failed = sum(isinstance(result, Exception) for result in results)
    return [result for result in results if isinstance(result, dict)], failed


def report(results, table):
    """The tables, as Markdown."""
    order = [(fault.row, fault.name) for fault in faults.FAULTS] + \
        [(faults.BITSTREAM_ROW, variant) for variant in damage.VARIANTS]
    planted = sorted((result for result in results if result["row"] not in ("clean", "original")),
                     key=lambda result: order.index((result["row"], result["name"])))
    parts = [score.fault_table(planted), score.fault_table(planted, variants=True),
             score.beside_table(planted)]
    for row, title in (("clean", "Clean encodings"), ("original", "Untouched clips")):
        chosen = [result for result in results if result["row"] == row]
        if chosen:
            parts.append(f"{title}: {score.false_table(chosen, table)}")
    return "\n\n".join(parts)


def write_into(document, text):
    """Puts the text between the marks of a document."""
    begin, end = "<!-- made by script/answers -->\n", "<!-- end -->\n"
    before, found, rest = document.read_text().partition(begin)
    _, found_end, after = rest.partition(end)
    if not found or not found_end:
        sys.exit(f"answers: {document} lacks the lines {begin.strip()} and {end.strip()}")
    document.write_text(f"{before}{begin}\n{text}\n\n{end}{after}")


def below_floors(results, table, path):
    """Sentences on what the results do not reach of a file of floors."""
    floors, said = tomllib.loads(path.read_text()), []
    for row, least in floors["found"].items():
        found = [score.answer(result)["found"] for result in results if result["row"] == row]
        if sum(found) < least * len(found) or not found:
            said.append(f"{row}: {sum(found)} of {len(found)} found, at least {least:.0%} wanted")
    clean = [result for result in results if result["row"] == "clean"]
    warned = [f"{clip} {encoding} {event['kind']}" for clip, encoding, event in
              score.false_events(clean, table) if event["severity"] != "info"]
    if len(warned) > floors["clean"]["warnings"]:
        said.append(f"{len(warned)} warnings without cause, {floors['clean']['warnings']} allowed: " +
                    ", ".join(warned))
    return said


def parse_arguments():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("folder", nargs="?", type=Path, default=os.environ.get("LUMAGAUGE_CLIPS"),
                        help="clips with a LABELS.tsv [LUMAGAUGE_CLIPS]")
    parser.add_argument("--quick", action="store_true", help="a minute on pictures that ffmpeg makes")
    parser.add_argument("--thin", action="store_true", help="one encoding a fault and clip, in turn")
    parser.add_argument("--clips", type=int, default=12, help="how many to plant faults in [12]")
    parser.add_argument("--jobs", type=int, default=os.cpu_count(),
                        help="files worked on at once [CPUs]")
    parser.add_argument("--program", default=ROOT / "build/release/lumagauge-qc", type=Path)
    parser.add_argument("--profile", default="default")
    parser.add_argument("--work", type=Path, default=ROOT / "build/answers",
                        help="where files and results are kept [build/answers]")
    parser.add_argument("--reuse", action="store_true",
                        help="judge the values anew that an earlier call has kept, without measuring")
    parser.add_argument("--events", action="store_true", help="list what is named without cause")
    parser.add_argument("--write", type=Path, metavar="FILE",
                        help="put the tables between the marks of this document too")
    parser.add_argument("--floors", type=Path, help="fail where less is found than this file asks")
    arguments = parser.parse_args()
    if not arguments.quick and arguments.folder is None:
        parser.error("name a folder of clips with a LABELS.tsv, or give --quick")
    if arguments.folder:
        arguments.folder = Path(arguments.folder)
    return arguments


def main():
    arguments = parse_arguments()
    table = {name: labels.Label() for name in clips.MADE} if arguments.quick else \
        labels.read_labels(arguments.folder / "LABELS.tsv")
    bench = Bench(arguments.work, arguments.program, arguments.profile, arguments.reuse)
    results, failed = run(bench, arguments, table)
    (arguments.work / "results.json").write_text(json.dumps(results))
    text = report(results, table)
    print(text)
    if arguments.events:
        print("\n" + score.against_labels([result for result in results
                                           if result["row"] in ("clean", "original")], table))
    if arguments.write:
        write_into(arguments.write, text)
    said = below_floors(results, table, arguments.floors) if arguments.floors else []
    if failed:
        said.append(f"{failed} files could not be made or measured")
    if said:
        sys.exit("answers: " + "\nanswers: ".join(said))


if __name__ == "__main__":
    main()
