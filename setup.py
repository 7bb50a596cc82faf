# SPDX-License-Identifier: BSD-2-Clause
"""Builds the Python package for setuptools: what CMake installs as component `python`."""

import os
import pathlib
import re
import subprocess
import sys

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

ROOT = pathlib.Path(__file__).resolve().parent


class CMakeBuild(build_ext):
    def run(self):
        if self.inplace or getattr(self, "editable_mode", False):
            sys.exit("lumagauge cannot be installed in editable mode; for work on it, build with "
                     "script/build and set PYTHONPATH to build/release/python")
        build = pathlib.Path(self.build_temp).resolve() / "cmake"
        target = pathlib.Path(self.build_lib).resolve()
        jobs = os.environ.get("CMAKE_BUILD_PARALLEL_LEVEL", str(os.cpu_count()))
        for arguments in (
                ["-S", ROOT, "-B", build, "-DCMAKE_BUILD_TYPE=Release", "-DBUILD_TESTING=OFF",
                 "-DLUMAGAUGE_PYTHON=ON", f"-DPython3_EXECUTABLE={sys.executable}",
                 f"-DLUMAGAUGE_PYTHON_DIR={target}"],
                ["--build", build, "--target", "lumagauge_python", "--parallel", jobs],
                ["--install", build, "--component", "python"]):
            subprocess.run(["cmake", *arguments], check=True)


version = re.search(r'#define LUMAGAUGE_VERSION "(.+)"',
                    (ROOT / "include/lumagauge/lumagauge.h").read_text())
setup(
    version=version[1],
    packages=[],
    # Names no sources: it says that what is built is of one platform and one Python.
    ext_modules=[Extension("lumagauge._core", sources=[])],
    cmdclass={"build_ext": CMakeBuild})
