// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <cmath>
#include <ostream>
#include <string>
#include <vector>

#include "files/line_text.h"
#include "files/records.h"
#include "perception/residues.h"
#include "qzchem/residue.h"
#include "qzchem/topology.h"
#include "topology/mol_impl.h"

namespace QZChem {
namespace {

constexpr unsigned int kMaxAtoms = 99999;
constexpr double kMaxCoordinate = 9999.0;  // Å, negative ones have a column less

// Columns 13 to 16: short names begin a column later where the symbol has one letter.
std::string NameColumns(const std::string& name, const std::string& symbol) {
  std::string text = name.size() < 4 && symbol.size() < 2 ? " " + name : name;
  text.resize(4, ' ');
  return text;
}

// Columns 18 to 21, up to three letters right-aligned before the last.
std::string NameOfResidue(const std::string& name) {
  return name.size() < 4 ? std::string(3 - name.size(), ' ') + name : name;
}

std::string ChargeColumns(int charge) {
  if (charge == 0 || std::abs(charge) > 9) return "  ";
  return std::to_string(std::abs(charge)) + (charge > 0 ? '+' : '-');
}

QZResidue ResidueToWrite(const QZAtomBase& atom, const std::string& symbol, unsigned int number) {
  if (const QZResidue* known = QZGetResidue(atom); known != nullptr) return *known;
  QZResidue residue;
  residue.name = "UNL";
  residue.number = 1;
  residue.isHetero = true;
  residue.atomName = symbol + std::to_string(number);
  if (residue.atomName.size() > 4) residue.atomName = symbol;
  return residue;
}

// True where a reader knows the bonds without being told.
bool IsImplied(const QZBondBase& bond) {
  const auto isPolymer = [](const QZAtomBase* atom) {
    const QZResidue* residue = QZGetResidue(*atom);
    return residue != nullptr && !residue->isHetero && IsPolymerResidue(residue->name);
  };
  return isPolymer(bond.GetBegin()) && isPolymer(bond.GetEnd());
}

void AppendConnections(const QZAtomBase& atom,
                       const std::vector<unsigned int>& numbers,
                       std::string& text) {
  unsigned int inLine = 0;
  for (const QZBondBase* bond : QZMolAccess::Bonds(atom)) {
    if (IsImplied(*bond)) continue;
    for (unsigned int k = 0; k < bond->GetOrder(); ++k) {
      if (inLine == 0) AppendFormatted(text, "CONECT%5u", numbers[atom.GetIndex()]);
      AppendFormatted(text, "%5u", numbers[bond->GetNeighbour(&atom)->GetIndex()]);
      inLine = (inLine + 1) % 4;
      if (inLine == 0) text += '\n';
    }
  }
  if (inLine != 0) text += '\n';
}

}  // namespace

std::string WritePdb(const QZGraphMol& mol, const std::string& title, std::ostream& out) {
  if (mol.NumAtoms() > kMaxAtoms) return "PDB has no columns for more than 99999 atoms";
  std::string text;
  if (!title.empty()) text += "COMPND    " + title + "\n";
  std::vector<unsigned int> numbers(mol.AtomIndexBound());
  unsigned int number = 0;
  for (const auto& atom : QZSystem::QZRange(mol.GetAtoms())) {
    double xyz[3];
    mol.GetCoords(&atom, xyz);
    numbers[atom.GetIndex()] = ++number;
    for (const double value : xyz) {
      if (value >= kMaxCoordinate || value <= -0.1 * kMaxCoordinate) {
        return "PDB has no columns for the coordinates of atom " + std::to_string(number);
      }
    }
    const std::string symbol = QZGetAtomicSymbol(atom.GetAtomicNumber());
    const QZResidue residue = ResidueToWrite(atom, symbol, number);
    if (residue.number > 9999 || residue.number < -999) {
      return "PDB has no columns for the residue number " + std::to_string(residue.number);
    }
    const bool isHeavyHydrogen = atom.GetAtomicNumber() == 1 && atom.GetIsotope() == 2;
    AppendFormatted(text,
                    "%-6s%5u %-4.4s %-4.4s%1.1s%4d%c   "
                    "%8.3f%8.3f%8.3f%6.2f%6.2f          %2.2s%2.2s\n",
                    residue.isHetero ? "HETATM" : "ATOM",
                    number,
                    NameColumns(residue.atomName, symbol).c_str(),
                    NameOfResidue(residue.name).c_str(),
                    residue.chain.empty() ? " " : residue.chain.c_str(),
                    residue.number,
                    residue.insertionCode,
                    xyz[0],
                    xyz[1],
                    xyz[2],
                    residue.occupancy,
                    residue.temperatureFactor,
                    isHeavyHydrogen ? "D" : symbol.c_str(),
                    ChargeColumns(atom.GetFormalCharge()).c_str());
  }
  for (const auto& atom : QZSystem::QZRange(mol.GetAtoms())) {
    AppendConnections(atom, numbers, text);
  }
  out << text << "END\n";
  return "";
}

}  // namespace QZChem
