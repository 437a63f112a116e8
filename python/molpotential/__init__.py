# Copyright (c) the molpotential authors.
# SPDX-License-Identifier: BSD-3-Clause
"""Molecular potential-energy functions and geometry optimisation.

Lengths are in Å, energies in kcal/mol, angles in radians unless a name says degrees; atoms count
from 0; coordinates are float64 arrays of shape (N, 3) or flat.

    import molpotential as mp
    mol = mp.Molecule.from_smiles("CC(=O)Oc1ccccc1C(=O)O")
    ff = mp.ForceField("mmff94", mol)
    result = mp.minimize(ff, mol.coords)
"""

from ._core import (
    Coordinates,
    DistanceBand,
    DistancePenalty,
    Expression,
    ForceField,
    Function,
    HostField,
    InputError,
    MolPotentialError,
    PositionRestraint,
    TorsionPenalty,
    TypingError,
    __version__,
)
from ._molecules import Molecule, iterate, read, write
from ._rdkit import minimize_rdkit
from ._runs import (
    Check,
    Constraint,
    ConvergenceError,
    NormalModes,
    Result,
    Scan,
    check,
    minimize,
    normal_modes,
    scan,
)

__all__ = [
    "Check",
    "Constraint",
    "ConvergenceError",
    "Coordinates",
    "DistanceBand",
    "DistancePenalty",
    "Expression",
    "ForceField",
    "Function",
    "HostField",
    "InputError",
    "MolPotentialError",
    "Molecule",
    "NormalModes",
    "PositionRestraint",
    "Result",
    "Scan",
    "TorsionPenalty",
    "TypingError",
    "check",
    "iterate",
    "minimize",
    "minimize_rdkit",
    "normal_modes",
    "read",
    "scan",
    "write",
    "__version__",
]
