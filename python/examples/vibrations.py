# Copyright (c) the molpotential authors.
# SPDX-License-Identifier: BSD-3-Clause
"""ASE finds vibrations with our forces; the Hessian gives the same without differences."""

import numpy as np
from ase import units
from ase.vibrations import VibrationsData

import molpotential as mp
from molpotential.ase import MolPotential

mol = mp.Molecule.from_smiles("O")
ff = mp.ForceField("mmff94", mol)
mol.coords = mp.minimize(ff, mol.coords, gradient_tolerance=1e-8).coords
atoms = mol.to_ase()
atoms.calc = MolPotential(mol, ff)
hessian = atoms.calc.get_hessian(atoms).reshape(3, 3, 3, 3)
frequencies = VibrationsData(atoms, hessian).get_frequencies()
print("cm⁻¹:", np.round(np.real(frequencies[-3:]), 1))
assert np.isclose(frequencies[-3:].imag, 0).all() and units.invcm > 0
