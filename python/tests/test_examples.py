# Copyright (c) the molpotential authors.
# SPDX-License-Identifier: BSD-3-Clause
import json
import pathlib
import subprocess
import sys

import pytest

ROOT = pathlib.Path(__file__).resolve().parents[1]
SCRIPTS = sorted((ROOT / "examples").glob("*.py"))
NOTEBOOKS = sorted((ROOT / "examples").glob("*.ipynb"))


@pytest.mark.parametrize("script", SCRIPTS, ids=lambda path: path.stem)
def test_script_runs(tmp_path, script):
    subprocess.run([sys.executable, script], cwd=tmp_path, check=True, timeout=120)


@pytest.mark.parametrize("notebook", NOTEBOOKS, ids=lambda path: path.stem)
def test_notebook_runs_and_draws(tmp_path, notebook):
    command = [sys.executable, "-m", "nbconvert", "--to", "notebook", "--execute"]
    command += ["--output-dir", tmp_path, notebook]
    subprocess.run(command, check=True, timeout=300)
    cells = json.loads((tmp_path / notebook.name).read_text())["cells"]
    shown = [out.get("data", {}) for cell in cells for out in cell.get("outputs", [])]
    assert any("image/png" in data for data in shown)


def test_there_are_examples():
    assert len(SCRIPTS) == 5 and len(NOTEBOOKS) == 2


def test_types_are_consistent():
    command = [sys.executable, "-m", "mypy", "--config-file", ROOT / "pyproject.toml"]
    command += ["--cache-dir", "/dev/null", ROOT / "molpotential"]
    subprocess.run(command, check=True, timeout=300)
