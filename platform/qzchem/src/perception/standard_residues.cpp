// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "perception/standard_residues.h"

#include <algorithm>
#include <array>
#include <memory>
#include <string>
#include <unordered_map>

namespace QZChem {
namespace {

using enum StandardResidue::Kind;

// Side chains beyond N, CA, C and O. Atom names, and protonation usual at pH 7: Asp, Glu, Lys and
// Arg charged, His with the hydrogen on NE2.
struct SideChain {
  std::string_view names;  // alternatives
  std::string_view atoms;
  std::string_view states;
};
constexpr std::string_view kPhenyl = "CG=CD1 CE1=CZ CE2=CD2";
constexpr std::array kSideChains = {
    SideChain{"ALA", "CB", ""},
    SideChain{"ARG", "CB CG CD NE CZ NH1 NH2", "CZ=NH1 NH1+|CZ=NH2 NH2+|CZ=NE NE+"},
    SideChain{"ASN", "CB CG OD1 ND2", "CG=OD1"},
    SideChain{"ASP ASH", "CB CG OD1 OD2", "CG=OD1 OD2-|CG=OD2 OD1-"},
    SideChain{"CYS CYX CYM", "CB SG", ""},
    SideChain{"GLN", "CB CG CD OE1 NE2", "CD=OE1"},
    SideChain{"GLU GLH", "CB CG CD OE1 OE2", "CD=OE1 OE2-|CD=OE2 OE1-"},
    SideChain{"GLY", "", ""},
    SideChain{"HIS HIE HSE", "CB CG ND1 CD2 CE1 NE2", "CG=CD2 ND1=CE1|CG=CD2 CE1=NE2"},
    SideChain{"HID HSD", "CB CG ND1 CD2 CE1 NE2", "CG=CD2 CE1=NE2|CG=CD2 ND1=CE1"},
    SideChain{"HIP HSP", "CB CG ND1 CD2 CE1 NE2", "CG=CD2 ND1=CE1 ND1+"},
    SideChain{"ILE", "CB CG1 CG2 CD1", ""},
    SideChain{"LEU", "CB CG CD1 CD2", ""},
    SideChain{"LYS", "CB CG CD CE NZ", "NZ+"},
    SideChain{"LYN", "CB CG CD CE NZ", ""},
    SideChain{"MET", "CB CG SD CE", ""},
    SideChain{"MSE", "CB CG SE CE", ""},
    SideChain{"PHE", "CB CG CD1 CD2 CE1 CE2 CZ", kPhenyl},
    SideChain{"PRO", "CB CG CD", ""},
    SideChain{"SER", "CB OG", ""},
    SideChain{"THR", "CB OG1 CG2", ""},
    SideChain{"TRP", "CB CG CD1 CD2 NE1 CE2 CE3 CZ2 CZ3 CH2", "CG=CD1 CD2=CE2 CE3=CZ3 CZ2=CH2"},
    SideChain{"TYR", "CB CG CD1 CD2 CE1 CE2 CZ OH", kPhenyl},
    SideChain{"VAL", "CB CG1 CG2", ""},
};

struct Base {
  std::string_view names;
  std::string_view atoms;
  std::string_view states;
};
constexpr std::array kBases = {
    Base{"A DA RA ADE DA5 DA3 A5 A3", "N9 C8 N7 C5 C6 N6 N1 C2 N3 C4", "C8=N7 C5=C4 C6=N1 C2=N3"},
    Base{
        "G DG RG GUA DG5 DG3 G5 G3", "N9 C8 N7 C5 C6 O6 N1 C2 N2 N3 C4", "C8=N7 C4=C5 C6=O6 C2=N3"},
    Base{"I DI", "N9 C8 N7 C5 C6 O6 N1 C2 N3 C4", "C8=N7 C4=C5 C6=O6 C2=N3"},
    Base{"C DC RC CYT DC5 DC3 C5 C3", "N1 C2 O2 N3 C4 N4 C5 C6", "C2=O2 N3=C4 C5=C6"},
    Base{"U DU RU URA U5 U3", "N1 C2 O2 N3 C4 O4 C5 C6", "C2=O2 C4=O4 C5=C6"},
    Base{"T DT THY DT5 DT3", "N1 C2 O2 N3 C4 O4 C5 C6 C7", "C2=O2 C4=O4 C5=C6"},
};
constexpr std::string_view kSugar = "O5' C5' C4' O4' C3' O3' C2' C1' ";
constexpr std::string_view kPhosphate = "P OP1 OP2 OP3 O2'";
constexpr std::array<std::string_view, 2> kPhosphates = {"P=OP1 OP2- ", "P=OP2 OP1- "};

constexpr std::array kOthers = {
    StandardResidue{"ACE", Polymer, "C O", "C=O", "CH3 CA"},
    StandardResidue{"NME", Polymer, "N", "", "C CH3 CA"},
    StandardResidue{"NMA", Polymer, "N", "", "C CH3 CA"},
    StandardResidue{"NH2", Polymer, "N", ""},
    StandardResidue{"HOH", Solvent, "O", ""},
    StandardResidue{"WAT", Solvent, "", "", "O OW OH2"},
    StandardResidue{"H2O", Solvent, "", "", "O OW OH2"},
    StandardResidue{"SOL", Solvent, "", "", "O OW OH2"},
    StandardResidue{"TIP", Solvent, "", "", "O OW OH2"},
    StandardResidue{"TIP3", Solvent, "", "", "O OW OH2"},
    StandardResidue{"DOD", Solvent, "O", ""},
    StandardResidue{"SO4", Solvent, "S O1 O2 O3 O4", "S=O1 S=O2 O3- O4-"},
    StandardResidue{"GOL", Solvent, "C1 O1 C2 O2 C3 O3", ""},
    StandardResidue{"EDO", Solvent, "C1 O1 C2 O2", ""},
};

struct IonCharge {
  std::string_view name;
  int charge;
};
constexpr std::array kIons = {
    IonCharge{"LI", 1},   IonCharge{"NA", 1},   IonCharge{"K", 1},   IonCharge{"RB", 1},
    IonCharge{"CS", 1},   IonCharge{"MG", 2},   IonCharge{"CA", 2},  IonCharge{"SR", 2},
    IonCharge{"BA", 2},   IonCharge{"ZN", 2},   IonCharge{"CD", 2},  IonCharge{"HG", 2},
    IonCharge{"MN", 2},   IonCharge{"FE", 3},   IonCharge{"FE2", 2}, IonCharge{"CO", 2},
    IonCharge{"NI", 2},   IonCharge{"CU", 2},   IonCharge{"CU1", 1}, IonCharge{"AL", 3},
    IonCharge{"F", -1},   IonCharge{"CL", -1},  IonCharge{"BR", -1}, IonCharge{"IOD", -1},
    IonCharge{"NA+", 1},  IonCharge{"CL-", -1}, IonCharge{"K+", 1},  IonCharge{"AG", 1},
    IonCharge{"CLA", -1}, IonCharge{"SOD", 1},
};

std::vector<std::string_view> Words(std::string_view text, char separator = ' ') {
  std::vector<std::string_view> words;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find(separator), text.size());
    if (end > 0 || separator == '|') words.push_back(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return words;
}

using Table = std::unordered_map<std::string_view, StandardResidue>;

Table MakeTable() {
  // Never destroyed: the table refers to them until the process ends.
  static auto* const texts = new std::vector<std::unique_ptr<const std::string>>;
  const auto keep = [](std::string text) -> std::string_view {
    return *texts->emplace_back(std::make_unique<const std::string>(std::move(text)));
  };
  Table table;
  for (const StandardResidue& other : kOthers) table.emplace(other.name, other);
  for (const IonCharge& ion : kIons) {
    StandardResidue residue{ion.name, Ion, "", "", ""};
    residue.charge = ion.charge;
    table.emplace(ion.name, residue);
  }
  for (const SideChain& chain : kSideChains) {
    const std::string_view atoms = keep("N CA C O " + std::string(chain.atoms));
    for (const std::string_view name : Words(chain.names)) {
      StandardResidue residue{name, Polymer, atoms, chain.states, "OXT"};
      residue.isAminoAcid = true;
      table.emplace(name, residue);
    }
  }
  for (const Base& base : kBases) {
    const std::string_view atoms = keep(std::string(kSugar) + std::string(base.atoms));
    std::string states;
    for (const std::string_view phosphate : kPhosphates) {
      if (!states.empty()) states += '|';
      states.append(phosphate).append(base.states);
    }
    const std::string_view kept = keep(std::move(states));
    for (const std::string_view name : Words(base.names)) {
      table.emplace(name, StandardResidue{name, Polymer, atoms, kept, kPhosphate});
    }
  }
  return table;
}

}  // namespace

bool StandardResidue::HasAtom(std::string_view atom) const {
  if (kind == Ion) return true;
  for (const std::string_view list : {atoms, optional}) {
    const std::vector<std::string_view> names = Words(list);
    if (std::ranges::find(names, atom) != names.end()) return true;
  }
  return false;
}

std::vector<std::string> StandardResidue::States(bool isLast) const {
  std::vector<std::string> result;
  std::vector<std::string_view> ways = Words(states, '|');
  if (ways.empty()) ways.emplace_back();
  for (const std::string_view way : ways) {
    result.emplace_back(isAminoAcid ? "C=O " : "").append(way);
    // A hydrogen on O rather than on OXT.
    if (isLast && isAminoAcid) result.emplace_back("C=OXT ").append(way);
  }
  return result;
}

const StandardResidue* FindStandardResidue(std::string_view name) {
  static const Table table = MakeTable();
  const auto found = table.find(name);
  return found != table.end() ? &found->second : nullptr;
}

}  // namespace QZChem
