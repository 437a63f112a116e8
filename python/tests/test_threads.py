# Copyright (c) the molpotential authors.
# SPDX-License-Identifier: BSD-3-Clause
import logging
import os
import signal
import subprocess
import sys
import threading
import time
import warnings
from concurrent.futures import ThreadPoolExecutor

import numpy as np
import pytest
from conftest import DATA

import molpotential as mp


@pytest.fixture(scope="session")
def path(tmp_path_factory):
    """A chain long enough for runs of a second."""
    place = tmp_path_factory.mktemp("chain") / "chain.sdf"
    mp.write(place, mp.Molecule.from_smiles("C" * 50))
    return place


@pytest.fixture
def chain(path):
    mol = mp.read(path)[0]
    return mol, mp.ForceField("mmff94", mol)


def test_others_go_on_while_the_library_works(chain):
    mol, ff = chain
    ticks = []
    done = threading.Event()

    def tick():
        while not done.is_set():
            ticks.append(time.perf_counter())
            time.sleep(0.001)

    work = [
        lambda: mp.check(ff, mol.coords),
        lambda: mp.normal_modes(ff, mol.coords),
        lambda: mp.minimize_conformers(ff, [mol.coords] * 20, max_iterations=200),
        lambda: mp.minimize(ff, mol.coords, "redundant", max_iterations=200),
    ]
    for call in work:
        done.clear()
        ticks.clear()
        thread = threading.Thread(target=tick)
        thread.start()
        begun = time.perf_counter()
        call()
        ended = time.perf_counter()
        done.set()
        thread.join()
        inside = np.array([t for t in ticks if begun < t < ended])
        assert ended - begun > 0.05
        # With the lock held throughout there would be a gap as long as the work.
        gaps = np.diff(np.r_[begun, inside, ended])
        assert len(inside) > 5 and gaps.max() < 0.6 * (ended - begun), (call, gaps.max())


def test_two_minimisations_overlap(chain):
    mol, ff = chain
    spans = []

    def run(_):
        begun = time.perf_counter()
        result = mp.minimize(ff, mol.coords, max_iterations=200)
        spans.append((begun, time.perf_counter()))
        return result

    with ThreadPoolExecutor(2) as pool:
        first, second = pool.map(run, range(2))
    overlap = min(end for _, end in spans) - max(begin for begin, _ in spans)
    assert overlap > 0.5 * min(end - begin for begin, end in spans)
    # Of one function: neither disturbs the other.
    assert first.energy == second.energy and np.array_equal(first.coords, second.coords)


def test_threads_share_functions_with_python_terms(aspirin):
    class Spring(mp.Function):
        def energy_and_gradient(self, x):
            return float(x @ x), 2.0 * x

    ff = mp.ForceField("mmff94", aspirin)
    ff.add(Spring())
    v = mp.Coordinates(ff, "zmatrix", aspirin.coords)
    x = aspirin.coords.ravel()
    starts = [x + 0.01 * np.random.default_rng(k).normal(size=x.size) for k in range(16)]
    expected = [ff.energy_and_gradient(s) for s in starts]
    internal = v.energy_and_gradient(v.start)

    def work(k):
        for _ in range(20):
            energy, gradient = ff.energy_and_gradient(starts[k])
            assert energy == expected[k][0] and np.array_equal(gradient, expected[k][1])
            assert v.energy_and_gradient(v.start)[0] == internal[0]
        return mp.minimize(ff, starts[k], max_iterations=20).energy

    with ThreadPoolExecutor(4) as pool:
        found = list(pool.map(work, range(16)))
    assert found == [mp.minimize(ff, s, max_iterations=20).energy for s in starts]


@pytest.mark.parametrize(
    "call",
    [
        "mp.minimize(ff, mol.coords, gradient_tolerance=1e-14, max_iterations=10**9)",
        "mp.minimize_conformers(ff, [mol.coords] * 500, threads=2)",
        "mp.scan(ff, mol.coords, 'torsion', mol.rotatable_torsions[9], range(-180, 180))",
        "mp.minimize(ff, mol.coords, 'zmatrix', 1e-14, 10**9,"
        " constraints=[mp.Constraint('distance', (0, 9), 4.0)])",
    ],
)
def test_ctrl_c_ends_a_run_at_once(path, call):
    code = (
        "import molpotential as mp\n"
        f"mol = mp.read({str(path)!r})[0]\n"
        "ff = mp.ForceField('mmff94', mol)\n"
        "print('ready', flush=True)\n"
        f"try:\n    {call}\n"
        "except KeyboardInterrupt:\n    print('interrupted', flush=True)\n"
        "print(mp.minimize(ff, mol.coords, max_iterations=3).iterations)\n"
    )
    process = subprocess.Popen([sys.executable, "-c", code], stdout=subprocess.PIPE, text=True)
    assert process.stdout.readline() == "ready\n"
    time.sleep(0.7)
    os.kill(process.pid, signal.SIGINT)
    begun = time.monotonic()
    rest = process.communicate(timeout=30)[0]
    assert rest == "interrupted\n3\n" and time.monotonic() - begun < 5.0


def test_messages_are_warnings_and_may_be_errors(tmp_path, caplog):
    path = tmp_path / "two.pdb"
    atom = "ATOM      1  O   HOH A   1       0.000   0.000   0.000  1.00  0.00           O\n"
    path.write_text("MODEL        1\n" + atom + "ENDMDL\nMODEL        2\n" + atom + "ENDMDL\n")
    with pytest.warns(RuntimeWarning, match="model"):
        assert len(mp.read(path)) == 1
    assert len(mp.read(path, model=0)) == 2
    with warnings.catch_warnings():
        warnings.simplefilter("error")
        with pytest.raises(RuntimeWarning, match="model"):
            mp.read(path)
        mol = mp.read(DATA / "butane.sdf")[0]
        with caplog.at_level(logging.INFO, logger="molpotential"):
            mp.minimize(mp.ForceField("mmff94", mol), mol.coords)
