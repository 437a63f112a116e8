# Copyright (c) the molpotential authors.
# SPDX-License-Identifier: BSD-3-Clause
"""A SMILES minimised with MMFF94 in a Z-matrix, written as SDF."""

import sys

import molpotential as mp

mol = mp.Molecule.from_smiles(sys.argv[1] if len(sys.argv) > 1 else "CC(=O)Oc1ccccc1C(=O)O")
ff = mp.ForceField("mmff94", mol)
result = mp.minimize(ff, mol.coords, coordinates="zmatrix")
print(result)
mol.coords = result.coords
mp.write("minimized.sdf", mol)
