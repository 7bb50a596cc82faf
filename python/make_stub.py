# SPDX-License-Identifier: BSD-2-Clause
"""make_stub.py TEMPLATE PACKAGE: writes the stub of lumagauge._indicators into the package, with
the names that its _core module has. Lines of the template that hold {name} appear once an
indicator; a \\n in them breaks them."""

import importlib.machinery
import importlib.util
import pathlib
import sys

template, package = map(pathlib.Path, sys.argv[1:])
for suffix in importlib.machinery.EXTENSION_SUFFIXES:
    if (package / f"_core{suffix}").exists():
        break
spec = importlib.util.spec_from_file_location("_core", package / f"_core{suffix}")
core = importlib.util.module_from_spec(spec)
spec.loader.exec_module(core)
names = [line[0] for line in core.indicators()]
lines = []
for line in template.read_text().splitlines():
    for name in names if "{name}" in line else [""]:
        lines.append(line.replace("{name}", name).replace("\\n", "\n"))
(package / "_indicators.pyi").write_text("\n".join(lines) + "\n")
