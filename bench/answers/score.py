# SPDX-License-Identifier: BSD-2-Clause
"""From results to the table: found or not, how exactly, and what was named without cause."""

import statistics
from collections import defaultdict

ENOUGH = 0.5  # overlap in time from which on a fault counts as found


def overlap(one, other):
    """Intersection over union of two stretches of frames, ends included."""
    common = min(one[1], other[1]) - max(one[0], other[0]) + 1
    union = max(one[1], other[1]) - min(one[0], other[0]) + 1
    return max(0, common) / union


def joined(stretches):
    """Stretches that touch or overlap as one."""
    result = []
    for first, last in sorted(stretches):
        if result and first <= result[-1][1] + 1:
            result[-1][1] = max(last, result[-1][1])
        else:
            result.append([first, last])
    return result


def best(stretches, truth):
    """The stretch that overlaps most with the truth, and by how much."""
    return max(((overlap(one, truth), one) for one in joined(stretches)), default=(0.0, None),
               key=lambda pair: pair[0])


def answer(result):
    """Of a planted fault: the overlap of lumagauge's best answer, its error at both ends, the same
    of the peer where one is there for the kind, and the other kinds that it warns of there."""
    truth = (result["first"], result["last"])
    kinds = result["kinds"]
    share, stretch = best([(event["start"], event["end"]) for event in result["events"]
                           if event["kind"] in kinds], truth)
    peer = [found for kind, found in result["peers"].items() if kind in kinds]
    beside = sorted({event["kind"] for event in result["events"] if event["severity"] != "info" and
                     event["kind"] not in kinds and
                     event["start"] <= truth[1] and event["end"] >= truth[0]})
    return {"overlap": share, "found": share >= ENOUGH, "beside": beside,
            "errors": [stretch[0] - truth[0], stretch[1] - truth[1]] if stretch else None,
            "peer": best(peer[0], truth)[0] >= ENOUGH if peer else None}


def fraction(flags):
    flags = list(flags)
    return f"{sum(flags)}/{len(flags)}" if flags else "-"


def percent(flags):
    flags = list(flags)
    return f"{100 * sum(flags) / len(flags):.0f} %" if flags else "-"


def table(rows):
    """Markdown of lists of cells, the first one the heads."""
    lines = ["| " + " | ".join(map(str, row)) + " |" for row in rows]
    lines.insert(1, "|---" * len(rows[0]) + "|")
    return "\n".join(lines)


def fault_table(results, variants=False):
    """Found of all, a row or variant of faults."""
    groups = defaultdict(list)
    for result in results:
        key = (result["row"], result["name"]) if variants else (result["row"],)
        groups[key].append((result["encoding"], answer(result)))
    heads = ["fault", "found", "share", "lossless", "H.264", "MPEG-2", "whole clip", "ffmpeg",
             "start", "end"]
    rows = [heads]
    for key, answers in groups.items():
        stretch = [one for encoding, one in answers if encoding != "whole"]
        found = [one["found"] for one in stretch]
        errors = [one["errors"] for one in stretch if one["found"]]
        rows.append([", ".join(key), fraction(found), percent(found)] +
                    [fraction(one["found"] for encoding, one in answers if encoding == wanted)
                     for wanted in ("lossless", "h264", "mpeg2", "whole")] +
                    [fraction(one["peer"] for one in stretch if one["peer"] is not None)] +
                    [f"{statistics.mean(abs(error[side]) for error in errors):.1f}" if errors else "-"
                     for side in (0, 1)])
    return table(rows)


def beside_table(results):
    """Which other kinds are warned of on the frames of a fault: share of the files of a row."""
    counts, files = defaultdict(lambda: defaultdict(int)), defaultdict(int)
    for result in results:
        files[result["row"]] += 1
        for kind in answer(result)["beside"]:
            counts[result["row"]][kind] += 1
    return table([["fault", "also warned of"]] + [
        [row, ", ".join(f"{kind} {100 * number / files[row]:.0f} %" for kind, number in
                        sorted(kinds.items(), key=lambda item: -item[1]))]
        for row, kinds in counts.items()])


def false_events(results, labels):
    """Events without cause on clips that nothing was planted in: (clip, encoding, event)."""
    return [(result["clip"], result["encoding"], event) for result in results
            for event in result["events"]
            if not labels[result["clip"]].allows(event, result["offset"])]


def against_labels(results, labels):
    """What the labels do not name, event by event."""
    return table([["clip", "kind", "severity", "frames"]] + [
        [clip, event["kind"], event["severity"], f"{event['start']}-{event['end']}"]
        for clip, _, event in false_events(results, labels)])


def peer_false_rates(results, labels):
    """The same of ffmpeg's detectors, as a sentence."""
    minutes = sum(result["frames"] / result["rate"] for result in results) / 60
    counts = defaultdict(int)
    for result in results:
        for kind, stretches in result["peers"].items():
            counts[kind] += sum(not labels[result["clip"]].names_enough(
                {"kind": kind, "start": first, "end": last}, result["offset"])
                for first, last in stretches)
    return "ffmpeg's detectors, a minute: " + ", ".join(
        f"{kind} {number / minutes:.1f}" for kind, number in sorted(counts.items()))


def false_table(results, labels):
    """Events without cause a minute, by kind and severity."""
    minutes = sum(result["frames"] / result["rate"] for result in results) / 60
    counts = defaultdict(lambda: [0, 0])
    for _, _, event in false_events(results, labels):
        counts[event["kind"]][event["severity"] != "info"] += 1
    rows = [["kind", "info", "warn", "info a minute", "warn a minute"]]
    for kind, count in sorted(counts.items(), key=lambda item: -sum(item[1])) + \
            [("all", [sum(count[side] for count in counts.values()) for side in (0, 1)])]:
        rows.append([kind, *count, *(f"{one / minutes:.1f}" for one in count)])
    return f"{len(results)} files, {minutes:.1f} minutes\n\n{table(rows)}\n\n" + \
        peer_false_rates(results, labels)
