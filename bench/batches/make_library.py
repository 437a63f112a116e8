#!/usr/bin/python3
"""A library of 3D molecules for batches: records of RDKit's NCI and WEHI lists, made by ourselves.

    PYTHONPATH=build/release/python bench/batches/make_library.py OUT.sdf [COUNT]

One conformer of each molecule that MMFF94 describes, then further conformers until COUNT (20,000).
"""
import csv
import itertools
import os
import sys
from concurrent.futures import ProcessPoolExecutor

from rdkit import RDConfig

import molpotential as mp


def smiles():
    data = RDConfig.RDDataDir
    with open(os.path.join(data, "NCI", "first_5K.smi")) as lines:
        nci = [line.split()[:2] for line in lines]
    with open(os.path.join(data, "Pains", "test_data", "wehi_mols.csv")) as lines:
        wehi = [row[:2] for row in csv.reader(lines) if len(row) > 1]
    for pair in itertools.zip_longest(nci, wehi):
        yield from (item for item in pair if item is not None)


def make(item):
    """The record of its first conformer, and of a second one where there is one."""
    try:
        mol = mp.Molecule.from_smiles(item[0])
        mol.title = item[1]
        mp.ForceField("mmff94", mol)
        records = []
        for coords in mol.conformers(2):
            mol.coords = coords
            records.append(mol.to_text())
        return records
    except mp.MolPotentialError:
        return []


def main():
    path, count = sys.argv[1], int(sys.argv[2]) if len(sys.argv) > 2 else 20000
    more = []
    with open(path, "w") as out, ProcessPoolExecutor(2) as pool:
        for records in pool.map(make, itertools.islice(smiles(), count), chunksize=20):
            out.writelines(records[:1])
            count -= len(records[:1])
            more += records[1:]
            if count == 0:
                return
        out.writelines(more[:count])


if __name__ == "__main__":
    main()
