# Copyright (c) the molpotential authors.
# SPDX-License-Identifier: BSD-3-Clause
"""RDKit molecules minimised in place."""

import numpy as np

from . import _core
from ._molecules import Molecule


def minimize_rdkit(
    rdmol,
    forcefield="mmff94",
    conf_ids=None,
    threads=1,
    gradient_tolerance=1e-4,
    max_iterations=5000,
):
    """Minimises conformers of an RDKit molecule in place and returns (converged, energy) of each.

    conf_ids: the conformers' ids; None: all. threads: conformers minimised at once.
    """
    if conf_ids is None:
        conf_ids = [conformer.GetId() for conformer in rdmol.GetConformers()]
    conf_ids = list(conf_ids)
    if not conf_ids:
        return []
    mol = Molecule.from_rdkit(rdmol, conf_ids[0])
    coords = np.array([rdmol.GetConformer(i).GetPositions() for i in conf_ids])
    results = _core._minimize_conformers(
        mol, forcefield, coords, gradient_tolerance, max_iterations, threads
    )
    for conf_id, places in zip(conf_ids, coords):
        conformer = rdmol.GetConformer(conf_id)
        for atom, place in enumerate(places):
            conformer.SetAtomPosition(atom, place)
    return results
