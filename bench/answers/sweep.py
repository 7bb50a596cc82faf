#!/usr/bin/python3
# SPDX-License-Identifier: BSD-2-Clause
"""Tries rules on values that run.py has kept: nothing is decoded or measured again.

For each kind of event in a table of candidates (see grids.toml) it prints what the candidates find
against what they name without cause, marks the shipped one, and says what comes out when the choice is
made without the clip that it is then judged on, for every clip in turn. At last each clip is judged by a
profile of the rules that were so chosen: what to expect of footage that had no part in the choice.
"""

import argparse
import itertools
import json
import os
import string
import sys
import tempfile
import tomllib
from collections import defaultdict
from dataclasses import dataclass
from pathlib import Path

import numpy

import clips
import labels
import media
import run
import score

ROOT = Path(__file__).resolve().parent.parent.parent


@dataclass
class Counts:
    """Of one candidate on one clip."""
    found: int = 0
    faults: int = 0
    false: int = 0  # events without cause on pictures that nothing was planted in
    minutes: float = 0.0

    def __add__(self, other):
        return Counts(self.found + other.found, self.faults + other.faults,
                      self.false + other.false, self.minutes + other.minutes)

    @property
    def share(self):
        return self.found / self.faults if self.faults else 0.0

    @property
    def false_rate(self):
        return self.false / self.minutes if self.minutes else 0.0

    def merit(self, price):
        return self.share - price * self.false_rate


def candidates(entry):
    """Every rule that a template and lists of values for the names in it make."""
    names = [name for name in entry if name != "rule"]
    for choice in itertools.product(*(entry[name] for name in names)):
        values = dict(zip(names, choice))
        yield values, string.Template(entry["rule"]).substitute(values)


def judged(program, kind, rules, results, folder):
    """The events of each rule on each result, in the order of both."""
    with tempfile.TemporaryDirectory() as work:
        profiles = []
        for number, rule in enumerate(rules):
            profiles.append(Path(work) / f"{number}.toml")
            profiles[-1].write_text(f"[{kind}]\n{rule}\n")
        lines = media.run([program, *profiles, "--",
                           *(folder / result["file"] for result in results)]).splitlines()
    # A cadence is told whatever the rules.
    events = [[event for event in json.loads(line)["events"] if event["kind"] == kind]
              for line in lines]
    return [events[number::len(rules)] for number in range(len(rules))]


def count(kind, results, events, table):
    """Counts by clip, of one candidate."""
    counts = defaultdict(Counts)
    for result, found in zip(results, events):
        if result["row"] in ("clean", "original"):
            label = table[result["clip"]]
            false = sum(not label.allows(event, result["offset"]) for event in found)
            counts[result["clip"]] += Counts(0, 0, false, result["frames"] / result["rate"] / 60)
        else:
            right = score.answer({**result, "events": found, "peers": {}, "kinds": [kind]})["found"]
            counts[result["clip"]] += Counts(int(right), 1)
    return counts


def best(counts, price, without=None):
    """Number of the candidate of most merit on all clips but one."""
    merits = [sum((one for clip, one in by_clip.items() if clip != without), Counts()).merit(price)
              for by_clip in counts]
    return int(numpy.argmax(merits))


def left_out(counts, price):
    """Each clip judged by the candidate that was best without it."""
    names = sorted({clip for by_clip in counts for clip in by_clip})
    return sum((counts[best(counts, price, name)][name] for name in names), Counts())


def judged_by_others(results, chosen, arguments):
    """The results, each clip's judged by the rules that were chosen without it: {clip: {kind: rule}}."""
    judged_results = []
    with tempfile.TemporaryDirectory() as work:
        for clip, rules in chosen.items():
            own = [result for result in results if result["clip"] == clip]
            profile = Path(work) / f"{clip}.toml"
            profile.write_text('base = "default"\n' + "".join(
                f"[{kind}]\n{rule}\n" for kind, rule in rules.items()))
            lines = media.run([arguments.judge, profile, "--", *(
                arguments.work / "results" / result["file"] for result in own)]).splitlines()
            judged_results += [{**result, "events": json.loads(line)["events"]}
                               for result, line in zip(own, lines)]
    return judged_results


def line(name, counts):
    return [name, f"{counts.found}/{counts.faults}", f"{100 * counts.share:.0f} %",
            f"{counts.false_rate:.1f}"]


def sweep(kind, entry, results, arguments, table):
    """Prints what one kind's candidates do; the rule that is best without each clip, by clip."""
    choices, rules = zip(*candidates(entry))
    wanted = [result for result in results if result["encoding"] != "whole" and (
        result["row"] in ("clean", "original") or kind == result["kinds"][0])]
    counts = [count(kind, wanted, events, table) for events in
              judged(arguments.judge, kind, rules, wanted, arguments.work / "results")]
    totals = [sum(by_clip.values(), Counts()) for by_clip in counts]
    chosen, shipped = best(counts, arguments.price), 0
    # Of candidates that find the same, only the quietest are worth a line.
    front = [at for at, one in enumerate(totals) if at in (chosen, shipped) or not any(
        other.share >= one.share and other.false_rate <= one.false_rate and
        (other.share, -other.false_rate, -at) > (one.share, -one.false_rate, -number)
        for number, other in enumerate(totals) if number != at)]
    rows = [["rule", "found", "share", "false a minute"]]
    for at in sorted(front, key=lambda at: (totals[at].share, totals[at].false_rate)):
        words = ", ".join(f"{name} {value}" for name, value in choices[at].items())
        notes = ["best of all"] * (at == chosen) + ["shipped"] * (at == shipped)
        words = f"**{words}** ({', '.join(notes)})" if notes else words
        rows.append(line(words, totals[at]))
    rows.append(line("chosen without the clip", left_out(counts, arguments.price)))
    print(f"\n### {kind}\n\n{score.table(rows)}")
    return {clip: rules[best(counts, arguments.price, clip)]
            for clip in {result["clip"] for result in results}}


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("kinds", nargs="*", help="kinds of events [all of the grids]")
    parser.add_argument("--work", type=Path, default=ROOT / "build/answers")
    parser.add_argument("--grids", type=Path, default=Path(__file__).with_name("grids.toml"))
    parser.add_argument("--judge", default=ROOT / "build/release/bench/answers/judge_csv")
    parser.add_argument("--labels", type=Path, default=os.environ.get("LUMAGAUGE_CLIPS"),
                        help="the folder that run.py was given [LUMAGAUGE_CLIPS]")
    parser.add_argument("--price", type=float, default=0.5,
                        help="what a false event a minute costs, as a share of the faults [0.5]")
    arguments = parser.parse_args()
    results = json.loads((arguments.work / "results.json").read_text())
    table = {name: labels.Label() for name in clips.MADE}
    if arguments.labels:
        table |= labels.read_labels(Path(arguments.labels) / "LABELS.tsv")
    elif any(result["clip"] not in table for result in results):
        parser.error("name the folder of the clips with --labels")
    grids = tomllib.loads(arguments.grids.read_text())
    unknown = set(arguments.kinds) - set(grids)
    if unknown:
        sys.exit(f"sweep: {arguments.grids} has no {', '.join(unknown)}; it has {', '.join(grids)}")
    chosen = defaultdict(dict)
    for kind in arguments.kinds or grids:
        for clip, rule in sweep(kind, grids[kind], results, arguments, table).items():
            chosen[clip][kind] = rule
    print("\n### Each clip by what was chosen without it\n\n" +
          run.report(judged_by_others(results, chosen, arguments), table))


if __name__ == "__main__":
    main()
