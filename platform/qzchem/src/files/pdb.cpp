// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <algorithm>
#include <cmath>
#include <ostream>
#include <string>
#include <string_view>

#include "perception/elements.h"
#include "files/line_source.h"
#include "topology/mol_impl.h"
#include "files/rdkit_files.h"
#include "files/records.h"

namespace QZChem {
namespace {

constexpr std::size_t kCoordinatesEnd = 54;
constexpr std::size_t kAltLoc = 16;
constexpr std::size_t kElement = 76;
constexpr unsigned int kMaxAtoms = 99999;
constexpr double kMaxCoordinate = 9999.0;  // Å, negative ones have a column less

bool IsAtomLine(std::string_view line) {
  return line.starts_with("ATOM  ") || line.starts_with("HETATM");
}

// "" or what is wrong with an atom line; RDKit would drop some such atoms without a word.
std::string FaultOf(std::string_view line) {
  if (line.size() < kCoordinatesEnd || TrimmedRight(line).size() < kCoordinatesEnd - 2) {
    return "its line is cut short";  // a digit less would be another coordinate
  }
  if (line.size() < kElement + 2) return "";
  const std::string_view element = Trimmed(line.substr(kElement, 2));
  if (element.empty() || AtomicNumberOf(element) != 0) return "";
  return "unknown element \"" + std::string(element) + "\"";
}

// RDKit keeps the first of alternative locations.
bool IsKept(std::string_view line) {
  const char altLoc = line[kAltLoc];
  return altLoc == ' ' || altLoc == 'A' || altLoc == '1';
}

}  // namespace

std::string ReadPdb(const std::string& text, QZGraphMol& mol) {
  std::string block;  // without the marks of a model, behind which RDKit reads no bonds
  std::string title;
  unsigned int number = 0;
  unsigned int kept = 0;
  for (std::string_view rest = text; !rest.empty();) {
    const std::size_t length = std::min(rest.find('\n'), rest.size());
    const std::string_view line = rest.substr(0, length);
    rest.remove_prefix(std::min(length + 1, rest.size()));
    if (IsAtomLine(line)) {
      ++number;
      std::string fault = FaultOf(line);
      if (!fault.empty()) return "Atom " + std::to_string(number) + ": " + fault;
      if (IsKept(line)) ++kept;
    } else if (line.starts_with("MODEL ") || line.starts_with("ENDMDL") ||
               TrimmedRight(line) == "END") {
      continue;
    } else if (title.empty() && line.starts_with("COMPND") && line.size() > 10) {
      title = Trimmed(line.substr(10));
    }
    block.append(line).append("\n");
  }
  if (number == 0) return "The record has no atoms";
  std::string error = ParsePdbBlock(block, mol);
  if (!error.empty()) return error;
  if (mol.NumAtoms() != kept) {
    return "Only " + std::to_string(mol.NumAtoms()) + " of " + std::to_string(kept) +
           " atoms can be read";
  }
  if (*mol.GetTitle() == '\0') mol.SetTitle(title.c_str());
  SetDimension(mol, Dimension::Three);
  return "";
}

std::string WritePdb(const QZGraphMol& mol, std::ostream& out) {
  if (mol.NumAtoms() > kMaxAtoms) return "PDB has no columns for more than 99999 atoms";
  for (const double value : QZMolAccess::Impl(mol).coords) {
    if (value >= kMaxCoordinate || value <= -0.1 * kMaxCoordinate)
      return "PDB has no columns for its coordinates";
  }
  std::string block;
  std::string error = MakePdbBlock(mol, block);
  if (error.empty()) out << block;
  return error;
}

}  // namespace QZChem
