# Copyright (c) the molpotential authors.
# SPDX-License-Identifier: BSD-3-Clause
"""Molecules, and the ways to and from files and ASE."""

import os

import numpy as np

from . import _core, _rdkit
from ._core import InputError, Molecule


def _from_smiles(smiles):
    """A molecule with hydrogens and 3D coordinates."""
    return Molecule._from_smiles(smiles)


def _from_arrays(numbers, coords, bonds=(), charges=None, title=""):
    """A molecule of atomic numbers (N,), coordinates (N, 3) in Å, bonds (first, second, order) and
    formal charges (N,)."""
    bonds = [tuple(int(value) for value in bond) for bond in bonds]
    charges = [] if charges is None else [int(charge) for charge in charges]
    return Molecule._from_arrays(
        [int(number) for number in numbers],
        np.ascontiguousarray(coords, dtype=float),
        bonds,
        charges,
        title,
    )


def _from_ase(atoms, bonds, charges=None, title=""):
    """A molecule of an ASE `Atoms`, whose bonds (first, second, order) must be given."""
    return _from_arrays(
        atoms.get_atomic_numbers(), atoms.get_positions(), bonds, charges=charges, title=title
    )


def _to_ase(self):
    """An ASE `Atoms` with the same elements and positions in Å; bonds are not kept there."""
    from ase import Atoms

    return Atoms(numbers=self.numbers, positions=self.coords)


class Templates:
    """Bond orders and charges for residues of PDB files and for molecules of XYZ, which have none.

    templates: {"LIG": "SMILES"}, a SMILES for whatever no other template fits, an SDF file whose
    titles are the residues' names, or a list of these.
    """

    def __init__(self, templates):
        self._core = _core._Templates()
        self._add(templates)

    def _add(self, templates):
        if isinstance(templates, dict):
            for residue, smiles in templates.items():
                self._core.add_smiles(smiles, residue)
        elif isinstance(templates, os.PathLike) or (
            isinstance(templates, str) and os.path.exists(templates)
        ):
            self._core.add_file(os.fspath(templates))
        elif isinstance(templates, str):
            self._core.add_smiles(templates, "")
        else:
            for one in templates:
                self._add(one)

    def apply(self, mol):
        """Gives orders and charges to what lacks them in `mol`; nothing is added or moved."""
        self._core.apply(mol)


def _apply_templates(self, templates):
    """Gives bond orders and charges to residues, or a whole molecule, without; see `Templates`,
    whose arguments are taken as well. Hydrogens are added afterwards, by add_hydrogens."""
    if not isinstance(templates, Templates):
        templates = Templates(templates)
    templates.apply(self)


def _restore(arrays, isotopes, radicals, data, residues):
    mol = _from_arrays(*arrays)
    mol.isotopes, mol.radicals = isotopes, radicals
    for tag, value in data.items():
        mol.set_data(tag, value)
    for atom, residue in enumerate(residues):
        if residue is not None:
            mol._set_residue(atom, residue)
    return mol


def _reduce(self):
    """What pickle keeps: everything but that bond orders were unknown, which it refuses."""
    if "bond orders" in self.missing:
        raise InputError(f"a molecule without bond orders cannot be pickled: {self.missing}")
    arrays = (self.numbers, self.coords, self.bonds, self.charges, self.title)
    return _restore, (arrays, self.isotopes, self.radicals, self.data, self.residues)


def _repr(self):
    title = f' "{self.title}"' if self.title else ""
    return f"<Molecule{title}: {len(self)} atoms, {len(self.bonds)} bonds>"


def _repr_html(self):
    """A drawing where RDKit can make one, else the line of `repr`."""
    return _rdkit.drawing(self) or _repr(self).replace("<", "&lt;").replace(">", "&gt;")


for _name, _value in {
    "from_smiles": staticmethod(_from_smiles),
    "from_arrays": staticmethod(_from_arrays),
    "from_rdkit": staticmethod(_rdkit.from_rdkit),
    "from_ase": staticmethod(_from_ase),
    "to_rdkit": _rdkit.to_rdkit,
    "to_ase": _to_ase,
    "apply_templates": _apply_templates,
    "__deepcopy__": lambda self, memo: self.copy(),
    "__reduce__": _reduce,
    "__repr__": _repr,
    "_repr_html_": _repr_html,
}.items():
    setattr(Molecule, _name, _value)


def iterate(path, format=None, on_error="raise", model=1, alternate_location=""):
    """Yields the molecules of a file one after the other, in constant memory.

    path: .sdf, .mol, .mol2, .pdb, .xyz or .smi, also compressed; format: overrides the extension.
    on_error: "raise", "skip", or "yield", which yields an `InputError` in place of a bad record, with
    its number as `record` and its bytes as `raw`. model: of a PDB file, 0 for each as a record.
    alternate_location: the letter that is read in a PDB file, by default a residue's first.
    """
    if on_error not in ("raise", "skip", "yield"):
        raise InputError('on_error must be "raise", "skip" or "yield"')
    reader = _core._Reader(os.fspath(path), format or "", model, alternate_location)
    for mol, number, message, raw in reader:
        if not message:
            yield mol
            continue
        error = InputError(message)
        error.record, error.raw = number, raw
        if on_error == "raise":
            raise error
        if on_error == "yield":
            yield error


def read(path, format=None, on_error="raise", model=1, alternate_location=""):
    """The molecules of a file as a list; see `iterate`."""
    return list(iterate(path, format, on_error, model, alternate_location))


def write(path, mols):
    """Writes a molecule, or several one after the other, to a file in the format of its extension
    (.sdf, .mol2, .pdb, .xyz, .smi); ".gz" behind it compresses."""
    path = os.fspath(path)
    writer = _core._Writer(path, path.endswith(".gz"))
    for mol in [mols] if isinstance(mols, Molecule) else mols:
        writer.write(mol)
    writer.close()
