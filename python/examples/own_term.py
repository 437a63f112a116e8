# Copyright (c) the molpotential authors.
# SPDX-License-Identifier: BSD-3-Clause
"""A term of one's own: a harmonic wall that keeps every atom above z = 0."""

import numpy as np

import molpotential as mp


class Floor(mp.Function):
    def __init__(self, k):
        super().__init__()
        self.k = k

    def energy_and_gradient(self, x):
        below = np.minimum(x[2::3], 0.0)  # Å under the floor
        gradient = np.zeros_like(x)
        gradient[2::3] = 2.0 * self.k * below
        return self.k * below @ below, gradient


mol = mp.Molecule.from_smiles("c1ccccc1CCO")
ff = mp.ForceField("mmff94", mol)
ff.add(Floor(k=10.0))
print("worst errors of the derivatives:", mp.check(ff, mol.coords))
result = mp.minimize(ff, mol.coords)
print(f"{result.energy:.3f} kcal/mol, lowest atom at {result.coords[:, 2].min():.4f} Å")
assert result.converged and result.coords[:, 2].min() > -0.1
