# Copyright (c) the molpotential authors.
# SPDX-License-Identifier: BSD-3-Clause
import gc
import warnings
import weakref

import numpy as np
import pytest
import rdkit.ForceField.rdForceField  # noqa: F401  RDKit's own calls need it
from rdkit.Chem import rdForceFieldHelpers

import molpotential as mp


def test_mmff94_is_rdkits(aspirin):
    rdmol = aspirin.to_rdkit()
    properties = rdForceFieldHelpers.MMFFGetMoleculeProperties(rdmol)
    reference = rdForceFieldHelpers.MMFFGetMoleculeForceField(rdmol, properties)
    ff = mp.ForceField("MMFF94", aspirin)
    energy, gradient = ff.energy_and_gradient(aspirin.coords)
    assert energy == pytest.approx(reference.CalcEnergy(), rel=1e-6)
    assert np.allclose(gradient.ravel(), reference.CalcGrad(), rtol=1e-6, atol=1e-6)
    assert sum(ff.components(aspirin.coords).values()) == pytest.approx(energy, rel=1e-10)
    assert ff.energy(aspirin.coords.ravel()) == pytest.approx(energy, rel=1e-12)
    assert gradient.shape == aspirin.coords.shape


def test_hessian_is_symmetric_and_that_of_the_gradient(butane):
    ff = mp.ForceField("mmff94", butane)
    hessian = ff.hessian(butane.coords)
    assert np.array_equal(hessian, hessian.T)
    direction = np.random.default_rng(1).normal(size=butane.coords.size)
    step = 1e-5 * direction
    forward = ff.energy_and_gradient(butane.coords.ravel() + step)[1]
    backward = ff.energy_and_gradient(butane.coords.ravel() - step)[1]
    assert np.allclose((forward - backward) / 2e-5, hessian @ direction, rtol=1e-5, atol=1e-3)
    found = mp.check(ff, butane.coords)
    assert found.gradient < 1e-6 and found.hessian < 1e-5


def test_molecule_that_cannot_be_described_raises():
    neon = mp.Molecule.from_arrays([10], [[0.0, 0.0, 0.0]])
    with pytest.raises(mp.TypingError, match="Ne"):
        mp.ForceField("mmff94", neon)
    with pytest.raises(mp.InputError, match="amber"):
        mp.ForceField("amber", neon)
    bare = mp.Molecule.from_arrays([6, 8], [[0, 0, 0], [1.2, 0, 0.0]], [(0, 1, 2)])
    with pytest.raises(mp.MolPotentialError, match="hydrogens"):
        mp.ForceField("mmff94", bare)


def test_terms_have_their_closed_forms(butane):
    x = butane.coords
    r = np.linalg.norm(x[0] - x[3])
    terms = [
        (mp.DistancePenalty(0, 3, 2.0, 10.0), 10.0 * (r - 2.0) ** 2),
        (mp.DistanceBand(0, 3, r - 2.0, r - 0.5, 10.0), 10.0 * 0.25),
        (mp.DistanceBand(0, 3, r - 1.0, r + 1.0, 10.0), 0.0),
    ]
    ff = mp.ForceField("mmff94", butane)
    before = ff.energy(x)
    for term, expected in terms:
        assert term.bind(butane).energy(x) == pytest.approx(expected, rel=1e-9)
        ff.add(term)
    assert ff.energy(x) == pytest.approx(before + sum(e for _, e in terms), rel=1e-12)
    held = mp.PositionRestraint("[#6]", width=0.5, strength=5.0).bind(butane)
    moved = x + np.array([0.0, 0.0, 2.0])
    assert held.energy(x) == 0.0
    assert held.energy(moved) == pytest.approx(5.0 * 4 * 1.5**2, rel=1e-9)
    with pytest.raises(mp.InputError, match="matches nothing"):
        mp.PositionRestraint("[Xe]").bind(butane)
    with pytest.raises(mp.InputError, match="99"):
        mp.DistancePenalty(0, 99, 1.0, 1.0).bind(butane)


def test_every_term_is_zero_inside_and_has_true_derivatives_outside(butane):
    x = butane.coords
    torsion = butane.measure((0, 1, 2, 3))
    bound = {
        "tether": mp.Tether([0, 3], x[[0, 3]], width=0.2, strength=3.0, onset=0.1),
        "sphere": mp.SphereWall(x.mean(axis=0), 4.0, 2.0, onset=0.3),
        "box": mp.BoxWall(x.min(axis=0), [np.inf] * 3, 2.0, atoms="[#6]"),
        "position": mp.PositionRestraint("[#6]", 0.2, 3.0, onset=0.2),
        "power": mp.PositionRestraint([0, 1], 0.2, 3.0, exponent=3.0),
        "band": mp.DistanceBand(0, 3, 1.0, 5.0, 3.0, onset=0.2),
        "torsion": mp.TorsionPenalty(0, 1, 2, 3, torsion, 4.0, width=5.0, onset=2.0),
        "held": mp.HoldTorsions(4.0),
    }
    stretched = 2.9 * (x - x.mean(axis=0)) + x.mean(axis=0) + [-1.5, 0.3, 0.2]
    twisted = butane.copy()
    twisted.set_internal((0, 1, 2, 3), torsion + 40.0)
    for name, term in bound.items():
        term.bind(butane)
        assert term.energy(x) == pytest.approx(0.0, abs=1e-20), name
        away = twisted.coords if name in ("torsion", "held") else stretched
        assert term.energy(away) > 0.05, name
        found = mp.check(term, away)
        assert found.gradient < 1e-6 and found.hessian < 1e-4, name
    tied = mp.TetherTo(butane, strength=3.0).bind(twisted)  # by the common skeleton
    carbons = butane.numbers == 6
    away = ((twisted.coords - x)[carbons] ** 2).sum()
    mirrored = ((twisted.coords[carbons][::-1] - x[carbons]) ** 2).sum()
    assert tied.energy(twisted.coords) == pytest.approx(3.0 * min(away, mirrored))
    with pytest.raises(mp.InputError, match="Xe"):
        mp.TetherTo(butane, "[Xe]").bind(twisted)
    # Closed forms beyond an onset w: k (e² - w e + w²/3), and of a power.
    moved = x + [0.0, 0.0, 1.0]
    e, w = 0.8, 0.1
    assert bound["tether"].energy(moved) == pytest.approx(2 * 3.0 * (e * e - w * e + w * w / 3))
    assert bound["power"].energy(moved) == pytest.approx(2 * 3.0 * e**3)
    assert bound["held"].energy(twisted.coords) == pytest.approx(4.0 * np.radians(40.0) ** 2)
    for wrong in (
        lambda: mp.Tether([0, 1], x[:1]).bind(butane),
        lambda: mp.SphereWall([0, 0, 0], -1.0, 1.0),
        lambda: mp.BoxWall([1, 1, 1], [0, 2, 2], 1.0),
        lambda: mp.DistanceBand(0, 1, 2.0, 1.0, 1.0),
        lambda: mp.PositionRestraint([0], -0.1),
        lambda: mp.HoldTorsions(1.0).bind(mp.Molecule.from_smiles("C")),
    ):
        with pytest.raises(mp.InputError):
            wrong()


def test_force_fields_in_force_fields_keep_their_terms(butane):
    inner = mp.ForceField("mmff94", butane)
    inner.add(mp.DistancePenalty(0, 3, 2.0, 10.0))
    outer = mp.ForceField("uff", butane)
    plain = outer.energy(butane.coords)
    outer.add(inner)
    assert outer.energy(butane.coords) == pytest.approx(plain + inner.energy(butane.coords))
    for loop in (inner, outer):
        with pytest.raises(mp.InputError, match="itself"):
            inner.add(loop)


def test_interactions_sum_to_the_components(aspirin):
    ff = mp.ForceField("mmff94", aspirin)
    table = ff.interactions(aspirin.coords)
    for name, energy in ff.components(aspirin.coords).items():
        rows = [e for term, e in zip(table["term"], table["energy"]) if term == name]
        assert sum(rows) == pytest.approx(energy, abs=1e-8), name
    worst = ff.interactions(aspirin.coords, highest=2)
    assert max(table["energy"]) == max(worst["energy"])
    assert len(worst["energy"]) == 2 * len(set(worst["term"]))
    pandas = pytest.importorskip("pandas")
    assert list(pandas.DataFrame(worst).columns) == ["term", "atoms", "host_atoms", "energy"]


class Spring(mp.Function):
    """k (z_i)² for one atom."""

    def __init__(self, atom, k):
        super().__init__()
        self.atom, self.k = atom, k

    def energy_and_gradient(self, x):
        assert not x.flags.writeable
        gradient = np.zeros_like(x)
        gradient[3 * self.atom + 2] = 2 * self.k * x[3 * self.atom + 2]
        return self.k * x[3 * self.atom + 2] ** 2, gradient


def test_function_of_ones_own(butane):
    ff = mp.ForceField("mmff94", butane)
    before, gradient = ff.energy_and_gradient(butane.coords)
    hessian = ff.hessian(butane.coords)
    ff.add(Spring(2, 3.0))  # kept alive by the force field
    gc.collect()
    z = butane.coords[2, 2]
    after, with_spring = ff.energy_and_gradient(butane.coords)
    assert after == pytest.approx(before + 3.0 * z * z, rel=1e-12)
    assert (with_spring - gradient)[2, 2] == pytest.approx(6.0 * z, abs=1e-9)
    assert (ff.hessian(butane.coords) - hessian)[8, 8] == pytest.approx(6.0, abs=1e-5)
    assert mp.check(ff, butane.coords).gradient < 1e-6


@pytest.mark.parametrize("wrong", ["raises", "shape", "nothing"])
def test_faults_of_a_python_function_come_out(butane, wrong):
    class Faulty(mp.Function):
        def energy_and_gradient(self, x):
            if wrong == "raises":
                raise ZeroDivisionError("mine")
            return None if wrong == "nothing" else (1.0, [0.0])

    ff = mp.ForceField("mmff94", butane)
    ff.add(Faulty())
    expected = ZeroDivisionError if wrong == "raises" else mp.MolPotentialError
    with pytest.raises(expected):
        ff.energy(butane.coords)
    if wrong == "raises":
        with pytest.raises(ZeroDivisionError, match="mine"):
            mp.minimize(ff, butane.coords)


def test_nothing_leaks_and_wrong_sizes_are_refused(butane):
    ff = mp.ForceField("mmff94", butane)
    spring = Spring(0, 1.0)
    ff.add(spring)
    gone = [weakref.ref(spring), weakref.ref(ff)]
    with pytest.raises(mp.InputError, match="expected 42"):
        ff.energy(np.zeros(41))
    with pytest.raises(mp.InputError, match="bound"):
        mp.DistancePenalty(0, 1, 1.0, 1.0).energy(butane.coords)
    del ff, spring
    gc.collect()
    assert [ref() for ref in gone] == [None, None]


def test_what_would_crash_is_refused(butane):
    ff = mp.ForceField("mmff94", butane)
    for wrong in (
        lambda: mp.ForceField("mmff94", None),
        lambda: ff.add(None),
        lambda: mp.HostField(None),
        lambda: mp.Coordinates(None, "zmatrix", butane.coords),
        lambda: mp.minimize(None, butane.coords),
        lambda: ff.energy("abc"),
    ):
        with pytest.raises(TypeError):
            wrong()
    with pytest.raises(mp.InputError, match="finite"):
        mp.minimize(ff, butane.coords * np.nan)
    kept = []

    class Keeping(mp.Function):
        def energy_and_gradient(self, x):
            kept.append(x)
            return 0.0, np.zeros_like(x)

    ff.add(Keeping())
    ff.energy(butane.coords)
    gc.collect()
    assert np.array_equal(kept[0], butane.coords.ravel())
    grown = butane.copy()
    ff = mp.ForceField("mmff94", grown)
    carbons = grown.subset("[#6]")
    term = mp.DistancePenalty(0, 1, 1.0, 1.0).bind(carbons)
    x = carbons.coords
    carbons.add_hydrogens()
    for call in (lambda: term.energy(x), lambda: mp.minimize(term, x), lambda: term.interactions(x)):
        with pytest.raises(mp.InputError, match="changed"):
            call()
    term.bind(carbons)
    assert term.energy(carbons.coords) > 0.0


def test_messages_become_warnings(butane):
    torsion = mp.TorsionPenalty(0, 1, 2, 3, 60.0, 10.0).bind(butane)
    with warnings.catch_warnings():
        warnings.simplefilter("error")
        assert torsion.energy(butane.coords) > 0.0
