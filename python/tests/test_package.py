# Copyright (c) the molpotential authors.
# SPDX-License-Identifier: BSD-3-Clause
import gc
import os
import pathlib
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
    # The program comes along, and batches use it; neither needs the build tree.
    sdf = ROOT.parent / "data" / "butane.sdf"
    run = [venv / "bin" / "molpot", "minimize", sdf, "-o", tmp_path / "a.sdf"]
    subprocess.run(run, check=True, env=env, cwd=tmp_path)
    batch = [python, "-m", "molpotential.distributed", sdf, "-o", tmp_path / "b.sdf"]
    subprocess.run(batch, check=True, env=env, cwd=tmp_path)
    assert (tmp_path / "a.sdf").read_bytes() == (tmp_path / "b.sdf").read_bytes()
    readme = (ROOT / "README.md").read_text()
    example = readme[readme.index("import molpotential") :].split("```")[0]
    env["MPLBACKEND"] = "agg"
    subprocess.run([python, "-c", example], check=True, env=env, cwd=tmp_path)
    assert (tmp_path / "run.png").exists()
    libraries = list((venv / "lib").rglob("molpotential/lib/*.so*"))
    assert len(libraries) == 4
    for library in libraries:
        text = subprocess.run(["readelf", "-d", library], capture_output=True, text=True).stdout
        assert "[$ORIGIN]" in text


def test_ten_thousand_functions_leave_nothing_behind(butane):
    class Zero(mp.Function):
        def energy_and_gradient(self, x):
            return 0.0, x * 0.0

    def callback(*_):
        return True

    def once(k):
        mol = butane.copy()
        ff = mp.ForceField("mmff94", mol)
        ff.add(Zero())
        ff.add(mp.PositionRestraint("[#6]"))
        ff.energy_and_gradient(mol.coords)
        if k % 20 == 0:
            v = mp.Coordinates(ff, "zmatrix", mol.coords, fixed=[0])
            v.energy_and_gradient(v.start)
            held = mp.Constraint("distance", (0, 3), 3.0)
            mp.minimize(ff, mol.coords, constraints=[held], max_iterations=2, callback=callback)
            for wrong in (lambda: mp.minimize(ff, [0.0]), lambda: mol.select("nonsense word")):
                with pytest.raises(mp.InputError):
                    wrong()

    def cycle(count):
        for k in range(count):
            once(k)
        gc.collect()
        memory = int(pathlib.Path("/proc/self/statm").read_text().split()[1]) * 4  # KiB
        counts = [sys.getrefcount(thing) for thing in (None, butane, callback, Zero, mp.Constraint)]
        return memory, len(gc.get_objects()), counts

    before = cycle(1000)
    after = cycle(10_000)
    assert after[0] - before[0] < 4096  # 0.4 KiB a cycle
    assert after[1] - before[1] < 50
    assert max(abs(a - b) for a, b in zip(after[2], before[2])) < 250  # 500 cycles do everything
