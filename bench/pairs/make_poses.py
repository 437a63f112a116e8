# Copyright (c) the molpotential authors.
# SPDX-License-Identifier: BSD-3-Clause
"""Protein and poses for bench_poses: the protease 1hpv (package pymol-data) with its drug.

    /usr/bin/python3 make_poses.py [1hpv.pdb] DIRECTORY

writes host.sdf (protein without waters, with hydrogens, 3,124 atoms) and poses.sdf (20 poses: the
drug's crystal position, every coordinate moved by 0.1 Å; bond orders from its SMILES).
"""

import random
import sys

from rdkit import Chem
from rdkit.Chem import AllChem

DRUG = "CC(C)CN(C[C@H]([C@H](Cc1ccccc1)NC(=O)O[C@H]2CCOC2)O)S(=O)(=O)c3ccc(cc3)N"


def part(lines, wanted):
    block = "\n".join(line for line in lines if wanted(line)) + "\nEND\n"
    return Chem.MolFromPDBBlock(block, removeHs=True)


def main(pdb, directory):
    with open(pdb, encoding="ascii") as file:
        lines = file.read().splitlines()
    host = part(lines, lambda line: line.startswith("ATOM"))
    host = Chem.AddHs(host, addCoords=True, addResidueInfo=True)
    with Chem.SDWriter(f"{directory}/host.sdf") as writer:
        writer.SetForceV3000(True)
        writer.write(host)
    drug = part(lines, lambda line: line.startswith("HETATM") and line[17:20] == "478")
    drug = AllChem.AssignBondOrdersFromTemplate(Chem.MolFromSmiles(DRUG), drug)
    drug = Chem.AddHs(drug, addCoords=True)
    random.seed(1)
    with Chem.SDWriter(f"{directory}/poses.sdf") as writer:
        for number in range(20):
            pose = Chem.Mol(drug)
            conformer = pose.GetConformer()
            for atom in range(pose.GetNumAtoms()):
                at = conformer.GetAtomPosition(atom)
                moved = [value + random.gauss(0, 0.1) for value in (at.x, at.y, at.z)]
                conformer.SetAtomPosition(atom, moved)
            pose.SetProp("_Name", f"pose {number + 1}")
            writer.write(pose)


if __name__ == "__main__":
    arguments = sys.argv[1:]
    if len(arguments) == 1:
        arguments.insert(0, "/usr/share/pymol/data/tut/1hpv.pdb")
    main(*arguments)
