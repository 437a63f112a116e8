// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

#include "files/line_source.h"
#include "qzchem/topology.h"
#include "files/rdkit_files.h"
#include "files/records.h"
#include "files/sybyl.h"

namespace QZChem {
namespace {

constexpr std::string_view kStart = "@<TRIPOS>MOLECULE";

template <class... Arguments>
void Append(std::string& text, const char* format, Arguments... arguments) {
  char line[256];
  const int length = std::snprintf(line, sizeof line, format, arguments...);
  text.append(line, static_cast<std::size_t>(std::clamp(length, 0, 255)));
}

void AppendAtom(const QZMolBase& mol,
                const QZAtomBase& atom,
                unsigned int number,
                std::string& text) {
  double xyz[3];
  mol.GetCoords(&atom, xyz);
  const std::string name = QZGetAtomicSymbol(atom.GetAtomicNumber()) + std::to_string(number);
  Append(text,
         "%7u %-8s %11.4f %11.4f %11.4f %-6s 1 MOL %8.4f\n",
         number,
         name.c_str(),
         xyz[0],
         xyz[1],
         xyz[2],
         SybylType(atom).c_str(),
         static_cast<double>(atom.GetFormalCharge()));
}

// RDKit guesses charges from valences, which tell nothing about a lone ion: there the charge column
// counts.
void ReadIonCharges(std::string_view text, QZMolBase& mol) {
  constexpr std::string_view kAtoms = "@<TRIPOS>ATOM\n";
  const std::size_t start = text.find(kAtoms);
  if (start == std::string_view::npos) return;
  std::istringstream lines{std::string(text.substr(start + kAtoms.size()))};
  for (auto& atom : QZSystem::QZRange(mol.GetAtoms())) {
    std::string line;
    if (!std::getline(lines, line)) return;
    if (atom.GetDegree() > 0) continue;
    std::istringstream words(line);
    std::string skipped;
    double charge = 0.0;
    for (int column = 0; column < 8; ++column) words >> skipped;
    if (words >> charge && std::fabs(charge) < 8.0) {
      atom.SetFormalCharge(static_cast<int>(std::lround(charge)));
    }
  }
}

}  // namespace

std::string ReadMol2(const std::string& text, QZGraphMol& mol) {
  const std::size_t start = text.find(kStart);
  if (start == std::string::npos) return "The record has no \"" + std::string(kStart) + "\" line";
  std::string error = ParseMol2Block(text.substr(start), mol);
  if (!error.empty()) return error;
  mol.SetTitle(std::string(Trimmed(mol.GetTitle())).c_str());
  ReadIonCharges(text, mol);
  return "";
}

std::string WriteMol2(const QZGraphMol& mol, std::ostream& out) {
  std::string title = mol.GetTitle();
  std::ranges::replace_if(
      title, [](char c) { return c == '\n' || c == '\r'; }, ' ');
  if (title.empty()) title = "unnamed";  // RDKit takes an empty line for the end of the block
  const auto isCharged = [](const QZAtomBase& atom) { return atom.GetFormalCharge() != 0; };
  bool hasCharges = false;
  std::string atoms;
  std::vector<unsigned int> numbers(mol.AtomIndexBound());
  unsigned int next = 0;
  for (const auto& atom : QZSystem::QZRange(mol.GetAtoms())) {
    numbers[atom.GetIndex()] = ++next;
    hasCharges = hasCharges || isCharged(atom);
    AppendAtom(mol, atom, next, atoms);
  }
  std::string bonds;
  next = 0;
  for (const auto& bond : QZSystem::QZRange(mol.GetBonds())) {
    Append(bonds,
           "%6u %5u %5u %u\n",
           ++next,
           numbers[bond.GetBegin()->GetIndex()],
           numbers[bond.GetEnd()->GetIndex()],
           bond.GetOrder());
  }
  out << kStart << '\n'
      << title << '\n'
      << mol.NumAtoms() << ' ' << mol.NumBonds() << " 1 0 0\nSMALL\n"
      << (hasCharges ? "USER_CHARGES" : "NO_CHARGES") << "\n@<TRIPOS>ATOM\n"
      << atoms << "@<TRIPOS>BOND\n"
      << bonds;
  return "";
}

}  // namespace QZChem
