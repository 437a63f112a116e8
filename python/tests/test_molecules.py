# Copyright (c) the molpotential authors.
# SPDX-License-Identifier: BSD-3-Clause
import gzip

import numpy as np
import pytest
from conftest import DATA
from rdkit import Chem

import molpotential as mp


def test_rdkit_and_back_loses_nothing(aspirin):
    aspirin.coords = aspirin.coords + 1e-9  # digits that no file keeps
    aspirin.set_data("activity", "7.5")
    zwitterion = mp.Molecule.from_smiles("[NH3+]CC(=O)[O-]")
    zwitterion.title = "glycine"
    for mol in (aspirin, zwitterion):
        back = mp.Molecule.from_rdkit(mol.to_rdkit())
        assert np.array_equal(back.coords, mol.coords)
        assert np.array_equal(back.numbers, mol.numbers)
        assert np.array_equal(back.charges, mol.charges)
        assert back.title == mol.title and back.data == mol.data
        # Kekulé structures may differ; the molecules do not.
        smiles = [Chem.MolToSmiles(Chem.RemoveHs(m.to_rdkit())) for m in (mol, back)]
        assert smiles[0] == smiles[1]


def test_files_in_every_format_and_compressed(tmp_path, aspirin):
    for name in ("a.sdf", "a.mol2", "a.xyz", "a.sdf.gz"):
        mp.write(tmp_path / name, [aspirin, aspirin])
        first, second = mp.read(tmp_path / name)
        assert len(first) == len(second) == len(aspirin)
        assert np.allclose(second.coords, aspirin.coords, atol=2e-4)
    assert gzip.open(tmp_path / "a.sdf.gz").read().count(b"$$$$") == 2


def test_bad_record_is_told_and_its_neighbours_are_read(tmp_path):
    good = (DATA / "butane.sdf").read_text()
    path = tmp_path / "mixed.sdf"
    path.write_text(good + good.replace("C  ", "Xx ", 1) + good)
    with pytest.raises(mp.InputError, match="record 2"):
        mp.read(path)
    records = mp.read(path, on_error="yield")
    assert [isinstance(r, mp.Molecule) for r in records] == [True, False, True]
    assert records[1].record == 2
    assert len(mp.read(path, on_error="skip")) == 2


def test_unusable_input_raises_with_a_reason(tmp_path):
    with pytest.raises(mp.InputError, match="missing.sdf"):
        mp.read(tmp_path / "missing.sdf")
    with pytest.raises(mp.InputError, match="C1CC"):
        mp.Molecule.from_smiles("C1CC")
    with pytest.raises(mp.InputError, match="conformer"):
        mp.Molecule.from_rdkit(Chem.MolFromSmiles("C"))
    with pytest.raises(mp.InputError, match="expected 42"):
        mp.Molecule.from_smiles("CCCC").coords = np.zeros((13, 3))


def test_smiles_have_hydrogens_places_and_stereochemistry():
    mol = mp.Molecule.from_smiles("C[C@H](N)C(=O)O")
    assert len(mol) == 13 and np.ptp(mol.coords, axis=0).min() > 1.0
    assert Chem.MolToSmiles(Chem.RemoveHs(mol.to_rdkit())) == "C[C@H](N)C(=O)O"
    assert mol.match("[CX3](=O)[OX2]") and "<svg" in mol._repr_html_()


def test_ase_and_back(butane):
    atoms = butane.to_ase()
    back = mp.Molecule.from_ase(atoms, butane.bonds)
    assert np.array_equal(back.coords, butane.coords)
    assert np.array_equal(back.bonds, butane.bonds)
