# Copyright (c) the molpotential authors.
# SPDX-License-Identifier: BSD-3-Clause
"""All conformers of an RDKit molecule minimised in place, on two threads."""

from rdkit import Chem
from rdkit.Chem import rdDistGeom

import molpotential as mp

rdmol = Chem.AddHs(Chem.MolFromSmiles("CC(C)Cc1ccc(cc1)C(C)C(=O)O"))
rdDistGeom.EmbedMultipleConfs(rdmol, 20, randomSeed=42)
results = mp.minimize_rdkit(rdmol, threads=2)
energies = sorted(energy for converged, energy in results if converged)
print(f"{len(energies)} conformers, {energies[0]:.2f} to {energies[-1]:.2f} kcal/mol")
assert len(energies) == 20
