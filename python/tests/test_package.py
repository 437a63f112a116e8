# Copyright (c) the molpotential authors.
# SPDX-License-Identifier: BSD-3-Clause
import os
import pathlib
import resource
import subprocess
import sys

import pytest

import molpotential as mp

ROOT = pathlib.Path(__file__).resolve().parents[1]


@pytest.mark.skipif("MOLPOTENTIAL_BUILD_DIR" not in os.environ, reason="names no build to install")
def test_pip_installs_a_package_that_runs_by_itself(tmp_path):
    env = {name: value for name, value in os.environ.items() if name != "PYTHONPATH"}
    venv = tmp_path / "venv"
    subprocess.run([sys.executable, "-m", "venv", "--system-site-packages", venv], check=True)
    python = venv / "bin" / "python3"
    install = [python, "-m", "pip", "install", "--quiet", "--no-build-isolation", "--no-deps"]
    subprocess.run([*install, ROOT], check=True, env=env, timeout=600)
    program = (
        "import molpotential as mp; m = mp.Molecule.from_smiles('CCO');"
        "r = mp.minimize(mp.ForceField('mmff94', m), m.coords); assert r.converged;"
        "print(mp.__file__)"
    )
    found = subprocess.run(
        [python, "-c", program], check=True, env=env, cwd=tmp_path, capture_output=True, text=True
    )
    assert found.stdout.startswith(str(venv))


def test_ten_thousand_functions_leave_no_memory_behind(butane):
    class Zero(mp.Function):
        def energy_and_gradient(self, x):
            return 0.0, x * 0.0

    def cycle(count):
        for _ in range(count):
            ff = mp.ForceField("mmff94", butane)
            ff.add(Zero())
            ff.energy_and_gradient(butane.coords)
        return resource.getrusage(resource.RUSAGE_SELF).ru_maxrss

    before = cycle(500)
    assert cycle(10_000) - before < 4096  # KiB: 0.4 a cycle
