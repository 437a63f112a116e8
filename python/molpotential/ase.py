# Copyright (c) the molpotential authors.
# SPDX-License-Identifier: BSD-3-Clause
"""An ASE calculator: energies in eV, lengths in Å, as ASE has them."""

from ase.calculators.calculator import Calculator, all_changes
from ase.units import kcal, mol as per_mol

from ._core import ForceField, Function

_KCAL_PER_MOL = kcal / per_mol


class MolPotential(Calculator):
    """Energy, forces and Hessian of a molecule from a force field or any bound Function.

    mol: the Molecule whose atoms, in their order, are those of the ASE `Atoms`. forcefield: a name
    as `ForceField` takes it, or a Function bound to `mol`.
    """

    implemented_properties = ["energy", "forces"]

    def __init__(self, mol, forcefield="mmff94", **kwargs):
        super().__init__(**kwargs)
        self.function = (
            forcefield if isinstance(forcefield, Function) else ForceField(forcefield, mol)
        )

    def calculate(self, atoms=None, properties=("energy",), system_changes=all_changes):
        super().calculate(atoms, properties, system_changes)
        energy, gradient = self.function.energy_and_gradient(self.atoms.get_positions())
        self.results = {"energy": energy * _KCAL_PER_MOL, "forces": -gradient * _KCAL_PER_MOL}

    def get_hessian(self, atoms):
        """Second derivatives, (3N, 3N) in eV/Å²."""
        return self.function.hessian(atoms.get_positions()) * _KCAL_PER_MOL
