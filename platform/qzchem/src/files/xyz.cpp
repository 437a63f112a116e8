// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <algorithm>
#include <charconv>
#include <cstdio>
#include <locale>
#include <ostream>
#include <sstream>
#include <string>

#include "perception/elements.h"
#include "files/line_source.h"
#include "qzchem/topology.h"
#include "files/records.h"

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
  mol.AddAtom(element, xyz[0], xyz[1], xyz[2]);
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
  SetDimension(mol, Dimension::Three);
  return "";
}

std::string WriteXyz(const QZGraphMol& mol, std::ostream& out) {
  std::string title = mol.GetTitle();
  std::ranges::replace(title, '\n', ' ');
  std::string text = std::to_string(mol.NumAtoms()) + "\n" + title + "\n";
  for (const auto& atom : QZSystem::QZRange(mol.GetAtoms())) {
    double xyz[3];
    mol.GetCoords(&atom, xyz);
    char line[128];
    const int length = std::snprintf(line,
                                     sizeof line,
                                     "%-2s %15.8f %15.8f %15.8f\n",
                                     QZGetAtomicSymbol(atom.GetAtomicNumber()),
                                     xyz[0],
                                     xyz[1],
                                     xyz[2]);
    if (length < 0 || length >= static_cast<int>(sizeof line)) return "A coordinate is too large";
    text.append(line, static_cast<std::size_t>(length));
  }
  out << text;
  return "";
}

}  // namespace QZChem
