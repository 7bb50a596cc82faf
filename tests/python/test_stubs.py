# SPDX-License-Identifier: BSD-2-Clause
import os
import pathlib
import subprocess
import sys

import lumagauge
import pytest


# What mypy makes of code without a stub, and pybind11's own metaclass.
NO_DISAGREEMENT = """
lumagauge._check.field
lumagauge._(check|measure).Iterable.*
lumagauge._check.Severity
lumagauge._core.Meter
lumagauge._qc.Reader
"""


def mypy(folder, *arguments):
    pytest.importorskip("mypy", reason="mypy is not there")
    packages = pathlib.Path(lumagauge.__file__).parent.parent
    return subprocess.run([sys.executable, "-m", *arguments], cwd=folder, text=True,
                          capture_output=True, env={**os.environ, "MYPYPATH": str(packages)})


def test_stubs_agree_with_the_modules(tmp_path):
    if "LUMAGAUGE_QC" not in os.environ:
        pytest.skip("built without lumagauge-qc, so without _qc")
    (tmp_path / "allowed").write_text(NO_DISAGREEMENT)
    done = mypy(tmp_path, "mypy.stubtest", "lumagauge", "--allowlist",
                "allowed", "--ignore-unused-allowlist")
    assert done.returncode == 0, done.stdout + done.stderr


def test_a_type_checker_knows_the_indicators(tmp_path):
    (tmp_path / "use.py").write_text(
        "import lumagauge\n"
        "for record in lumagauge.frames('movie.mp4'):\n"
        "    reveal_type(record.blur)\n"
        "    record.blurr\n"
        "reveal_type(lumagauge.check('movie.mp4').events[0].worst)\n"
        "reveal_type(lumagauge.INDICATORS.noise.bit)\n")
    done = mypy(tmp_path, "mypy", "--strict", "--no-incremental", "use.py")
    lines = [line.partition(": ")[2] for line in done.stdout.splitlines()]
    assert lines[:4] == ['note: Revealed type is "Union[builtins.float, None]"',
                         'error: "FrameRecord" has no attribute "blurr"  [attr-defined]',
                         'note: Revealed type is "Union[builtins.float, None]"',
                         'note: Revealed type is "builtins.int"'], done


def test_pip_gets_the_version_of_the_library(tmp_path):
    pytest.importorskip("setuptools", reason="setuptools is not there")
    setup = pathlib.Path(__file__).parents[2] / "setup.py"
    done = subprocess.run([sys.executable, setup, "--version"], cwd=tmp_path, text=True,
                          capture_output=True)
    assert done.stdout.split()[-1:] == [lumagauge.__version__], done
