# Copyright (c) the molpotential authors.
# SPDX-License-Identifier: BSD-3-Clause
"""SciPy's trust-region Newton method on a molecule, with the analytic Hessian."""

from scipy.optimize import minimize

import molpotential as mp

mol = mp.Molecule.from_smiles("CC(N)C(=O)O")
ff = mp.ForceField("mmff94", mol)
found = minimize(
    ff.energy_and_gradient, mol.coords.ravel(), jac=True, hess=ff.hessian, method="trust-exact"
)
print(f"{found.fun:.4f} kcal/mol after {found.nhev} Hessians: {found.message}")
assert abs(found.fun - mp.minimize(ff, found.x).energy) < 1e-3
