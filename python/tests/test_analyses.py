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


def test_every_constraint_is_met_and_its_multiplier_the_slope(minimum, butane):
    ff, x = minimum
    reference = x[:4] + 0.3 * np.random.default_rng(2).normal(size=(4, 3))
    away = x + 0.05 * np.random.default_rng(3).normal(size=x.shape)
    butane.coords = x

    def centroids(y):
        return np.linalg.norm(y[[0, 4, 5]].mean(axis=0) - y[[3, 2]].mean(axis=0))

    def height(y):
        normal = np.cross(y[0] - y[1], y[2] - y[1])
        return normal @ (y[3] - y[1]) / np.linalg.norm(normal)

    def difference(y):
        return np.linalg.norm(y[1] - y[0]) - np.linalg.norm(y[3] - y[2])

    cases = [
        ("distance-difference", (0, 1, 2, 3), difference, 0.1, {}),
        ("centroid-distance", ([0, 4, 5], [3, 2]), centroids, centroids(x) - 0.2, {}),
        ("plane-height", (0, 1, 2, 3), height, 0.4, {}),
        ("rmsd", range(4), lambda y: mp.rmsd(reference, y[:4]), 0.2, {"reference": reference}),
    ]
    for kind, atoms, measure, value, more in cases:

        def run(target):
            held = mp.Constraint(kind, atoms, target, **more)
            return mp.minimize(ff, away, constraints=[held], gradient_tolerance=1e-6)

        result = run(value)
        assert result.converged, (kind, result.message)
        assert measure(result.coords) == pytest.approx(value, abs=2e-6), kind
        slope = (run(value + 1e-3).energy - run(value - 1e-3).energy) / 2e-3
        assert result.multipliers[0] == pytest.approx(slope, rel=2e-3, abs=1e-4), kind
    # Without a value it stays what it is at the start, wherever the molecule is.
    stay = mp.minimize(ff, away, constraints=[mp.Constraint("distance", (0, 3))])
    assert np.linalg.norm(stay.coords[0] - stay.coords[3]) == pytest.approx(
        np.linalg.norm(away[0] - away[3]), abs=1e-5
    )
    wrong = [("rmsd", (0, 1)), ("centroid-distance", (0, 1, 2)), ("plane-height", (0, 1, 2))]
    for case in (*wrong, ("distance", (0, 3), -1.0), ("angle", (0, 1, 2), 190.0)):
        with pytest.raises(mp.InputError):
            mp.minimize(ff, x, constraints=[mp.Constraint(*case)])


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
    frames = modes.animation(0, frames=8, amplitude=0.3)
    moved = np.linalg.norm(frames - x, axis=2).max(axis=1)
    assert moved[0] == 0.0 and moved[2] == pytest.approx(0.3, rel=1e-12)
    soft = mp.normal_modes(ff, x, temperature=500.0, lowest_frequency=100.0)
    assert soft.entropy > modes.entropy and soft.free_energy < modes.free_energy


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


def test_map_of_two_coordinates(butane, tmp_path):
    ff = mp.ForceField("mmff94", butane)
    chain = butane.match("CCCC")[0]
    torsions, distances = [-150.0, -120.0, -90.0], [1.50, 1.53]
    seen = []
    found = mp.scan(
        ff,
        butane.coords,
        "torsion",
        chain,
        torsions,
        second=("distance", chain[1:3], distances),
        callback=lambda run, runs, energy: seen.append((run, runs)),
    )
    assert found.energies.shape == (3, 2) and found.converged.all()
    assert seen[-1] == (12, 12)
    for i, torsion in enumerate(torsions):
        for j, distance in enumerate(distances):
            held = [
                mp.Constraint("torsion", chain, torsion),
                mp.Constraint("distance", chain[1:3], distance),
            ]
            alone = mp.minimize(ff, found.coords[i, j], constraints=held)
            assert found.energies[i, j] == pytest.approx(alone.energy, abs=1e-4)
            assert np.allclose(
                found.slopes[i, j] * [180.0 / math.pi, 1.0], alone.multipliers, atol=2e-2
            )
    assert found.frame().shape[0] == 6 and plot_scan(found).get_ylabel() == "distance 2 (Å)"
    mp.write(tmp_path / "map.sdf", found.molecules(butane))
    back = mp.read(tmp_path / "map.sdf")
    assert [m.data["Torsion (degrees)"] for m in back[::2]] == ["-150.0000", "-120.0000", "-90.0000"]
    bent = mp.scan(
        ff, butane.coords, "angle", chain[:3], [105.0, 115.0],
        constraints=[mp.Constraint("torsion", chain, -60.0)],
    )
    butane.coords = bent.coords[1]
    assert butane.measure(chain) == pytest.approx(-60.0, abs=1e-3)
    assert butane.measure(chain[:3]) == pytest.approx(115.0, abs=1e-3)
    stopped = mp.scan(
        ff, butane.coords, "torsion", chain, torsions, callback=lambda run, *_: run < 2
    )
    assert np.isnan(stopped.energies).sum() == 1 and not stopped.converged[2]


def test_comparison_of_coordinates(butane):
    ff = mp.ForceField("mmff94", butane)
    found = mp.compare(ff, butane.coords)
    assert set(found.results) | set(found.refused) == set(mp.COORDINATES)
    table = found.frame()
    full = table.loc[["cartesian", "degfree", "redundant", "internal", "zmatrix"]]
    assert full["converged"].all() and np.ptp(full["energy"]) < 1e-4
    assert table.loc["rigid", "variables"] == 7 and "zmatrix" in repr(found)
    refused = mp.compare(ff, butane.coords, fixed=[0])
    assert "degfree" in refused.refused


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
    pairs = [row for row in zip(*function.interactions(ligand.coords).values()) if row[2]]
    assert sum(energy for *_, energy in pairs) == pytest.approx(parts["interaction"], abs=1e-6)
    assert {(len(own), len(others)) for _, own, others, _ in pairs} == {(1, 1)}
    result = mp.minimize(function, ligand.coords)
    assert result.converged and result.energy < function.energy(ligand.coords)
    assert function.strain(result.coords) == pytest.approx(
        function.energies(result.coords)["ligand"]
        - mp.minimize(mp.ForceField("mmff94", ligand), result.coords).energy,
        abs=1e-6,
    )
    function.add(mp.DistancePenalty(0, 1, 1.5, 100.0))  # of the ligand
    assert mp.minimize(function, ligand.coords).energy > result.energy
    some = field.function(ligand, flexible="[#7]")
    assert some.flexible_atoms.tolist() == np.flatnonzero(host.numbers == 7).tolist()
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
