# SPDX-License-Identifier: BSD-2-Clause
import os
import subprocess

import numpy
import pytest

SKIPPED = 77  # CTest's sign that a test did not run


def pytest_sessionfinish(session, exitstatus):
    report = session.config.pluginmanager.getplugin("terminalreporter")
    if exitstatus == 0 and "skipped" in report.stats and "passed" not in report.stats:
        session.exitstatus = SKIPPED


@pytest.fixture(scope="session")
def run():
    """Runs one of the commands, "LUMAGAUGE" or "LUMAGAUGE_QC", in a folder."""
    def call(command, folder, *arguments):
        if command not in os.environ:
            pytest.skip(f"{command} names no command: it was not built")
        return subprocess.run([os.environ[command], *map(str, arguments)], cwd=folder, text=True,
                              capture_output=True)
    return call


@pytest.fixture(scope="session")
def video():
    """40 frames of 288x352 with detail that moves, stands still and goes black."""
    frames = numpy.empty((40, 288, 352), numpy.uint8)
    y, x = numpy.mgrid[0:288, 0:352]
    for i, frame in enumerate(frames):
        shift = min(i, 20)
        frame[:] = (x // 8 * 31 + y * 3 + (x + shift) * (y - 2 * shift) // 64) % 200 + 20
    frames[34:] = 16
    return frames


@pytest.fixture(scope="session")
def raw_file(video, tmp_path_factory):
    path = tmp_path_factory.mktemp("raw") / "video.yuv"
    chroma = bytes([128]) * (288 * 352 // 2)
    path.write_bytes(b"".join(frame.tobytes() + chroma for frame in video))
    return path
