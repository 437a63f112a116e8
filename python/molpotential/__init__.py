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
    COORDINATES,
    BoxWall,
    Coordinates,
    DistanceBand,
    DistancePenalty,
    Expression,
    ForceField,
    Function,
    HoldTorsions,
    HostField,
    HostFunction,
    InputError,
    MolPotentialError,
    PositionRestraint,
    SphereWall,
    SummedFunction,
    Tether,
    TetherTo,
    TorsionPenalty,
    TypingError,
    __version__,
    rmsd,
)
from ._molecules import Molecule, Templates, iterate, read, write
from ._rdkit import minimize_rdkit
from ._runs import (
    Check,
    Comparison,
    Constraint,
    ConvergenceError,
    NormalModes,
    Result,
    Scan,
    check,
    compare,
    minimize,
    minimize_conformers,
    normal_modes,
    scan,
)

__all__ = [
    "COORDINATES",
    "BoxWall",
    "Check",
    "Comparison",
    "Constraint",
    "ConvergenceError",
    "Coordinates",
    "DistanceBand",
    "DistancePenalty",
    "Expression",
    "ForceField",
    "Function",
    "HoldTorsions",
    "HostField",
    "HostFunction",
    "InputError",
    "MolPotentialError",
    "Molecule",
    "NormalModes",
    "PositionRestraint",
    "Result",
    "Scan",
    "SphereWall",
    "SummedFunction",
    "Templates",
    "Tether",
    "TetherTo",
    "TorsionPenalty",
    "TypingError",
    "check",
    "compare",
    "iterate",
    "minimize",
    "minimize_conformers",
    "minimize_rdkit",
    "normal_modes",
    "read",
    "rmsd",
    "scan",
    "write",
    "__version__",
]
