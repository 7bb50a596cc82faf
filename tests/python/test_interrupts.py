# SPDX-License-Identifier: BSD-2-Clause
import itertools
import os
import signal
import subprocess
import sys
import threading
import time

import lumagauge
import numpy
import pytest

FRAME = numpy.zeros((1080, 1920), numpy.uint8)
ENDLESS = {"raw": True, "size": (1920, 1080)}


# Each would go on for ever, or for hours. A pipe that nobody writes to is FIFO.
CALLS = {
    "array": lambda fifo: lumagauge.measure(numpy.broadcast_to(FRAME, (10**6, *FRAME.shape))),
    "iterable": lambda fifo: lumagauge.measure(itertools.repeat(FRAME)),
    "check": lambda fifo: lumagauge.check("/dev/zero", **ENDLESS),
    "frames": lambda fifo: list(lumagauge.frames("/dev/zero", **ENDLESS)),
    "check waits": lambda fifo: lumagauge.check(fifo),
    "frames wait": lambda fifo: list(lumagauge.frames(fifo, **ENDLESS))}


@pytest.mark.parametrize("name", CALLS)
def test_ctrl_c(name, tmp_path):
    if name not in ("array", "iterable") and "LUMAGAUGE_QC" not in os.environ:
        pytest.skip("built without lumagauge-qc")
    fifo = tmp_path / "fifo"
    os.mkfifo(fifo)
    descriptor = os.open(fifo, os.O_RDWR)  # a writer, or opening the other end would wait
    timer = threading.Timer(0.5, os.kill, (os.getpid(), signal.SIGINT))
    started = time.monotonic()
    timer.start()
    try:
        with pytest.raises(KeyboardInterrupt):
            CALLS[name](fifo)
        assert time.monotonic() - started < 2.5  # with patience for a busy machine
    finally:
        timer.join()
        os.close(descriptor)


def test_the_interpreter_ends_while_daemon_threads_measure():
    program = """if True:
        import itertools, os, threading, time, lumagauge, numpy
        stack = numpy.broadcast_to(numpy.zeros((288, 352), numpy.uint8), (10**7, 288, 352))
        meter = lumagauge.Meter(352, 288)
        calls = [lambda: lumagauge.measure(stack, threads=1),
                 lambda: lumagauge.measure(itertools.repeat(stack[0]), threads=1),
                 lambda: lumagauge.measure((frame for frame in stack), threads=1),
                 lambda: [None for frame in stack if not meter.add(frame)]]
        if "LUMAGAUGE_QC" in os.environ:
            calls += [lambda: lumagauge.check("/dev/zero", raw=True, size=(352, 288)),
                      lambda: list(lumagauge.frames("/dev/zero", raw=True, size=(352, 288)))]
        for call in calls:
            threading.Thread(target=call, daemon=True).start()
        time.sleep(0.3)"""
    done = subprocess.run([sys.executable, "-c", program], text=True, capture_output=True,
                          timeout=60)
    assert (done.returncode, done.stderr) == (0, "")
