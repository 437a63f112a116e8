#!/usr/bin/python3
"""Molecules that are hard on internal coordinates, with hydrogens and 3D coordinates.

    bench/redundant/choose_molecules.py straight|salts|frozen COUNT OUT.sdf

From RDKit's own lists (rdkit-data). straight: nitriles, alkynes, allenes, azides, cumulenes,
isocyanates and fused planar rings, in turn; salts: several fragments, ions of the salt list and
waters set around molecules, each fragment apart; frozen: molecules whose ring atoms are held, all of
one ring chosen at random (SD tag "fixed", atom numbers from 0). Only what embeds and has MMFF94
parameters.
"""
import glob
import itertools
import os
import random
import sys

import numpy
from rdkit import Chem, RDConfig, RDLogger
from rdkit.Chem import AllChem

RDLogger.DisableLog("rdApp.*")

KINDS = {
    "nitrile": "C#N", "alkyne": "C#C", "allene": "C=C=C", "azide": "N=[N+]=[N-]",
    "cumulene": "C=C=*", "isocyanate": "N=C=[O,S]", "diyne": "C#CC#C", "diazo": "C=[N+]=[N-]",
    "fused": "c1ccc2ccccc2c1", "fused hetero": "[a;R2]1[a;R2][a]~[a]~[a]1",
}
# Cumulated and straight molecules are rare in the lists: small ones by hand beside them.
EXTRA = """O=C=O C#N CC#N CC#CC C=C=C C=C=C=C C=C=C=C=C CN=[N+]=[N-] C=C=O CN=C=O CN=C=S C#CC#C N#CC#N
N#CC#CC#N CC#CC#CC C=[N+]=[N-] CC=C=CC OC#N [C-]#[N+]C N#Cc1ccccc1 C#Cc1ccc(C#C)cc1 S=C=S C=C=S C#CC=C=C
N#CC(C#N)=C(C#N)C#N CC(C)=C=C(C)C C1=CC=CC=C1N=[N+]=[N-] c1ccc(cc1)C#Cc1ccccc1 C(#N)C=C=C CC#CCC#CC C=O
C1CC#CCCCC1 FC#CF ClC#N c1ccc2cc3ccccc3cc2c1 c1cc2ccc3cccc4ccc(c1)c2c34 N#CC1CC1 C#CC1CC1C#C""".split()
# Neutral together, so that nothing flies apart.
COMPANIONS = ["O", "O.O", "[Na+].[Cl-]", "[K+].[Br-]", "[NH4+].[Cl-]", "[Na+].CC(=O)[O-]", "Cl", "N", "O=C=O",
              "C#N", "[Mg+2].[Cl-].[Cl-]", "CO"]


def lists():
    files = [os.path.join(RDConfig.RDDataDir, "NCI", "first_5K.smi")]
    share = os.path.dirname(RDConfig.RDDataDir)
    files += sorted(glob.glob(os.path.join(share, "Contrib", "**", "*.smi"), recursive=True))
    seen = set()
    for path in files:
        with open(path, errors="replace") as lines:
            for line in lines:
                fields = line.split()
                mol = Chem.MolFromSmiles(fields[0]) if fields else None
                if mol is None or not 2 <= mol.GetNumHeavyAtoms() <= 60:
                    continue
                key = Chem.MolToSmiles(mol)
                if key not in seen:
                    seen.add(key)
                    yield key


def embedded(smiles, seed):
    mol = Chem.MolFromSmiles(smiles)
    if mol is None or any(a.GetNumRadicalElectrons() for a in mol.GetAtoms()):
        return None
    mol = Chem.AddHs(mol)
    fragments = Chem.GetMolFrags(mol, asMols=True)
    placed = None
    for fragment in fragments:
        if AllChem.EmbedMolecule(fragment, randomSeed=seed, maxAttempts=20) != 0:
            return None
        conformer = fragment.GetConformer()
        x = conformer.GetPositions()
        x = x - x.mean(axis=0)
        if placed is not None:
            direction = numpy.random.default_rng(seed).normal(size=3)
            direction /= numpy.linalg.norm(direction)
            # 2 Å beyond what is there along a random direction.
            there = placed.GetConformer().GetPositions() @ direction
            x = x + direction * (there.max() + 2.0 - (x @ direction).min())
        for i, p in enumerate(x):
            conformer.SetAtomPosition(i, p.tolist())
        placed = fragment if placed is None else Chem.CombineMols(placed, fragment)
    Chem.SanitizeMol(placed)
    if not AllChem.MMFFHasAllMoleculeParams(placed):
        return None
    placed.SetProp("_Name", smiles)
    return placed


def straight():
    pools = {name: [] for name in KINDS}
    patterns = {name: Chem.MolFromSmarts(s) for name, s in KINDS.items()}
    for smiles in lists():
        if "." in smiles:
            continue
        mol = Chem.MolFromSmiles(smiles)
        for name, pattern in patterns.items():
            if mol.HasSubstructMatch(pattern):
                pools[name].append(smiles)
                break
    yield from EXTRA
    for row in itertools.zip_longest(*pools.values()):
        yield from (s for s in row if s)


def salts():
    rng = random.Random(7)
    for smiles in lists():
        neutral = Chem.GetFormalCharge(Chem.MolFromSmiles(smiles)) == 0
        if "." in smiles and neutral:
            yield smiles
        elif not neutral:
            continue
        elif rng.random() < 0.1 and len(smiles) < 30:
            yield ".".join([smiles] + rng.sample(COMPANIONS, rng.randint(1, 3)))


def frozen():
    rng = random.Random(11)
    for smiles in lists():
        mol = Chem.MolFromSmiles(smiles)
        if "." not in smiles and mol.GetRingInfo().NumRings() > 0 and rng.random() < 0.3:
            yield smiles


def main():
    kind, count, out = sys.argv[1], int(sys.argv[2]), sys.argv[3]
    source = {"straight": straight, "salts": salts, "frozen": frozen}[kind]
    rng = random.Random(3)
    with Chem.SDWriter(out) as writer:
        written = 0
        for smiles in source():
            mol = embedded(smiles, 42)
            if mol is None:
                continue
            if kind == "frozen":
                ring = rng.choice([list(r) for r in mol.GetRingInfo().AtomRings()])
                if rng.random() < 0.3:  # only a part of the ring
                    ring = ring[:rng.randint(1, len(ring) - 1)]
                mol.SetProp("fixed", " ".join(map(str, ring)))
            writer.write(mol)
            written += 1
            if written == count:
                break
    print(written, "molecules")


main()
