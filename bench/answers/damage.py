# SPDX-License-Identifier: BSD-2-Clause
"""Damage to coded streams: packets that are lost, bytes that are wrong. What is visible of it is found
by holding the decoded pictures against those of the undamaged stream."""

from pathlib import Path

import faults
import media

CODERS = {
    "H.264": (["-c:v", "libx264", "-crf", "20", "-preset", "veryfast", "-g", "24"], "h264_mp4toannexb,"),
    "MPEG-2": (["-c:v", "mpeg2video", "-q:v", "3", "-g", "12", "-bf", "2"], ""),
}
HURTS = {"packets dropped": "noise=drop='between(n,{first},{last})'",
         "bytes changed": "noise=amount='between(n,{first},{last})*400'"}
PACKETS = 3  # that are hit
VISIBLE = 0.003  # share of the blocks that look wrong from which on a picture counts as damaged
VARIANTS = [f"{coder}, {hurt}" for coder in CODERS for hurt in HURTS]


def plant(variant, clean, path):
    """Codes `clean`, damages the middle of the stream and writes it to `path`. The times of the
    first and the last visibly damaged frame, from the first frame on. Raises faults.NothingPlanted."""
    coder, hurt = variant.split(", ")
    options, container_filter = CODERS[coder]
    whole, part = Path(f"{path}.whole"), Path(f"{path}.part")
    middle = len(clean) // 2
    bitstream = container_filter + HURTS[hurt].format(first=middle, last=middle + PACKETS - 1)
    try:
        media.write_video(clean, whole, options)
        media.run(media.FFMPEG + ["-i", whole, "-c", "copy", "-bsf:v", bitstream, "-fflags",
                                  "+bitexact", "-f", "mpegts", part])
        seen = visible(part, whole)
        if not seen:
            raise faults.NothingPlanted("the decoder hides the damage")
        part.rename(path)
    finally:
        whole.unlink(missing_ok=True)
        part.unlink(missing_ok=True)
    return seen[0], seen[-1]


def visible(path, whole):
    """Times of the pictures of `path` that look other than those of `whole`."""
    good, bad = media.read_frames(whole), media.read_frames(path)
    good_times, bad_times = media.frame_times(whole), media.frame_times(path)
    if len(bad_times) != len(bad) or len(good_times) != len(good):
        raise media.MediaError(f"{path}: {len(bad)} pictures have {len(bad_times)} times")
    # Both begin with the same picture, which nothing has hit.
    number = {round(time * float(good.rate)): at for at, time in enumerate(good_times)}
    seen = []
    for at, time in enumerate(bad_times):
        same = number.get(round(time * float(good.rate)))
        if same is None:
            continue
        share = faults.different_blocks(bad.part(at, at), good.part(same, same))[0]
        if share > VISIBLE:
            seen.append(time)
    return seen
