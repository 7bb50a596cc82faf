# SPDX-License-Identifier: BSD-2-Clause
"""That truth, labels and scores are what they claim to be: figures of the bench rest on them.

    PROGRAM=build/release/lumagauge-qc JUDGE=build/release/bench/answers/judge_csv \\
        python3 bench/answers/answers_test.py
"""

import json
import os
import subprocess
import tempfile
import tomllib
import unittest
from fractions import Fraction
from pathlib import Path

import numpy

import faults
import labels
import measure
import media
import score
import sweep


def moving(count=50, width=96, height=64):
    """Live noise: every fault shows in it, and no two pictures or blocks are alike."""
    random = numpy.random.default_rng(3)
    return media.Frames(random.integers(60, 180, (count, width * height * 3 // 2), numpy.uint8), width,
                        height, Fraction(25))


class Plants(unittest.TestCase):
    def test_every_fault_is_where_it_says(self):
        clean = moving()
        for fault in faults.FAULTS:
            if fault.row == "cadence":  # the first frame of each picture is right
                continue
            with self.subTest(fault.row, variant=fault.name):
                frames, first, last = faults.plant(fault, clean, numpy.random.default_rng(1))
                again, *_ = faults.plant(fault, clean, numpy.random.default_rng(1))
                self.assertTrue((frames.data == again.data).all())
                changed = numpy.flatnonzero((frames.data != clean.data).any(axis=1))
                fading = 11 if "fade" in fault.name else 0
                # A freeze shows from its second picture on; noise over it may touch the first.
                self.assertIn(changed[0], (first - fading, first - fading - fault.skipped))
                self.assertEqual(changed[-1], last + fading)
                if fault.row != "stutter":
                    self.assertEqual(len(changed), changed[-1] - changed[0] + 1)

    def test_nothing_is_planted_where_nothing_shows(self):
        still = moving()
        still.data[:] = still.data[0]
        unseen = {fault.name for fault in faults.FAULTS if fault.least and "stale" in fault.name or
                  fault.row == "interlaced"}
        self.assertEqual(len(unseen), 4)
        for fault in faults.FAULTS:
            if fault.name in unseen:
                with self.assertRaises(faults.NothingPlanted):
                    faults.plant(fault, still, numpy.random.default_rng(1))


class Labels(unittest.TestCase):
    def test_reading(self):
        for text, kind, severity, start, end, allowed in (
                ("letterbox 58 rows top, 57-58 bottom, 0-47", "letterbox", "warn", 0, 47, True),
                ("letterbox 58 rows top, 57-58 bottom, 0-47", "letterbox", "warn", 30, 90, False),
                ("nearly still (not frozen); dim", "frozen", "info", 0, 9, False),
                ("no true pillarbox; thin dark edges 3-5 columns", "pillarbox", "info", 0, 9, False),
                ("dim, noisy 0-40", "noisy", "warn", 5, 42, True),
                ("low contrast 0-30; none faulty", "low_contrast", "info", 0, 30, True),
                ("low contrast 0-30; none faulty", "low_contrast", "warn", 0, 30, False),
                ("black 0; fade-in 1-5", "fade", "info", 2, 5, True),
                ("none", "blurred", "info", 0, 9, False)):
            with self.subTest(text, kind=kind):
                event = {"kind": kind, "severity": severity, "start": start, "end": end}
                self.assertEqual(labels.read_label("", text).allows(event), allowed)
                moved = {**event, "start": start - 3, "end": end - 3}
                self.assertEqual(labels.read_label("", text).allows(moved, offset=3), allowed)


class Scores(unittest.TestCase):
    def test_answers(self):
        for stretches, kinds, found, errors in (
                ([("frozen", 10, 29)], ("frozen",), True, [0, 0]),
                ([("frozen", 15, 24)], ("frozen",), True, [5, -5]),
                ([("frozen", 16, 24)], ("frozen",), False, [6, -5]),
                ([("frozen", 0, 50)], ("frozen",), False, [-10, 21]),
                ([("black", 10, 29)], ("frozen",), False, None),
                ([("a", 10, 17), ("b", 18, 29)], ("a", "b"), True, [0, 0])):
            events = [{"kind": kind, "severity": "warn", "start": first, "end": last}
                      for kind, first, last in stretches]
            given = score.answer({"first": 10, "last": 29, "kinds": kinds, "events": events,
                                  "peers": {"frozen": [[12, 29]], "x": []}})
            with self.subTest(stretches):
                self.assertEqual((given["found"], given["errors"]), (found, errors))
                self.assertEqual(given["peer"], True if kinds == ("frozen",) else None)

    def test_the_choice_never_sees_the_clip_it_is_judged_on(self):
        good, bad = sweep.Counts(9, 10, 0, 1), sweep.Counts(0, 10, 0, 1)
        # Candidate 0 is good on a alone, candidate 1 on the others, by which a is judged as well.
        counts = [{"a": good, "b": bad, "c": bad, "d": bad},
                  {"a": bad, "b": good, "c": good, "d": good}]
        self.assertEqual(sweep.left_out(counts, 0.1).found, 0 + 9 + 9 + 9)
        noisy = [{"a": sweep.Counts(10, 10, 9, 1)}, {"a": sweep.Counts(9, 10, 0, 1)}]
        self.assertEqual([sweep.best(noisy, price) for price in (0.1, 0.001)], [1, 0])

    def test_the_first_candidates_are_the_shipped_rules(self):
        shipped = tomllib.loads((sweep.ROOT / "qc/profiles/default.toml").read_text())
        grids = tomllib.loads(Path(sweep.__file__).with_name("grids.toml").read_text())
        for kind, entry in grids.items():
            self.assertEqual(tomllib.loads(next(sweep.candidates(entry))[1]), shipped[kind])


class Judging(unittest.TestCase):
    def test_stored_values_are_judged_as_measured_ones(self):
        clean = moving(width=320, height=288)
        fault = next(fault for fault in faults.FAULTS if fault.name == "grey")
        frames, first, last = faults.plant(fault, clean, numpy.random.default_rng(1))
        with tempfile.TemporaryDirectory() as folder:
            path = Path(folder) / "clip.mkv"
            media.write_video(frames, path, media.ENCODINGS["lossless"])
            document = json.loads(measure.lumagauge(os.environ["PROGRAM"], path, folder).read_text())
            again = subprocess.run([os.environ["JUDGE"], "default", "broadcast", "--", path],
                                   check=True, capture_output=True).stdout.splitlines()
        events = measure.events(document)
        self.assertIn({"kind": "flat", "severity": "warn", "start": first, "end": last}, events)
        self.assertEqual(json.loads(again[0])["events"], events)
        self.assertEqual(len(again), 2)


if __name__ == "__main__":
    unittest.main()
