#!/usr/bin/python3
# Copyright (c) the molpotential authors.
# SPDX-License-Identifier: BSD-3-Clause
"""Makes the molecules of this folder with RDKit; run it there. Geometries are embedded and tidied
for a few steps only, so that minimising them is real work."""

import math

from rdkit import Chem
from rdkit.Chem import AllChem
from rdkit.Geometry import Point3D

SEED = 20240101
TIDY_STEPS = 15

MOLECULES = {
    "alanine_dipeptide": "CC(=O)N[C@@H](C)C(=O)NC",
    "aspirin": "CC(=O)Oc1ccccc1C(=O)O",
    "benzene": "c1ccccc1",
    "biphenyl": "c1ccc(-c2ccccc2)cc1",
    "butane": "CCCC",
    "caffeine": "Cn1c(=O)c2c(ncn2C)n(C)c1=O",
    "cyanoalkyne": "CC#CCCC#N",
    "cyclohexane": "C1CCCCC1",
    "glucose": "OC[C@H]1O[C@@H](O)[C@H](O)[C@@H](O)[C@@H]1O",
    "ibuprofen": "CC(C)Cc1ccc([C@H](C)C(=O)O)cc1",
    "imatinib": "Cc1ccc(NC(=O)c2ccc(CN3CCN(C)CC3)cc2)cc1Nc1nccc(-c2cccnc2)n1",
    "penicillin_g": "CC1(C)S[C@@H]2[C@H](NC(=O)Cc3ccccc3)C(=O)N2[C@H]1C(=O)O",
}
PEPTIDE = "GAVLSTFYNE"


def embedded(mol):
    mol = Chem.AddHs(mol)
    if AllChem.EmbedMolecule(mol, randomSeed=SEED) != 0:
        raise RuntimeError("no geometry found")
    AllChem.MMFFOptimizeMolecule(mol, maxIters=TIDY_STEPS)
    return mol


def water_cluster():
    """Six waters as a trigonal prism of oxygens 2.85 angstrom apart: one hydrogen of each points to
    the next oxygen of its triangle, the other up or outwards. Atoms run water by water."""
    edge = 2.85
    radius = edge / math.sqrt(3.0)
    oxygens = [
        (radius * math.cos(2 * math.pi * k / 3), radius * math.sin(2 * math.pi * k / 3), z)
        for z in (0.0, edge)
        for k in range(3)
    ]
    bond, angle = 0.96, math.radians(104.5)
    mol = Chem.RWMol()
    places = []

    def unit(v):
        norm = math.sqrt(sum(x * x for x in v))
        return [x / norm for x in v]

    for i, o in enumerate(oxygens):
        neighbour = oxygens[3 * (i // 3) + (i + 1) % 3]
        donated = unit([b - a for a, b in zip(o, neighbour)])
        # The lower triangle's free hydrogens bind the upper one; those of the upper point outwards.
        wanted = (0.0, 0.0, 1.0) if i < 3 else unit((o[0], o[1], 0.6))
        along = sum(a * b for a, b in zip(wanted, donated))
        aside = unit([a - along * b for a, b in zip(wanted, donated)])
        free = [math.cos(angle) * a + math.sin(angle) * b for a, b in zip(donated, aside)]
        centre = mol.AddAtom(Chem.Atom(8))
        places.append(o)
        for direction in (donated, free):
            mol.AddBond(centre, mol.AddAtom(Chem.Atom(1)), Chem.BondType.SINGLE)
            places.append([a + bond * b for a, b in zip(o, direction)])
    conformer = Chem.Conformer(len(places))
    for i, place in enumerate(places):
        conformer.SetAtomPosition(i, Point3D(*place))
    mol.AddConformer(conformer)
    Chem.SanitizeMol(mol)
    return mol.GetMol()


def write(name, mol):
    mol.SetProp("_Name", name)
    for key in mol.GetPropNames():
        mol.ClearProp(key)
    Chem.Kekulize(mol, clearAromaticFlags=True)
    with Chem.SDWriter(name + ".sdf") as writer:
        writer.SetKekulize(False)
        writer.write(mol)


def main():
    for name, smiles in MOLECULES.items():
        write(name, embedded(Chem.MolFromSmiles(smiles)))
    write("decapeptide", embedded(Chem.MolFromSequence(PEPTIDE)))
    write("water_cluster", water_cluster())


if __name__ == "__main__":
    main()
