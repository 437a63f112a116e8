# Copyright (c) the molpotential authors.
# SPDX-License-Identifier: BSD-3-Clause
"""RDKit molecules: there, back, drawn, and minimised in place."""

import numpy as np

from . import _core
from ._core import InputError, Molecule


def from_rdkit(rdmol, conf_id=-1):
    """The molecule that RDKit holds, all its hydrogens explicit, with the coordinates of a
    conformer, title, charges, isotopes, residues and properties."""
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
    atoms = list(kekule.GetAtoms())
    mol = Molecule.from_arrays(
        [atom.GetAtomicNum() for atom in atoms],
        rdmol.GetConformer(conf_id).GetPositions(),
        bonds,
        [atom.GetFormalCharge() for atom in atoms],
        rdmol.GetProp("_Name") if rdmol.HasProp("_Name") else "",
    )
    mol.isotopes = [atom.GetIsotope() for atom in atoms]
    mol.radicals = [atom.GetNumRadicalElectrons() for atom in atoms]
    for atom in atoms:
        info = atom.GetPDBResidueInfo()
        if info is not None:
            mol._set_residue(
                atom.GetIdx(),
                {
                    "name": info.GetResidueName().strip(),
                    "number": info.GetResidueNumber(),
                    "insertion_code": info.GetInsertionCode(),
                    "chain": info.GetChainId().strip(),
                    "atom_name": info.GetName().strip(),
                    "hetero": info.GetIsHeteroAtom(),
                },
            )
    properties = rdmol.GetPropsAsDict(includePrivate=False, includeComputed=False)
    for tag, value in properties.items():
        mol.set_data(tag, str(value))
    return mol


def to_rdkit(self):
    """An RDKit molecule with the same atoms in the same order, one 3D conformer (Å), title, charges,
    isotopes, residues and data."""
    from rdkit import Chem
    from rdkit.Geometry import Point3D

    orders = {1: Chem.BondType.SINGLE, 2: Chem.BondType.DOUBLE, 3: Chem.BondType.TRIPLE}
    rdmol = Chem.RWMol()
    columns = zip(self.numbers, self.charges, self.isotopes, self.radicals, self.residues)
    for number, charge, isotope, radical, residue in columns:
        atom = Chem.Atom(int(number))
        atom.SetFormalCharge(int(charge))
        atom.SetIsotope(int(isotope))
        atom.SetNumRadicalElectrons(int(radical))
        atom.SetNoImplicit(True)
        if residue is not None:
            info = Chem.AtomPDBResidueInfo()
            info.SetName(f"{residue['atom_name']:<4}")
            info.SetResidueName(residue["name"])
            info.SetResidueNumber(residue["number"])
            info.SetInsertionCode(residue["insertion_code"])
            info.SetChainId(residue["chain"])
            info.SetIsHeteroAtom(residue["hetero"])
            atom.SetMonomerInfo(info)
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


def drawing(mol):
    """A drawing as SVG, "" where RDKit can make none."""
    try:
        from rdkit import Chem
        from rdkit.Chem import rdDepictor
        from rdkit.Chem.Draw import rdMolDraw2D

        flat = Chem.RemoveHs(mol.to_rdkit())
        rdDepictor.Compute2DCoords(flat)
        picture = rdMolDraw2D.MolDraw2DSVG(300, 220)
        picture.DrawMolecule(flat)
        picture.FinishDrawing()
        svg = picture.GetDrawingText()
        return svg[svg.index("<svg") :]
    except Exception:  # RDKit is optional here, and a repr never fails
        return ""


def minimize_rdkit(
    rdmol,
    forcefield="mmff94",
    conf_ids=None,
    threads=1,
    gradient_tolerance=1e-4,
    max_iterations=5000,
):
    """Minimises conformers of an RDKit molecule in place and returns (converged, energy) of each,
    energies in kcal/mol.

    conf_ids: the conformers' ids; None: all. threads: conformers minimised at once.
    gradient_tolerance: root mean square, kcal/mol/Å.
    """
    if conf_ids is None:
        conf_ids = [conformer.GetId() for conformer in rdmol.GetConformers()]
    conf_ids = list(conf_ids)
    if not conf_ids:
        return []
    function = _core.ForceField(forcefield, from_rdkit(rdmol, conf_ids[0]))
    coords = np.array([rdmol.GetConformer(i).GetPositions() for i in conf_ids])
    options = _core._Options(gradient_tolerance, max_iterations)
    results = _core._minimize_conformers(
        function, coords, "cartesian", options, None, None, threads
    )
    for conf_id, places in zip(conf_ids, coords):
        conformer = rdmol.GetConformer(conf_id)
        for atom, place in enumerate(places):
            conformer.SetAtomPosition(atom, place)
    return [(result["converged"], result["energy"]) for result in results]
