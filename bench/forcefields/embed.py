#!/usr/bin/python3
"""Molecules for `agreement`, with hydrogens and 3D coordinates.

    bench/forcefields/embed.py COUNT OUT.sdf

The lists that rdkit-data ships in turn (NCI, PAINS, ChEMBL): what has at least three heavy atoms,
MMFF94 and UFF parameters, and embeds.
"""
import csv
import glob
import itertools
import os
import sys

import rdkit.ForceField.rdForceField
from rdkit import Chem, RDConfig, RDLogger
from rdkit.Chem import AllChem

RDLogger.DisableLog("rdApp.*")


def lists():
    share = os.path.dirname(RDConfig.RDDataDir)
    for path in [os.path.join(RDConfig.RDDataDir, "NCI", "first_5K.smi"),
                 *sorted(glob.glob(os.path.join(share, "Contrib", "**", "*.smi"), recursive=True))]:
        with open(path, errors="replace") as lines:
            yield [line.split()[0] for line in lines if line.split()]
    with open(os.path.join(RDConfig.RDDataDir, "Pains", "test_data", "wehi_mols.csv")) as lines:
        yield [row[0] for row in csv.reader(lines) if row]


def prepared(smiles):
    mol = Chem.MolFromSmiles(smiles)
    if mol is None or not 3 <= mol.GetNumHeavyAtoms() <= 80:
        return None
    mol = Chem.AddHs(mol)
    if not (AllChem.MMFFHasAllMoleculeParams(mol) and AllChem.UFFHasAllMoleculeParams(mol)):
        return None
    return mol if AllChem.EmbedMolecule(mol, randomSeed=7, maxAttempts=20) == 0 else None


def main():
    count, out = int(sys.argv[1]), sys.argv[2]
    in_turn = itertools.chain.from_iterable(itertools.zip_longest(*lists()))
    seen = set()
    with Chem.SDWriter(out) as writer:
        for smiles in in_turn:
            if smiles is None or smiles in seen:
                continue
            seen.add(smiles)
            mol = prepared(smiles)
            if mol is None:
                continue
            mol.SetProp("_Name", smiles)
            writer.write(mol)
            count -= 1
            if count == 0:
                return


if __name__ == "__main__":
    main()
