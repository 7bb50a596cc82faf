# SPDX-License-Identifier: BSD-2-Clause
"""What a careful viewer wrote of a clip, as kinds of events that may be named in it.

A label is a list of phrases between semicolons, with frame ranges: "black 0-13; fade-in 8-48; nearly
static shot (not frozen); none faulty". The reading is a conservative one: a phrase allows the kinds of
the words in it, on its frames or, without any, on all; what it says after "not", "no" or "never" is
forbidden; and where the viewer finds nothing faulty, what is allowed may be listed but not warned of.
"""

import csv
import re
from dataclasses import dataclass, field

WORDS = {
    r"\bblack \d|sees a black picture": ("black",),
    r"empty grey|near-uniform": ("flat",),
    r"frozen in long runs|\d identical|hiccup": ("frozen", "stutter", "still"),
    r"exact repeats|held drawing|screen at rest|static": ("still",),
    r"letterbox|black bar of": ("letterbox", "windowbox"),
    r"pillarbox \d": ("pillarbox", "windowbox"),
    r"damaged": ("block_loss", "slice_error", "undecodable", "concealed", "flat", "blocky"),
    r"interlaced|combing \d": ("interlaced",),
    r"starved": ("blocky", "blurred", "starved"),
    r"blurred|slight blur|motion blur": ("blurred",),
    r"noisy \d|and noisy": ("noisy",),
    r"flashes|flicker": ("flicker",),
    r"over-?exposed|blown-out|clipped|glare|bright flat by design": ("overexposed", "clipped"),
    r"\bdark\b|\bdim\b|low-key|nearly black": ("underexposed",),
    r"low contrast|milky": ("low_contrast",),
    r"\bfade": ("fade",),
}
NEGATION = re.compile(r"\b(?:not|no|never|must not read as)\s+(?:true\s+)?[\w-]+", re.I)
NOTHING_FAULTY = re.compile(r"\bnone\b|\bnot a fault\b|would accept|by design", re.I)
DRAWN = re.compile(r"screen|cartoon|title card|drawing|palette", re.I)
HOPELESS = re.compile(r"damaged|starved|out of focus|interlaced", re.I)
RANGE = re.compile(r"(?<![\w.])(\d+)-(?:about )?(\d+)(?! (?:rows|columns|bottom|top|left|right))\b")


@dataclass
class Label:
    size: str = ""
    text: str = ""
    allowed: list = field(default_factory=list)  # (kind, first frame, last frame)

    @property
    def warnings_allowed(self):
        return not NOTHING_FAULTY.search(self.text)

    @property
    def is_drawn(self):
        return bool(DRAWN.search(self.text))

    @property
    def is_hopeless(self):
        """Faulty throughout, so that a fault planted in it proves nothing."""
        return bool(HOPELESS.search(self.text))

    def names(self, kind, first, last):
        """How many of the frames first to last the label names the kind on."""
        return sum(max(0, min(last, end) - max(first, start) + 1)
                   for named, start, end in self.allowed if named == kind)

    def allows(self, event, offset=0):
        """Whether an event of a clip that begins at frame `offset` agrees with the label."""
        return (event["severity"] == "info" or self.warnings_allowed) and \
            self.names_enough(event, offset)

    def names_enough(self, event, offset=0):
        """Whether half of an event is on frames that the label names its kind on, give or take two."""
        first, last = event["start"] + offset, event["end"] + offset
        return self.names(event["kind"], first - 2, last + 2) * 2 > last - first


def read_label(size, text):
    label = Label(size, text)
    for phrase in text.split(";"):
        named = NEGATION.sub("", phrase)
        ranges = [tuple(map(int, pair)) for pair in RANGE.findall(named)] or [(0, 1 << 40)]
        for words, kinds in WORDS.items():
            if re.search(words, named, re.I):
                label.allowed += [(kind, *frames) for kind in kinds for frames in ranges]
    return label


def read_labels(path):
    """From file name to label, of a table with columns file, size and labels between tabs."""
    with open(path, encoding="utf-8", newline="") as lines:
        rows = [row for row in csv.reader(lines, delimiter="\t", quoting=csv.QUOTE_NONE)
                if row and not row[0].startswith("#")]
    if rows[:1] != [["file", "size, rate, frames", "labels"]]:
        raise ValueError(f"{path}: the first row should be: file, \"size, rate, frames\", labels")
    return {name: read_label(size, text) for name, size, text in rows[1:]}
