# Copyright (c) the molpotential authors.
# SPDX-License-Identifier: BSD-3-Clause
import pickle

import numpy as np
import pytest
from conftest import DATA
from rdkit import Chem
from rdkit.Chem import rdDepictor, rdDistGeom

import molpotential as mp

# Glycine as a ligand, its heavy atoms as a PDB file holds them, and a water.
LIGAND = """\
HETATM    1  N   LIG A 401      -1.195   0.201  -0.206  1.00  0.00           N
HETATM    2  CA  LIG A 401       0.230   0.318  -0.502  1.00  0.00           C
HETATM    3  C   LIG A 401       1.059  -0.390   0.542  1.00  0.00           C
HETATM    4  OXT LIG A 401       2.288  -0.130   0.480  1.00  0.00           O
HETATM    5  O   LIG A 401       0.580  -1.150   1.380  1.00  0.00           O
HETATM    6  O   HOH A 501       6.000   0.000   0.000  1.00  0.00           O
END
"""


def test_selections_are_the_programs_and_count_from_0(aspirin):
    heavy = [i for i, z in enumerate(aspirin.numbers) if z > 1]
    assert aspirin.select("not hydrogens").tolist() == heavy
    assert aspirin.select("atoms 0-2,4").tolist() == [0, 1, 2, 4]
    oxygen = int(np.flatnonzero(aspirin.numbers == 8)[0])
    near = np.linalg.norm(aspirin.coords - aspirin.coords[oxygen], axis=1) <= 2.0
    assert aspirin.select(f"within 2 of atoms {oxygen}").tolist() == np.flatnonzero(near).tolist()
    ff = mp.ForceField("mmff94", aspirin)
    fixed = mp.minimize(ff, aspirin.coords, fixed="not hydrogens")
    others = [
        mp.minimize(ff, aspirin.coords, fixed=heavy),
        mp.minimize(ff, aspirin.coords, fixed=aspirin.numbers > 1),  # a mask
        mp.minimize(ff, aspirin.coords, move="hydrogens"),
    ]
    assert np.array_equal(fixed.coords[heavy], aspirin.coords[heavy])
    assert all(np.array_equal(other.coords, fixed.coords) for other in others)
    for wrong in ("atoms 99", "resdue 4", "[Xe]", [-1], [99], [0.5]):
        with pytest.raises(mp.InputError):
            mp.minimize(ff, aspirin.coords, fixed=wrong)
    assert [len(m) for m in aspirin.match("[CX3:2](=[O:1])-[O:3]", maps=3)] == [3, 3]
    part = aspirin.subset("[#6]C(=O)O[#6]", cap=True)
    assert part.missing == "" and len(part) < len(aspirin)


def test_templates_and_hydrogens_complete_a_pdb_file(tmp_path):
    path = tmp_path / "ligand.pdb"
    path.write_text(LIGAND)
    mol = mp.read(path)[0]
    assert {r["name"] for r in mol.residues} == {"LIG", "HOH"}
    with pytest.raises(mp.TypingError, match="apply_templates"):
        mp.ForceField("mmff94", mol)
    for wrong, reason in (({"LIG": "CCO"}, "other atoms"), ("C(", "SMILES"), ("no.sdf", "no.sdf")):
        with pytest.raises(mp.InputError, match=reason):
            mol.apply_templates(wrong)
    mol.apply_templates({"LIG": "NCC(=O)O"})
    with pytest.raises(mp.TypingError, match="add_hydrogens"):
        mp.ForceField("mmff94", mol)
    assert mol.add_hydrogens() == 7 and mol.missing == ""
    ligand = mol.subset("residue LIG")
    assert Chem.MolToSmiles(Chem.RemoveHs(ligand.to_rdkit())) == "NCC(=O)O"
    back = mp.Molecule.from_rdkit(ligand.to_rdkit())
    assert back.residues == ligand.residues
    same = pickle.loads(pickle.dumps(mol))
    assert same.residues == mol.residues and np.array_equal(same.coords, mol.coords)
    assert np.array_equal(same.bonds, mol.bonds) and same.title == mol.title
    with pytest.raises(mp.InputError, match="pickled"):
        pickle.dumps(mp.read(path)[0])
    assert mol.keep_largest_fragment() and len(mol) == len(ligand)
    assert mp.minimize(mp.ForceField("mmff94", mol), mol.coords).converged


def test_drawings_need_coordinates_and_keep_their_stereochemistry():
    flat = Chem.MolFromSmiles("C[C@H](N)C(=O)O")
    rdDepictor.Compute2DCoords(flat)
    Chem.WedgeMolBonds(flat, flat.GetConformer())
    reader = mp._core._read_text(Chem.MolToMolBlock(flat) + "$$$$\n", "sdf")
    mol = next(reader)[0]
    assert mol.is_flat
    mol.add_hydrogens()
    with pytest.raises(mp.InputError, match="make_coordinates"):
        mp.ForceField("mmff94", mol)
    mol.make_coordinates()
    assert not mol.is_flat
    assert Chem.MolToSmiles(Chem.RemoveHs(mol.to_rdkit())) == "C[C@H](N)C(=O)O"


def test_conformers_are_apart_and_minimised_at_once():
    mol = mp.Molecule.from_smiles("CCCCCO")
    starts = mol.conformers(8, rms=0.3)
    assert starts.shape[1:] == (len(mol), 3) and len(starts) > 3
    heavy = mol.numbers > 1
    for i in range(len(starts)):
        for j in range(i):
            assert mp.rmsd(starts[i][heavy], starts[j][heavy]) > 0.29
    ff = mp.ForceField("mmff94", mol)
    ff.add(mp.PositionRestraint("[#8]", 0.1, 5.0))  # each about its own start
    kept = starts.copy()
    results = mp.minimize_conformers(ff, starts, threads=2, coordinates="zmatrix")
    assert np.array_equal(starts, kept)
    for start, result in zip(starts, results):
        assert result.converged
        alone = mp.minimize(ff, start, coordinates="zmatrix")
        assert result.energy == pytest.approx(alone.energy, abs=1e-6)
    with pytest.raises(mp.InputError, match="C, N, 3"):
        mp.minimize_conformers(ff, mol.coords)

    class Failing(mp.Function):
        def energy_and_gradient(self, x):
            raise LookupError("mine")

    ff.add(Failing())
    with pytest.raises(LookupError, match="mine"):  # whichever thread it was on
        mp.minimize_conformers(ff, starts, threads=2)


def test_internals_are_measured_and_set(butane):
    chain = butane.match("CCCC")[0]
    for atoms, value in ((chain[:2], 1.7), (chain[:3], 100.0), (chain, -75.0)):
        butane.set_internal(atoms, value)
        assert butane.measure(atoms) == pytest.approx(value, abs=1e-9)
    ring = mp.read(DATA / "cyclohexane.sdf")[0]
    with pytest.raises(mp.InputError, match="ring"):
        ring.set_internal(ring.match("C1CCCCC1")[0][:4], 10.0)
    assert butane.rotatable_torsions.shape == (1, 4)
    table = butane.report("zmatrix")
    assert len(table.strip().splitlines()) >= len(butane) and "distance" in table
    with pytest.raises(mp.InputError, match="zmatrix"):
        butane.report("matrix")


def test_isotopes_and_radicals_cross_the_bridge():
    heavy = Chem.AddHs(Chem.MolFromSmiles("[2H]OC"))
    rdDistGeom.EmbedMolecule(heavy, randomSeed=1)
    mol = mp.Molecule.from_rdkit(heavy)
    assert mol.isotopes.sum() == 2 and mol.radicals.sum() == 0
    light = mol.copy()
    light.isotopes = np.zeros(len(mol), dtype=int)
    ff = [mp.ForceField("mmff94", m) for m in (mol, light)]
    x = mp.minimize(ff[0], mol.coords, gradient_tolerance=1e-7).coords
    modes = [mp.normal_modes(f, x) for f in ff]
    oxygen = int(np.flatnonzero(mol.numbers == 8)[0])
    hydrogen = next(i for i in range(len(mol)) if i != oxygen and mol.measure((i, oxygen)) < 1.1)
    stretches = []  # those above 2,000 cm⁻¹ in which the hydroxyl's hydrogen moves most
    for m in modes:
        share = np.linalg.norm(m.modes[:, hydrogen], axis=1) * (m.frequencies > 2000.0)
        stretches.append(m.frequencies[share.argmax()])
    assert stretches[0] / stretches[1] == pytest.approx(0.73, abs=0.03)  # √(μH/μD) of O-H
    given = mp.normal_modes(ff[1], x, masses=2.014 * (mol.isotopes == 2))
    assert np.allclose(given.frequencies, modes[0].frequencies, rtol=1e-3, atol=0.1)
