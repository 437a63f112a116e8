# Copyright (c) the molpotential authors.
# SPDX-License-Identifier: BSD-3-Clause
import math

import numpy as np
import pytest
from conftest import DATA

import molpotential as mp
from molpotential.plotting import plot_scan


@pytest.fixture
def minimum(butane):
    ff = mp.ForceField("mmff94", butane)
    return ff, mp.minimize(ff, butane.coords, gradient_tolerance=1e-8).coords


def test_multiplier_is_the_slope_of_the_constrained_minimum(minimum):
    ff, x = minimum

    def energy(value):
        held = mp.Constraint("distance", (0, 3), value)
        return mp.minimize(ff, x, constraints=[held], gradient_tolerance=1e-6)

    r = np.linalg.norm(x[0] - x[3]) - 0.2
    result = energy(r)
    assert result.converged
    assert np.linalg.norm(result.coords[0] - result.coords[3]) == pytest.approx(r, abs=1e-5)
    slope = (energy(r + 1e-3).energy - energy(r - 1e-3).energy) / 2e-3
    assert result.multipliers[0] == pytest.approx(slope, rel=1e-3)


@pytest.mark.parametrize("coordinates", ["cartesian", "zmatrix", "redundant"])
def test_constraints_hold_in_every_system(minimum, coordinates):
    ff, x = minimum
    held = [mp.Constraint("torsion", (0, 1, 2, 3), -60.0), mp.Constraint("angle", (0, 1, 2), 115.0)]
    result = mp.minimize(ff, x, coordinates=coordinates, constraints=held)
    assert result.converged, result.message
    u, v, w = np.diff(result.coords[:4], axis=0)
    torsion = math.degrees(
        math.atan2(np.linalg.norm(v) * u @ np.cross(v, w), np.cross(u, v) @ np.cross(v, w))
    )
    angle = math.degrees(math.acos(-u @ v / np.linalg.norm(u) / np.linalg.norm(v)))
    assert torsion == pytest.approx(-60.0, abs=1e-3) and angle == pytest.approx(115.0, abs=1e-3)


def test_bounds_are_active_or_idle(minimum):
    ff, x = minimum
    r = np.linalg.norm(x[0] - x[3])
    idle = mp.minimize(ff, x, constraints=[mp.Constraint("distance", (0, 3), low=r - 1, high=r + 1)])
    assert idle.converged and idle.multipliers[0] == pytest.approx(0.0, abs=1e-6)
    active = mp.minimize(ff, x, constraints=[mp.Constraint("distance", (0, 3), high=r - 0.3)])
    assert active.converged and active.multipliers[0] < 0.0
    for wrong in (("distance", (0, 3, 1)), ("distance", (0, 99)), ("length", (0, 1))):
        with pytest.raises(mp.InputError):
            mp.minimize(ff, x, constraints=[mp.Constraint(*wrong)])


def test_modes_of_a_molecule_and_of_a_part(minimum):
    ff, x = minimum
    modes = mp.normal_modes(ff, x)
    n = len(x)
    assert modes.frequencies.shape == (3 * n - 6,) and modes.imaginary == 0
    assert (np.diff(modes.frequencies) >= 0).all() and 2800 < modes.frequencies[-1] < 3200
    # ½ Σ hcν over the modes; hc = 2.8591e-3 kcal/mol per cm⁻¹.
    assert modes.zero_point_energy == pytest.approx(
        0.5 * 2.859144e-3 * modes.frequencies.sum(), rel=1e-5
    )
    part = mp.normal_modes(ff, x, fixed=range(4))
    assert part.frequencies.shape == (3 * (n - 4),)
    assert np.abs(part.modes[:, :4]).max() == 0.0


def test_scan_of_butane(butane):
    ff = mp.ForceField("mmff94", butane)
    carbons = [int(i) for i in np.flatnonzero(butane.numbers == 6)]
    chain = butane.match("CCCC")[0]
    assert sorted(chain) == carbons
    found = mp.scan(ff, butane.coords, "torsion", chain, range(-180, 181, 30))
    assert all(found.converged)
    assert found.energies[0] == pytest.approx(found.energies[-1], abs=1e-4)
    assert np.allclose(found.energies, found.energies[::-1], atol=1e-3)  # the mirror image
    assert found.energies.argmax() == 6
    near = mp.scan(ff, butane.coords, "torsion", chain, [-152.0, -150.0, -148.0])
    rise = (near.energies[2] - near.energies[0]) / 4.0
    assert near.slopes[1] == pytest.approx(rise, rel=1e-2)
    assert plot_scan(found).get_xlim()[0] < -180
    with pytest.raises(mp.InputError, match="finite"):
        mp.scan(ff, butane.coords, "torsion", chain, [0.0, math.inf])


def test_expression_has_exact_derivatives(butane):
    text = "0.5*k*(distance(0,1)-distance(2,3))**2 + cos(3*dihedral(0,1,2,3))*angle(0,1,2) + x(4)^2"
    term = mp.Expression(text, k=10.0).bind(butane)
    found = mp.check(term, butane.coords)
    assert found.gradient < 1e-7 and found.hessian < 1e-5
    x = butane.coords
    u, v = x[0] - x[1], x[2] - x[1]
    angle = math.acos(u @ v / np.linalg.norm(u) / np.linalg.norm(v))
    assert mp.Expression("angle(0,1,2)").bind(butane).energy(x) == pytest.approx(angle, rel=1e-12)
    with pytest.raises(mp.InputError, match="position"):
        mp.Expression("2 * (x(1)")


def test_ligand_in_a_host():
    host = mp.read(DATA / "imatinib.sdf")[0]
    ligand = mp.read(DATA / "benzene.sdf")[0]
    ligand.coords = ligand.coords - ligand.coords.mean(axis=0) + host.coords[0] + [0.0, 0.0, 4.0]
    field = mp.HostField(host, cutoff=0.0)
    function = field.function(ligand)
    parts = function.energies(ligand.coords)
    both = mp.Molecule.from_arrays(
        np.r_[ligand.numbers, host.numbers],
        np.r_[ligand.coords, host.coords],
        np.r_[ligand.bonds, host.bonds + np.array([len(ligand), len(ligand), 0])],
        np.r_[ligand.charges, host.charges],
    )
    apart = mp.ForceField("mmff94", ligand).energy(ligand.coords)
    apart += mp.ForceField("mmff94", host).energy(host.coords)
    together = mp.ForceField("mmff94", both).energy(both.coords)
    assert parts["interaction"] == pytest.approx(together - apart, rel=1e-6, abs=1e-6)
    result = mp.minimize(function, ligand.coords)
    assert result.converged and result.energy < function.energy(ligand.coords)
    joined = field.function(ligand, flexible=4.0)
    assert len(joined.molecule) > len(ligand)
    assert len(field.ligand_of(joined.molecule)) == len(ligand)
    assert len(field.host_of(joined.molecule)) == len(host)


def test_cutoff_dielectric_and_charges():
    mol = mp.read(DATA / "imatinib.sdf")[0]
    ff = mp.ForceField("mmff94", mol)
    assert ff.charges.sum() == pytest.approx(mol.charges.sum(), abs=1e-6)
    water = mp.ForceField("mmff94", mol, dielectric=80.0)
    charges = [f.components(mol.coords)["Electrostatics"] for f in (ff, water)]
    assert charges[1] == pytest.approx(charges[0] / 80.0, rel=1e-9)
    near = mp.ForceField("mmff94", mol, cutoff=8.0)
    assert near.energy(mol.coords) != ff.energy(mol.coords)
    assert mp.check(near, mol.coords, hessian=False).gradient < 1e-6
    with pytest.raises(mp.InputError, match="cutoff"):
        mp.ForceField("mmff94", mol, cutoff=-1.0)
