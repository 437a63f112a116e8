# Copyright (c) the molpotential authors.
# SPDX-License-Identifier: BSD-3-Clause
"""Molecules, and the ways to and from files, RDKit and ASE."""

import os

import numpy as np

from . import _core
from ._core import InputError, Molecule


def _from_smiles(smiles):
    """A molecule with hydrogens and 3D coordinates."""
    return Molecule._from_smiles(smiles)


def _from_arrays(numbers, coords, bonds=(), charges=None, title=""):
    """A molecule of atomic numbers, coordinates (N, 3) in Å, bonds (first, second, order) and
    formal charges."""
    bonds = [tuple(int(value) for value in bond) for bond in bonds]
    charges = [] if charges is None else [int(charge) for charge in charges]
    return Molecule._from_arrays(
        [int(number) for number in numbers],
        np.ascontiguousarray(coords, dtype=float),
        bonds,
        charges,
        title,
    )


def _from_rdkit(rdmol, conf_id=-1):
    """The molecule that RDKit holds, all its hydrogens explicit, with the coordinates of a
    conformer, title, charges and properties."""
    from rdkit import Chem

    if rdmol.GetNumConformers() == 0:
        raise InputError("the RDKit molecule has no conformer")
    missing = next((a for a in rdmol.GetAtoms() if a.GetTotalNumHs() > 0), None)
    if missing is not None:
        raise InputError(
            f"atom {missing.GetSymbol()} {missing.GetIdx()} has hydrogens that are not atoms "
            "(Chem.AddHs(mol, addCoords=True) makes them)"
        )
    kekule = Chem.Mol(rdmol)
    Chem.Kekulize(kekule, clearAromaticFlags=True)
    bonds = []
    for bond in kekule.GetBonds():
        order = bond.GetBondTypeAsDouble()
        if order not in (1.0, 2.0, 3.0):
            raise InputError(f"bond {bond.GetIdx()} is neither single, double nor triple")
        bonds.append((bond.GetBeginAtomIdx(), bond.GetEndAtomIdx(), int(order)))
    properties = rdmol.GetPropsAsDict(includePrivate=False, includeComputed=False)
    mol = _from_arrays(
        [atom.GetAtomicNum() for atom in kekule.GetAtoms()],
        rdmol.GetConformer(conf_id).GetPositions(),
        bonds,
        [atom.GetFormalCharge() for atom in kekule.GetAtoms()],
        rdmol.GetProp("_Name") if rdmol.HasProp("_Name") else "",
    )
    for tag, value in properties.items():
        mol.set_data(tag, str(value))
    return mol


def _to_rdkit(self):
    """An RDKit molecule with the same atoms in the same order, one 3D conformer, title and data."""
    from rdkit import Chem
    from rdkit.Geometry import Point3D

    orders = {1: Chem.BondType.SINGLE, 2: Chem.BondType.DOUBLE, 3: Chem.BondType.TRIPLE}
    rdmol = Chem.RWMol()
    for number, charge in zip(self.numbers, self.charges):
        atom = Chem.Atom(int(number))
        atom.SetFormalCharge(int(charge))
        atom.SetNoImplicit(True)
        rdmol.AddAtom(atom)
    for begin, end, order in self.bonds:
        rdmol.AddBond(int(begin), int(end), orders[int(order)])
    conformer = Chem.Conformer(len(self))
    conformer.Set3D(True)
    for index, place in enumerate(self.coords):
        conformer.SetAtomPosition(index, Point3D(*place))
    rdmol.AddConformer(conformer, assignId=True)
    Chem.SanitizeMol(rdmol)
    Chem.AssignStereochemistryFrom3D(rdmol)
    rdmol.SetProp("_Name", self.title)
    for tag, value in self.data.items():
        rdmol.SetProp(tag, value)
    return rdmol.GetMol()


def _from_ase(atoms, bonds, charges=None, title=""):
    """A molecule of an ASE `Atoms`, whose bonds (first, second, order) must be given."""
    return _from_arrays(
        atoms.get_atomic_numbers(), atoms.get_positions(), bonds, charges=charges, title=title
    )


def _to_ase(self):
    """An ASE `Atoms` with the same elements and positions; bonds are not kept there."""
    from ase import Atoms

    return Atoms(numbers=self.numbers, positions=self.coords)


def _repr(self):
    title = f' "{self.title}"' if self.title else ""
    return f"<Molecule{title}: {len(self)} atoms, {len(self.bonds)} bonds>"


def _repr_html(self):
    """A drawing where RDKit can make one, else the line of `repr`."""
    try:
        from rdkit import Chem
        from rdkit.Chem import rdDepictor
        from rdkit.Chem.Draw import rdMolDraw2D

        flat = Chem.RemoveHs(self.to_rdkit())
        rdDepictor.Compute2DCoords(flat)
        drawing = rdMolDraw2D.MolDraw2DSVG(300, 220)
        drawing.DrawMolecule(flat)
        drawing.FinishDrawing()
        svg = drawing.GetDrawingText()
        return svg[svg.index("<svg") :]
    except Exception:  # RDKit is optional here, and a repr never fails
        return _repr(self).replace("<", "&lt;").replace(">", "&gt;")


for _name, _value in {
    "from_smiles": staticmethod(_from_smiles),
    "from_arrays": staticmethod(_from_arrays),
    "from_rdkit": staticmethod(_from_rdkit),
    "from_ase": staticmethod(_from_ase),
    "to_rdkit": _to_rdkit,
    "to_ase": _to_ase,
    "__deepcopy__": lambda self, memo: self.copy(),
    "__repr__": _repr,
    "_repr_html_": _repr_html,
}.items():
    setattr(Molecule, _name, _value)


def iterate(path, format=None, on_error="raise"):
    """Yields the molecules of a file one after the other, in constant memory.

    path: .sdf, .mol, .mol2, .pdb or .xyz, also compressed; format: overrides the extension.
    on_error: "raise", "skip", or "yield", which yields an `InputError` in place of a bad record.
    """
    if on_error not in ("raise", "skip", "yield"):
        raise InputError('on_error must be "raise", "skip" or "yield"')
    for mol, number, message in _core._Reader(os.fspath(path), format or ""):
        if not message:
            yield mol
            continue
        error = InputError(message)
        error.record = number
        if on_error == "raise":
            raise error
        if on_error == "yield":
            yield error


def read(path, format=None, on_error="raise"):
    """The molecules of a file as a list; see `iterate`."""
    return list(iterate(path, format, on_error))


def write(path, mols):
    """Writes molecules to a file, in the format of its extension; ".gz" compresses."""
    path = os.fspath(path)
    mols = [mols] if isinstance(mols, Molecule) else list(mols)
    _core._write(path, mols, path.endswith(".gz"))
