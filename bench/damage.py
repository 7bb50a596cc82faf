#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-2-Clause
"""Damages video files of many formats and counts what lumagauge-qc does with them.

A seed is a short clip of one codec in one container, made with ffmpeg. A case is a seed, a damage and
a number; the three and --seed settle the damaged bytes. A case is lost where its frames are fewer or
more than the seed's or have other values; told where lumagauge-qc says so (an error, an event, a
warning; "verdict" has those told by a worse verdict alone); silent where it is lost, not told, and
ffmpeg prints a message ("printed") or decodes another number of frames than of the seed, which nobody
knows who has no seed. What is lost without a word of either is "unseen". "fewer" are the silent ones
that lack frames: their share of the files of a damage is what is bounded.
"""

import argparse
import csv
import json
import os
import random
import re
import resource
import shlex
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import time
from collections import Counter, defaultdict, namedtuple
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

from damage_formats import AUDIO, FFMPEG_OPTIONS, FORMATS, FRAMES, HEIGHT, QC_OPTIONS, WIDTH

ROOT = Path(__file__).resolve().parent.parent
SEEDS = ROOT / "build/damage/seeds"

# Percent of the files of a damage that may lack frames in silence, and how many make a figure. Far
# above what is found: a small sample must not fail by chance.
MOST_SILENT = {"truncated": 8, "flips 1e-3": 6, "zeroed 5 %": 8}
ENOUGH = 40
LOST = ("told", "verdict", "silent", "unseen")
# A crash is a signal; what a sanitizer finds becomes one.
FAULTS = ("crash", "hang", "memory", "status", "output", "differs")
VERDICTS = ("pass", "warn", "fail", "unmeasured")
DAMAGE_KINDS = {"undecodable", "missing"}

Result = namedtuple("Result", "fault status rows document")
Case = namedtuple("Case", "format damage number")
Outcome = namedtuple("Outcome", "kind detail fewer", defaults=("", False))


def truncated(data, dice):
    """Anywhere, and one in four near the end, where only the last pictures are hit."""
    share = dice.uniform(0.98, 1) if dice.random() < 0.25 else dice.uniform(0.02, 1)
    del data[min(len(data) - 1, int(len(data) * share)):]


def flips(rate):
    def damage(data, dice):
        for _ in range(max(1, round(len(data) * rate))):
            data[dice.randrange(len(data))] ^= 1 << dice.randrange(8)
    return damage


def zeroed(data, dice):
    stretches = dice.randint(1, 10)
    length = max(1, len(data) // (20 * stretches))
    for _ in range(stretches):
        start = dice.randrange(max(1, len(data) - length))
        data[start:start + length] = bytes(length)


def header(data, dice):
    """In the first KiB, or the last two, where containers that end with their index have it."""
    length = min(len(data), 1024)
    start = 0
    if dice.random() < 0.3:
        length = min(len(data), 2048)
        start = len(data) - length
    for _ in range(dice.randint(1, 8)):
        data[start + dice.randrange(length)] = dice.randrange(256)


DAMAGES = {"truncated": truncated, "flips 1e-5": flips(1e-5), "flips 1e-4": flips(1e-4),
           "flips 1e-3": flips(1e-3), "zeroed 5 %": zeroed, "header": header}


def make_seed(name):
    """The seed's path, or nothing where this ffmpeg cannot make it."""
    path = SEEDS / name
    if not path.exists():
        picture = f"testsrc2=s={WIDTH}x{HEIGHT}:r=25"
        inputs, options = [], FORMATS[name].split()
        if options[:2] == AUDIO.split()[:2]:
            inputs, options = options[:4], options[4:]
        part = SEEDS / f"part-{name}"
        made = subprocess.run(
            ["ffmpeg", "-v", "error", "-nostdin", "-y", "-f", "lavfi", "-i", picture, *inputs,
             "-frames:v", str(FRAMES), "-vf", "noise=alls=8:allf=t:all_seed=7",
             "-threads", "1", "-flags:v", "+bitexact", "-fflags", "+bitexact", *options, part],
            capture_output=True, text=True)
        if made.returncode != 0:
            part.unlink(missing_ok=True)
            print(f"no seed {name}: {made.stderr.strip().splitlines()[:1]}", file=sys.stderr)
            return None
        part.rename(path)
    return path


class Tool:
    """lumagauge-qc with its bounds of time and memory, and ffmpeg for what it says of a file."""

    def __init__(self, path, seconds, megabytes):
        self.path, self.seconds, self.megabytes = Path(path).resolve(), seconds, megabytes
        self.sanitized = b"__asan_init" in self.path.read_bytes()
        self.environment = os.environ | {
            "ASAN_OPTIONS": "abort_on_error=1:allocator_may_return_null=1",
            "UBSAN_OPTIONS": "abort_on_error=1", "LSAN_OPTIONS": "exitcode=99"}

    def command(self, name, path, out, threads=1):
        return [str(self.path), "--threads", "1", "--decode-threads", str(threads), "--quiet",
                "--progress", "none", *QC_OPTIONS.get(name, []), "-o", str(out), str(path)]

    def limit_memory(self):
        """Stops what grows far beyond the bound; a sanitizer's own mappings are larger than any."""
        if not self.sanitized:
            bytes_ = 8 * self.megabytes << 20
            resource.setrlimit(resource.RLIMIT_AS, (bytes_, bytes_))

    def measure(self, name, path, threads=1):
        with tempfile.TemporaryDirectory() as out, tempfile.TemporaryFile() as words:
            process = subprocess.Popen(
                self.command(name, path, out, threads), stdin=subprocess.DEVNULL,
                stdout=words, stderr=words, env=self.environment,
                preexec_fn=self.limit_memory)
            late = threading.Event()
            timer = threading.Timer(self.seconds, lambda: (late.set(), process.kill()))
            timer.start()
            _, raw_status, usage = os.wait4(process.pid, 0)
            timer.cancel()
            process.returncode = status = os.waitstatus_to_exitcode(raw_status)
            words.seek(0)
            said = words.read()
            if late.is_set():
                return Result("hang", status, None, None)
            if status < 0:
                return Result("crash", status, None, None)
            if status not in (0, 1, 2):
                return Result("status", status, None, None)
            if usage.ru_maxrss > self.megabytes << 10:
                return Result("memory", status, None, None)
            try:
                rows, document = read_output(Path(out), path.name, status, said)
            except (OSError, ValueError, KeyError, TypeError) as error:
                return Result(f"output: {error}", status, None, None)
            return Result(None, status, rows, document)


def read_output(out, name, status, said):
    """Rows of the CSV, the fifteen values of a frame each, and the JSON, held against each other."""
    files = sorted(file.name for file in out.iterdir())
    if status == 2 and files == [f"{name}.failure"]:
        if not said.strip() or not json.loads((out / files[0]).read_bytes())["reason"]:
            raise ValueError("status 2 without a message")
        return [], None
    if files != [f"{name}.csv", f"{name}.json"]:
        raise ValueError(f"files {files}")
    document = json.loads((out / f"{name}.json").read_bytes().decode())
    with open(out / f"{name}.csv", newline="", encoding="utf-8") as file:
        titles, *rows = csv.reader(file)
    if any(len(row) != len(titles) for row in rows):
        raise ValueError("rows of the CSV differ in length")
    for number, row in enumerate(rows):
        if int(row[0]) != number:
            raise ValueError(f"row {number} of the CSV is of frame {row[0]}")
        for value in row[3:]:
            float(value or 0)
    if not len(rows) == len(document["frames"]) == document["measured"]["frames"]:
        raise ValueError("CSV and JSON differ in the number of frames")
    if document["exit_status"] != status:
        raise ValueError(f"JSON has exit status {document['exit_status']}")
    if status == 2 and not document["reason"]:
        raise ValueError("unmeasured without a reason")
    return [row[3:] for row in rows], document


def told(result, seed):
    """How the answer of a damaged file says more than that of the seed, if it does."""
    document = result.document
    if document is None or document["decode_errors"] or document["reason"]:
        return "told"
    if any(event["kind"] in DAMAGE_KINDS for event in document["events"]):
        return "told"
    if set(document["input"]["warnings"]) - set(seed.document["input"]["warnings"]):
        return "told"
    worse = VERDICTS.index(document["verdict"]) > VERDICTS.index(seed.document["verdict"])
    return "verdict" if worse else None


def ffmpeg_answer(name, path):
    """What ffmpeg prints of a file, without addresses and numbers, and how many frames it decodes."""
    command = ["ffmpeg", "-v", "warning", "-nostdin", "-threads", "1", *FFMPEG_OPTIONS.get(name, []),
               "-i", path, "-map", "0:v:0", "-fps_mode", "passthrough", "-f", "framecrc", "-"]
    try:
        done = subprocess.run(command, capture_output=True, timeout=60)
    except subprocess.TimeoutExpired:
        return {"timeout"}, 0
    lines = done.stderr.decode(errors="replace").replace(str(path), "").splitlines()
    frames = sum(not line.startswith(b"#") for line in done.stdout.splitlines())
    return {re.sub(r"0x[0-9a-f]+|[0-9]+", "", line) for line in lines
            if "Last message repeated" not in line}, frames


class Harness:
    def __init__(self, tool, options):
        self.tool, self.options = tool, options
        self.seeds, self.ffmpeg = {}, {}
        self.counts = defaultdict(Counter)  # of (format, damage)
        self.lock = threading.Lock()
        self.deadline = time.monotonic() + 60 * options.minutes if options.minutes else None

    def add_seed(self, name):
        path = make_seed(name)
        if not path:
            return
        result, answer = self.tool.measure(name, path), ffmpeg_answer(name, path)
        if result.fault or result.status == 2 or len(result.rows) != answer[1]:
            raise SystemExit(f"damage: the seed {path} gives {result.fault}, status {result.status}, "
                             f"{len(result.rows or [])} of {answer[1]} frames")
        if result.document["decode_errors"] or result.document["reason"]:
            raise SystemExit(f"damage: the seed {path} is taken for a damaged file")
        with self.lock:
            self.seeds[name], self.ffmpeg[name] = result, answer

    def run(self, case):
        if self.deadline and time.monotonic() > self.deadline:
            return
        data = bytearray((SEEDS / case.format).read_bytes())
        words = "/".join(str(word) for word in (self.options.seed, *case))
        DAMAGES[case.damage](data, random.Random(words))
        kind = re.sub(r"[ %]+", "-", case.damage).strip("-")
        stem, extension = os.path.splitext(case.format)
        with tempfile.TemporaryDirectory() as folder:
            path = Path(folder) / f"{stem}-{extension[1:]}-{kind}-{case.number}{extension}"
            path.write_bytes(data)
            outcome = self.outcome(case, path)
            if self.options.keep and outcome.kind in (*FAULTS, "silent"):
                self.keep(case, path, f"{outcome.kind}: {outcome.detail}")
        with self.lock:
            count = self.counts[case.format, case.damage]
            count["files"] += 1
            count[outcome.kind] += 1
            count["fewer"] += outcome.fewer
            if outcome.kind == "silent" and outcome.detail.startswith("ffmpeg"):
                count["printed"] += 1

    def outcome(self, case, path):
        seed, result = self.seeds[case.format], self.tool.measure(case.format, path)
        if result.fault:
            return Outcome(result.fault.partition(":")[0], f"{result.fault}, status {result.status}")
        for threads in self.options.repeat:
            again = self.tool.measure(case.format, path, threads)
            if answer_of(again) != answer_of(result):
                return Outcome("differs", f"with --decode-threads {threads}")
        if result.rows == seed.rows:
            return Outcome("whole")
        if how := told(result, seed):
            return Outcome(how)
        said, frames = ffmpeg_answer(case.format, path)
        said -= self.ffmpeg[case.format][0]
        loss = f"{len(result.rows)} of {len(seed.rows)} frames"
        fewer = len(result.rows) < len(seed.rows)
        if said:
            return Outcome("silent", f"ffmpeg prints {sorted(said)[0].strip()!r}; {loss}", fewer)
        if frames != self.ffmpeg[case.format][1]:
            return Outcome("silent", f"frames alone: {loss}", fewer)
        return Outcome("unseen")

    def keep(self, case, path, detail):
        self.options.keep.mkdir(parents=True, exist_ok=True)
        kept = self.options.keep / path.name
        shutil.copy(path, kept)
        line = shlex.join(self.tool.command(case.format, kept, "/tmp"))
        with self.lock, open(self.options.keep / "failures.txt", "a", encoding="utf-8") as file:
            file.write(f"# {case.format}, {case.damage}, {detail}\n{line}\n")

    def total(self, damage, what):
        return sum(count[what] for (_, kind), count in self.counts.items() if kind == damage)

    def lost(self, damage):
        return sum(self.total(damage, what) for what in LOST)

    def print_formats(self):
        print("Silent of lost files")
        print(f"{'':20}" + "".join(f"{damage:>12}" for damage in DAMAGES))
        for name in self.seeds:
            cells = [self.counts[name, damage] for damage in DAMAGES]
            print(f"{name:20}" + "".join(
                f"{cell['silent'] or '.':>7} /{sum(cell[what] for what in LOST):3}"
                for cell in cells))

    def print_totals(self):
        """Whether all bounds hold."""
        columns = ("files", "whole", "told", "verdict", "silent", "printed", "fewer", "unseen",
                   *FAULTS)
        print(f"\n{'':12}" + "".join(f"{column:>8}" for column in columns) +
              "  fewer of files, silent of lost")
        good = True
        for damage in DAMAGES:
            totals = [self.total(damage, column) for column in columns]
            lost, silent = self.lost(damage), self.total(damage, "silent")
            percent = 100 * self.total(damage, "fewer") / max(1, totals[0])
            verdict = ""
            if damage in MOST_SILENT and totals[0] < ENOUGH:
                verdict = "; not judged: too few"
            elif percent > MOST_SILENT.get(damage, 100):
                good, verdict = False, f"; at most {MOST_SILENT[damage]} % are allowed"
            print(f"{damage:12}" + "".join(f"{total:8}" for total in totals) +
                  f"  {percent:5.1f} %  {100 * silent / max(1, lost):5.1f} %{verdict}")
        return good and not any(self.total(damage, fault) for damage in DAMAGES for fault in FAULTS)


def answer_of(result):
    """What must not depend on the machine."""
    document = result.document or {}
    return result.fault, result.status, result.rows, [
        document.get(member) for member in ("events", "decode_errors", "verdict", "reason")]


def parse_arguments():
    parser = argparse.ArgumentParser(
        description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--tool", type=Path, default=ROOT / "build/release/lumagauge-qc",
                        help="the lumagauge-qc to try [build/release]")
    parser.add_argument("--trials", type=int, default=5, help="files a format and damage [5]")
    parser.add_argument("--minutes", type=float, help="begin no case after that time")
    parser.add_argument("--seed", default="1", help="other words give other damage [1]")
    parser.add_argument("--formats", default="", help="a regular expression: these formats alone")
    parser.add_argument("--jobs", type=int, default=os.cpu_count(), help="files at once [CPUs]")
    parser.add_argument("--timeout", type=float, default=30, help="seconds a file may take [30]")
    parser.add_argument("--memory", type=int, default=1024, help="MiB a file may take [1024]")
    parser.add_argument("--repeat", type=int, nargs="+", default=[], metavar="THREADS",
                        help="measure with so many decoder threads too: the answer must be the same")
    parser.add_argument("--keep", type=Path, help="folder for the files of faults and silent losses")
    return parser.parse_args()


def main():
    options = parse_arguments()
    if not options.tool.is_file():
        sys.exit(f"damage: {options.tool} is not there; script/build makes it")
    SEEDS.mkdir(parents=True, exist_ok=True)
    harness = Harness(Tool(options.tool, options.timeout, options.memory), options)
    names = [name for name in FORMATS if re.search(options.formats, name)]
    with ThreadPoolExecutor(options.jobs) as pool:
        list(pool.map(harness.add_seed, names))
        harness.seeds = {name: harness.seeds[name] for name in names if name in harness.seeds}
        if not harness.seeds:
            sys.exit("damage: there is no file to damage: --formats names none, or ffmpeg makes none")
        if harness.deadline:  # making the seeds is not part of it
            harness.deadline = time.monotonic() + 60 * options.minutes
        # Whatever ends a run early has met formats and damages alike.
        for number in range(options.trials):
            cases = [Case(name, damage, number) for name in harness.seeds for damage in DAMAGES]
            random.Random(number).shuffle(cases)
            list(pool.map(harness.run, cases))
    harness.print_formats()
    if not harness.print_totals():
        sys.exit("damage: see above" + ("" if options.keep else "; --keep DIR keeps the files"))


if __name__ == "__main__":
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(143))
    main()
