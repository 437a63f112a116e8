#!/usr/bin/python3
"""hiv_protease.pdb and amprenavir.sdf from the crystal structure 1HPV.

    /usr/bin/python3 data/make_complex.py [1hpv.pdb]

The structure (Kim et al., J. Am. Chem. Soc. 117, 1181 (1995)) comes with Debian's pymol-data. The
protein is kept as it stands, without waters; the drug, residue 478, which a PDB file gives no bond
orders, takes them from its SMILES, and hydrogens.
"""
import os
import sys

from rdkit import Chem, RDLogger
from rdkit.Chem import AllChem

RDLogger.DisableLog("rdApp.warning")  # the drug fits its SMILES in more than one way: equal atoms

DRUG = "CC(C)CN(C[C@H]([C@H](Cc1ccccc1)NC(=O)O[C@H]2CCOC2)O)S(=O)(=O)c3ccc(cc3)N"


def main(path):
    here = os.path.dirname(os.path.abspath(__file__))
    with open(path, encoding="ascii") as file:
        lines = [line.rstrip() for line in file]
    protein = [line[:66] + "          " + line[12:14].strip("0123456789 ")[:1].rjust(2)
               for line in lines if line.startswith("ATOM")]
    with open(os.path.join(here, "hiv_protease.pdb"), "w", encoding="ascii") as out:
        out.write("TITLE     HIV-1 PROTEASE OF THE CRYSTAL STRUCTURE 1HPV, WITHOUT DRUG AND WATERS\n")
        out.write("\n".join(protein) + "\nEND\n")
    block = "\n".join(line for line in lines
                      if line.startswith("HETATM") and line[17:20] == "478") + "\nEND\n"
    drug = AllChem.AssignBondOrdersFromTemplate(Chem.MolFromSmiles(DRUG),
                                                Chem.MolFromPDBBlock(block))
    drug = Chem.AddHs(drug, addCoords=True)
    drug.SetProp("_Name", "amprenavir")
    with Chem.SDWriter(os.path.join(here, "amprenavir.sdf")) as out:
        out.write(drug)


if __name__ == "__main__":
    main(sys.argv[1] if len(sys.argv) > 1 else "/usr/share/pymol/data/tut/1hpv.pdb")
