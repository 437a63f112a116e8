#!/usr/bin/python3
"""1,000 molecules through molpot and through RDKit's own MMFF94 minimiser.

    bench/throughput.py build/release/tools/molpot/molpot [COUNT]

Molecules are the first of RDKit's NCI list that embed and have MMFF94 parameters; the embedded file
is kept in build/bench. Prints losses, peak memory, time and evaluations a molecule, and how the
energies compare.
"""
import json
import os
import subprocess
import sys
import time

import rdkit.ForceField.rdForceField
from rdkit import Chem, RDConfig, RDLogger
from rdkit.Chem import AllChem

RDLogger.DisableLog("rdApp.*")


def embed(path, count):
    smiles = os.path.join(RDConfig.RDDataDir, "NCI", "first_5K.smi")
    with Chem.SDWriter(path) as writer, open(smiles) as lines:
        written = 0
        for line in lines:
            mol = Chem.MolFromSmiles(line.split()[0])
            if mol is None or mol.GetNumHeavyAtoms() < 3:
                continue
            mol = Chem.AddHs(mol)
            if AllChem.EmbedMolecule(mol, randomSeed=42, maxAttempts=20) != 0:
                continue
            if not AllChem.MMFFHasAllMoleculeParams(mol):
                continue
            mol.SetProp("_Name", line.split()[1])
            writer.write(mol)
            written += 1
            if written == count:
                return


def run_molpot(molpot, path, out, threads):
    """Outcomes by record, seconds, and peak memory in MiB of one run."""
    start = time.perf_counter()
    with subprocess.Popen([molpot, "minimize", path, "-o", out, "-j", str(threads), "--json"],
                          stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True) as process:
        outcomes = [json.loads(line) for line in process.stdout]
        _, _, usage = os.wait4(process.pid, 0)
        process.returncode = 0
    return outcomes, time.perf_counter() - start, usage.ru_maxrss / 1024


def rms_gradient(mol):
    gradient = field_of(mol).CalcGrad()
    return (sum(g * g for g in gradient) / len(gradient)) ** 0.5


def field_of(mol):
    return AllChem.MMFFGetMoleculeForceField(mol, AllChem.MMFFGetMoleculeProperties(mol))


def run_rdkit(path, out):
    """RDKit reads, types, minimises and writes the file; its molecules and the seconds of that."""
    start = time.perf_counter()
    molecules = []
    with Chem.SDWriter(out) as writer:
        for mol in Chem.SDMolSupplier(path, removeHs=False):
            AllChem.MMFFOptimizeMolecule(mol, maxIters=5000)
            writer.write(mol)
            molecules.append(mol)
    return molecules, time.perf_counter() - start


def median(values):
    ordered = sorted(values)
    return ordered[len(ordered) // 2]


def main():
    molpot = sys.argv[1]
    count = int(sys.argv[2]) if len(sys.argv) > 2 else 1000
    os.makedirs("build/bench", exist_ok=True)
    path, few, out = (f"build/bench/nci{count}.sdf", "build/bench/nci10.sdf", "build/bench/out.sdf")
    if not os.path.exists(path):
        embed(path, count)
    if not os.path.exists(few):
        embed(few, 10)

    _, _, memory_few = run_molpot(molpot, few, out, 2)
    molecules, rdkit_seconds = run_rdkit(path, out)
    rdkit = [field_of(mol).CalcEnergy() for mol in molecules]
    single, single_seconds, _ = run_molpot(molpot, path, out, 1)
    double, double_seconds, memory_many = run_molpot(molpot, path, out, 2)
    written = sum(1 for mol in Chem.SDMolSupplier(out, removeHs=False, sanitize=False) if mol)

    good = [(o, e) for o, e in zip(double, rdkit) if "energy" in o]
    close = sum(o["energy"] <= e + 0.05 for o, e in good)
    print(f"molecules              {len(rdkit)} in, {len(double)} reported, {written} written")
    print(f"failed                 {sum('error' in o for o in double)}")
    print(f"not converged          {sum(not o.get('converged', True) for o in double)}")
    print(f"evaluations, median    {median(o['evaluations'] for o, _ in good)}")
    print(f"RMS gradient, median   RDKit {median(map(rms_gradient, molecules)):.1e}, "
          f"molpot {median(o['gradient_norm'] for o, _ in good):.1e} kcal/mol/Å")
    print(f"ms a molecule          RDKit {1e3 * rdkit_seconds / len(rdkit):.2f}, "
          f"molpot -j 1 {1e3 * single_seconds / len(single):.2f}, "
          f"-j 2 {1e3 * double_seconds / len(double):.2f} (wall time, reading and writing included)")
    print(f"RDKit / molpot -j 1    {rdkit_seconds / single_seconds:.1f}; "
          f"-j 1 / -j 2 {single_seconds / double_seconds:.2f}")
    print(f"energy within 0.05 or below RDKit's: {close} of {len(good)} "
          f"({100 * close / len(good):.1f} %)")
    print(f"peak memory            {memory_few:.0f} MiB for 10, {memory_many:.0f} MiB for {count}")


if __name__ == "__main__":
    main()
