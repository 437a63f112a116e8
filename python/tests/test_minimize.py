# Copyright (c) the molpotential authors.
# SPDX-License-Identifier: BSD-3-Clause
import numpy as np
import pytest
import rdkit.ForceField.rdForceField  # noqa: F401
from rdkit import Chem
from rdkit.Chem import rdDistGeom, rdForceFieldHelpers
from scipy.optimize import minimize as scipy_minimize

import molpotential as mp
from molpotential.plotting import Recorder, plot_run


@pytest.mark.parametrize("kind", ["cartesian", "zmatrix", "redundant", "degfree"])
def test_minimum_is_the_same_in_every_system(butane, kind):
    ff = mp.ForceField("mmff94", butane)
    reference = mp.minimize(ff, butane.coords)
    result = mp.minimize(ff, butane.coords, coordinates=kind, raise_on_failure=True)
    assert result.converged and result.coords.shape == butane.coords.shape
    assert result.energy == pytest.approx(reference.energy, abs=1e-4)
    assert "energy" in repr(result) and "<table>" in result._repr_html_()


def test_variables_there_and_back(aspirin):
    ff = mp.ForceField("mmff94", aspirin)
    for kind in ("zmatrix", "torsion", "torsion-rigid"):
        v = mp.Coordinates(ff, kind, aspirin.coords)
        assert np.allclose(v.cartesian(v.start), aspirin.coords, atol=1e-9)
        energy, gradient = v.energy_and_gradient(v.start)
        assert energy == pytest.approx(ff.energy(aspirin.coords), rel=1e-9)
        assert v.scales.shape == gradient.shape == v.start.shape
        q = v.start + 0.01 * np.random.default_rng(3).normal(size=len(v.start))
        step = 1e-5 * np.random.default_rng(4).normal(size=len(q))
        slope = (v.energy(q + step) - v.energy(q - step)) / 2
        assert slope == pytest.approx(v.energy_and_gradient(q)[1] @ step, rel=1e-4, abs=1e-8)
        change = (v.energy_and_gradient(q + step)[1] - v.energy_and_gradient(q - step)[1]) / 2
        assert np.allclose(change, v.hessian(q) @ step, rtol=1e-3, atol=1e-5)


def test_fixed_atoms_do_not_move_at_all(aspirin):
    ff = mp.ForceField("mmff94", aspirin)
    fixed = [0, 1, 2, 3, 4, 5]
    result = mp.minimize(ff, aspirin.coords, fixed=fixed)
    assert np.array_equal(result.coords[fixed], aspirin.coords[fixed])
    assert not np.array_equal(result.coords, aspirin.coords)
    with pytest.raises(mp.InputError, match="999"):
        mp.minimize(ff, aspirin.coords, fixed=[999])


def test_callback_sees_coordinates_stops_and_raises(butane):
    ff = mp.ForceField("mmff94", butane)
    recorder = Recorder()
    result = mp.minimize(ff, butane.coords, callback=recorder)
    assert ff.energy(recorder.coords[-1]) == pytest.approx(result.energy, rel=1e-12)
    assert len(recorder.frame()) == len(recorder.energies) == result.iterations + 1
    assert len(plot_run(recorder).lines) == 1
    stopped = mp.minimize(ff, butane.coords, callback=lambda i, *_: i < 3)
    assert not stopped.converged and stopped.iterations == 3
    with pytest.raises(mp.ConvergenceError) as caught:
        mp.minimize(ff, butane.coords, max_iterations=1, raise_on_failure=True)
    assert caught.value.result.iterations == 1

    def fail(*_):
        raise KeyError("mine")

    with pytest.raises(KeyError, match="mine"):
        mp.minimize(ff, butane.coords, callback=fail)


def test_scipy_takes_a_function_as_it_is(butane):
    ff = mp.ForceField("mmff94", butane)
    found = scipy_minimize(
        ff.energy_and_gradient, butane.coords.ravel(), jac=True, hess=ff.hessian, method="Newton-CG"
    )
    assert found.fun == pytest.approx(mp.minimize(ff, butane.coords).energy, abs=1e-4)


def test_ase_calculator(butane):
    from ase.optimize import BFGS
    from ase.units import kcal, mol

    from molpotential.ase import MolPotential

    atoms = butane.to_ase()
    atoms.calc = MolPotential(butane)
    ff = mp.ForceField("mmff94", butane)
    unit = kcal / mol
    assert atoms.get_potential_energy() == pytest.approx(ff.energy(butane.coords) * unit, rel=1e-12)
    BFGS(atoms, logfile=None).run(fmax=0.005)
    best = mp.minimize(ff, butane.coords).energy
    assert atoms.get_potential_energy() == pytest.approx(best * unit, abs=1e-4)


@pytest.mark.parametrize("threads", [1, 2])
def test_rdkit_conformers_in_place(threads):
    rdmol = Chem.AddHs(Chem.MolFromSmiles("CC(C)Cc1ccc(C(C)C(=O)O)cc1"))
    ids = list(rdDistGeom.EmbedMultipleConfs(rdmol, 6, randomSeed=7))
    theirs = Chem.Mol(rdmol)
    reference = rdForceFieldHelpers.MMFFOptimizeMoleculeConfs(theirs, maxIters=20000)
    kept = rdmol.GetConformer(ids[-1]).GetPositions()
    results = mp.minimize_rdkit(rdmol, conf_ids=ids[:-1], threads=threads)
    assert all(converged for converged, _ in results) and len(results) == len(ids) - 1
    for (_, energy), (_, other) in zip(results, reference):
        assert energy <= other + 0.05
    assert np.array_equal(rdmol.GetConformer(ids[-1]).GetPositions(), kept)
    properties = rdForceFieldHelpers.MMFFGetMoleculeProperties(rdmol)
    field = rdForceFieldHelpers.MMFFGetMoleculeForceField(rdmol, properties, confId=ids[0])
    assert field.CalcEnergy() == pytest.approx(results[0][1], rel=1e-6)
