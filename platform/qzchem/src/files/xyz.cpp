// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <charconv>
#include <ostream>
#include <sstream>
#include <string>

#include "files/line_source.h"
#include "files/line_text.h"
#include "files/records.h"
#include "perception/elements.h"
#include "perception/residues.h"
#include "qzchem/topology.h"

namespace QZChem {
namespace {

// A symbol or an atomic number; 0 for anything else.
unsigned int ElementOf(const std::string& word) {
  unsigned int number = 0;
  const char* end = word.data() + word.size();
  const auto [stop, error] = std::from_chars(word.data(), end, number);
  if (error == std::errc() && stop == end) return number <= kMaxAtomicNumber ? number : 0;
  return AtomicNumberOf(word);
}

// The next blank-separated word of `line`, taken off it.
std::string TakeWord(std::string_view& line) {
  line = Trimmed(line);
  const std::string_view word = line.substr(0, line.find_first_of(" \t"));
  line.remove_prefix(word.size());
  return std::string(word);
}

bool ToDouble(const std::string& word, double& value) {
  const char* begin = word.data() + (word.starts_with('+') ? 1 : 0);
  const char* end = word.data() + word.size();
  const auto [stop, error] = std::from_chars(begin, end, value);
  return error == std::errc() && stop == end;
}

// "" or what is wrong with an atom line.
std::string ReadAtom(std::string_view line, QZGraphMol& mol) {
  const std::string symbol = TakeWord(line);
  const unsigned int element = ElementOf(symbol);
  if (element == 0) return "unknown element \"" + symbol + "\"";
  double xyz[3];
  for (double& value : xyz) {
    const std::string word = TakeWord(line);
    if (!ToDouble(word, value)) return "\"" + word + "\" is no coordinate";
  }
  mol.AddAtom(element, xyz[0], xyz[1], xyz[2])->SetIsotope(IsotopeOf(symbol));
  return "";
}

}  // namespace

std::string ReadXyz(const std::string& text, QZGraphMol& mol) {
  std::istringstream in(text);
  std::string line;
  while (std::getline(in, line) && Trimmed(line).empty()) {
  }
  std::string_view rest = line;
  const std::string countWord = TakeWord(rest);
  unsigned int count = 0;
  const char* end = countWord.data() + countWord.size();
  const auto [stop, error] = std::from_chars(countWord.data(), end, count);
  if (error != std::errc() || stop != end || !Trimmed(rest).empty()) {
    return "The record does not begin with its number of atoms";
  }
  std::getline(in, line);
  mol.SetTitle(std::string(Trimmed(line)).c_str());
  for (unsigned int i = 0; i < count; ++i) {
    if (!std::getline(in, line)) {
      return "The record ends after " + std::to_string(i) + " of " + std::to_string(count) +
             " atoms";
    }
    const std::string fault = ReadAtom(line, mol);
    if (!fault.empty()) return "Atom " + std::to_string(i + 1) + ": " + fault;
  }
  ConnectByDistance(mol);
  MarkUnknownOrders(mol);
  SetDimension(mol, Dimension::Three);
  return "";
}

std::string WriteXyz(const QZGraphMol& mol, const std::string& title, std::ostream& out) {
  std::string text = std::to_string(mol.NumAtoms()) + "\n" + title + "\n";
  for (const auto& atom : QZSystem::QZRange(mol.GetAtoms())) {
    double xyz[3];
    mol.GetCoords(&atom, xyz);
    const char* symbol = QZGetAtomicSymbol(atom.GetAtomicNumber());
    if (atom.GetAtomicNumber() == 1 && atom.GetIsotope() == 2) symbol = "D";
    if (atom.GetAtomicNumber() == 1 && atom.GetIsotope() == 3) symbol = "T";
    AppendFormatted(text, "%-2s %15.8f %15.8f %15.8f\n", symbol, xyz[0], xyz[1], xyz[2]);
  }
  out << text;
  return "";
}

}  // namespace QZChem
