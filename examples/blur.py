import sys

import lumagauge
import numpy as np

# the blur of each frame of raw 352x288 4:2:0 video on standard input
clip = np.frombuffer(sys.stdin.buffer.read(), np.uint8).reshape(-1, 288 * 3 // 2, 352)
for blur in lumagauge.measure(clip[:, :288])["blur"]:
    print(f"{blur:.3f}")
