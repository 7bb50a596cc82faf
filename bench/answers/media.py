# SPDX-License-Identifier: BSD-2-Clause
"""Pictures from and to video files, through ffmpeg."""

import hashlib
import json
import subprocess
from dataclasses import dataclass
from fractions import Fraction
from pathlib import Path

import numpy

# What MPEG-2 can say; the pictures of a clip of another rate are stamped at the nearest of these.
RATES = [Fraction(text) for text in
         ("24000/1001", "24", "25", "30000/1001", "30", "50", "60000/1001", "60")]
ENCODINGS = {
    "lossless": ["-c:v", "libx264", "-qp", "0", "-preset", "ultrafast"],
    "h264": ["-c:v", "libx264", "-crf", "20", "-preset", "veryfast"],
    "mpeg2": ["-c:v", "mpeg2video", "-q:v", "3", "-g", "12", "-bf", "2"],
}
FFMPEG = ["ffmpeg", "-nostdin", "-v", "error", "-y"]


class MediaError(RuntimeError):
    """ffmpeg ended with an error; the message holds what it said."""


def run(command, stdin=None):
    """Standard output of a command as bytes. Raises MediaError where it fails."""
    words = [str(word) for word in command]
    source = {"input": stdin} if stdin is not None else {"stdin": subprocess.DEVNULL}
    done = subprocess.run(words, capture_output=True, check=False, **source)
    if done.returncode != 0:
        raise MediaError(f"{' '.join(words)[:400]}\n{done.stderr.decode(errors='replace').strip()}")
    return done.stdout


@dataclass
class Frames:
    """8-bit 4:2:0 pictures of even size, one after the other, limited range."""
    data: numpy.ndarray  # uint8, frames x bytes of a picture
    width: int
    height: int
    rate: Fraction

    def __len__(self):
        return len(self.data)

    @property
    def planes(self):
        """Views of luma and both chroma planes, each frames x rows x columns."""
        luma, chroma = self.width * self.height, self.width * self.height // 4
        half = (len(self), self.height // 2, self.width // 2)
        return (self.data[:, :luma].reshape(len(self), self.height, self.width),
                self.data[:, luma:luma + chroma].reshape(half),
                self.data[:, luma + chroma:].reshape(half))

    @property
    def luma(self):
        return self.planes[0]

    def copy(self):
        return Frames(self.data.copy(), self.width, self.height, self.rate)

    def part(self, first, last):
        """A view of the frames first to last, both included."""
        return Frames(self.data[first:last + 1], self.width, self.height, self.rate)

    def raw_options(self):
        return ["-f", "rawvideo", "-pix_fmt", "yuv420p", "-s", f"{self.width}x{self.height}",
                "-framerate", str(self.rate)]


@dataclass
class Probe:
    width: int
    height: int
    rate: Fraction
    frames: int


def probe(path):
    """Of the first video stream: size, rate and number of packets."""
    text = run(["ffprobe", "-v", "error", "-select_streams", "v:0", "-count_packets", "-of", "json",
                "-show_entries", "stream=width,height,avg_frame_rate,nb_read_packets", path])
    stream = json.loads(text)["streams"][0]
    return Probe(stream["width"], stream["height"], Fraction(stream["avg_frame_rate"]),
                 int(stream["nb_read_packets"]))


def read_frames(path, filters="", input_options=(), rate=None):
    """All frames of the first video stream behind `filters`, none dropped or repeated."""
    chain = ",".join(filter(None, [filters, "crop=trunc(iw/2)*2:trunc(ih/2)*2",
                                   "scale=out_range=limited,format=yuv420p"]))
    seen = probe(path) if not input_options else None
    pipe = run(FFMPEG + ["-threads", 1, *input_options, "-i", path, "-map", "0:v:0", "-vf", chain,
                         "-fps_mode", "passthrough", "-f", "yuv4mpegpipe", "-strict", "-1", "-"])
    header, _, rest = pipe.partition(b"\n")
    fields = {word[:1]: word[1:].decode() for word in header.split()[1:]}
    width, height = int(fields[b"W"]), int(fields[b"H"])
    rate = rate or nearest_rate(seen.rate if seen else Fraction(fields[b"F"].replace(":", "/")))
    size = width * height * 3 // 2
    marker = len(b"FRAME\n")
    data = numpy.frombuffer(rest, numpy.uint8).reshape(-1, marker + size)[:, marker:].copy()
    return Frames(data, width, height, rate)


def digest(*parts):
    whole = hashlib.sha256()
    for part in parts:
        data = part if isinstance(part, bytes) else str(part).encode()
        whole.update(len(data).to_bytes(8, "little") + data)
    return whole.hexdigest()[:24]


def nearest_rate(rate):
    return min(RATES, key=lambda known: abs(known - rate))


def filtered(frames, chain):
    """The frames behind a filter of ffmpeg that keeps their number and size."""
    return decoded(frames, run(FFMPEG + [*frames.raw_options(), "-i", "-", "-vf", chain, "-f",
                                         "rawvideo", "-pix_fmt", "yuv420p", "-"],
                               frames.data.tobytes()))


def recoded(frames, coder):
    """The frames as they come back from a coder, given by ffmpeg's options."""
    coded = run(FFMPEG + [*frames.raw_options(), "-i", "-", *coder, "-threads", 1, "-f",
                          "matroska", "-"], frames.data.tobytes())
    return decoded(frames, run(FFMPEG + ["-i", "-", "-fps_mode", "passthrough", "-f", "rawvideo",
                                         "-vf", "scale=out_range=limited,format=yuv420p", "-"],
                               coded))


def decoded(frames, raw):
    data = numpy.frombuffer(raw, numpy.uint8).reshape(-1, frames.data.shape[1])
    if len(data) != len(frames):
        raise MediaError(f"{len(frames)} frames went in and {len(data)} came out")
    return Frames(data, frames.width, frames.height, frames.rate)


def write_video(frames, path, coder):
    """Codes the frames into `path`, which appears when it is complete."""
    part = Path(f"{path}.part")
    run(FFMPEG + [*frames.raw_options(), "-i", "-", *coder, "-pix_fmt", pixel_format(coder),
                  "-threads", 1, "-fflags", "+bitexact", "-f", "matroska", part],
        frames.data.tobytes())
    part.rename(path)


def pixel_format(coder):
    return "yuvj420p" if "mjpeg" in coder else "yuv420p"


def frame_times(path):
    """Times in seconds of the frames that ffmpeg decodes, in order, the first at 0."""
    text = run(["ffprobe", "-v", "quiet", "-threads", 1, "-select_streams", "v:0", "-of", "csv=p=0",
                "-show_entries", "frame=best_effort_timestamp_time", path]).decode()
    times = [float(line.strip(",")) for line in text.split() if line.strip(",") != "N/A"]
    return [time - times[0] for time in times]
