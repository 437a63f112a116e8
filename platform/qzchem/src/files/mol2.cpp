// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <algorithm>
#include <charconv>
#include <cmath>
#include <ostream>
#include <sstream>
#include <string>
#include <unordered_set>
#include <vector>

#include "files/line_source.h"
#include "files/line_text.h"
#include "files/rdkit_files.h"
#include "files/records.h"
#include "files/sybyl.h"
#include "perception/elements.h"
#include "qzchem/partialcharge.h"
#include "qzchem/residue.h"
#include "qzchem/topology.h"

namespace QZChem {
namespace {

constexpr std::string_view kStart = "@<TRIPOS>MOLECULE";

// A word of the format: no blanks, not empty.
std::string Word(std::string text, const char* fallback) {
  std::ranges::replace(text, ' ', '_');
  return text.empty() ? fallback : text;
}

void AppendAtom(const QZMolBase& mol,
                const QZAtomBase& atom,
                unsigned int number,
                double charge,
                std::string& text) {
  double xyz[3];
  mol.GetCoords(&atom, xyz);
  const char* symbol = QZGetAtomicSymbol(atom.GetAtomicNumber());
  const QZResidue* residue = QZGetResidue(atom);
  const std::string name =
      residue != nullptr ? Word(residue->atomName, symbol) : symbol + std::to_string(number);
  const bool isHydrogen = atom.GetAtomicNumber() == 1;
  std::string type = SybylType(atom);
  if (isHydrogen && atom.GetIsotope() == 2) type = 'D';
  if (isHydrogen && atom.GetIsotope() == 3) type = 'T';
  AppendFormatted(text,
                  "%7u %-8s %11.4f %11.4f %11.4f %-6s %d %s %8.4f\n",
                  number,
                  name.c_str(),
                  xyz[0],
                  xyz[1],
                  xyz[2],
                  type.c_str(),
                  residue != nullptr ? residue->number : 1,
                  residue != nullptr ? Word(residue->name, "MOL").c_str() : "MOL",
                  charge);
}

std::vector<std::string> Words(std::string_view line) {
  std::istringstream in{std::string(line)};
  std::vector<std::string> words;
  for (std::string word; in >> word;) words.push_back(std::move(word));
  return words;
}

template <class Number>
bool ToNumber(const std::string& word, Number& value) {
  const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
  return error == std::errc() && end == word.data() + word.size();
}

bool IsOneOf(char letter, std::string_view letters) {
  return letters.find(letter) != std::string_view::npos;
}

// An atom type with an element that RDKit knows: hydrogen for its isotopes, "Cl" for "CL", and the
// elements of the types that AMBER's small-molecule force field writes in small letters ("ca" is an
// aromatic carbon). Capital "CA" is left alone: calcium to some, aromatic carbon to others; but an
// atom without bonds can only be the metal. Other types come back as they are.
std::string PlainType(const std::string& type, bool isBonded) {
  if (IsotopeOf(type) != 0) return "H";
  const std::size_t dot = std::min(type.find('.'), type.size());
  const std::string word = type.substr(0, dot);
  const std::string rest = type.substr(dot);
  const auto isSmall = [&](std::size_t k) { return word[k] >= 'a' && word[k] <= 'z'; };
  if (word.empty() || word.size() > 2) return type;
  if (isSmall(0)) {
    if (word == "cl") return "Cl";
    if (word == "br") return "Br";
    const bool isSulfur = word[0] == 's' && (word.size() == 1 || IsOneOf(word[1], "246hsxypq"));
    const bool isHalogen = word == "f" || word == "i";
    if (!rest.empty() || !(isSulfur || isHalogen || IsOneOf(word[0], "hcnop"))) return type;
    return std::string(1, static_cast<char>(word[0] - 'a' + 'A'));
  }
  if (word.size() != 2 || word[1] < 'A' || word[1] > 'Z') return type;
  const std::string symbol = {word[0], static_cast<char>(word[1] - 'A' + 'a')};
  const bool isClear = !IsOneOf(word[0], "CHNO") || word == "CL" || !isBonded;
  return isClear && AtomicNumberOf(symbol) != 0 ? symbol + rest : type;
}

// The lines of a record by section, checked where the parser would take their word for it.
class Mol2Record {
 public:
  /// "" or what is wrong.
  std::string Read(const std::string& text) {
    std::istringstream in(text);
    std::string section;
    for (std::string line; std::getline(in, line);) {
      ++numLines_;
      if (line.starts_with("@<TRIPOS>")) {
        section = TrimmedRight(line);
        inSection_ = 0;
      } else if (section == kStart) {
        if (++inSection_ == 2 && !readCounts(line)) {
          return "The counts line asks for more atoms or bonds than the record has lines";
        }
        if (inSection_ == 4) hasNoCharges_ = line.starts_with("NO_CHARGES");
      } else if (const std::string_view filled = Trimmed(line);
                 filled.empty() || filled.starts_with('#')) {
        continue;
      } else if (section == "@<TRIPOS>ATOM" && atoms_.size() < numAtoms_) {
        atoms_.push_back(Words(line));
        if (!atoms_.back().empty()) ids_.insert(atoms_.back()[0]);
      } else if (section == "@<TRIPOS>BOND" && numSeen_ < numBonds_) {
        if (std::string fault = faultOfBond(line); !fault.empty()) return fault;
      }
    }
    if (numAtoms_ > numLines_ || numBonds_ > numLines_) {
      return "The counts line asks for more atoms or bonds than the record has lines";
    }
    return "";
  }

  // The record with types that RDKit knows.
  std::string WithPlainTypes(const std::string& text) const {
    std::istringstream in(text);
    std::string result;
    std::string section;
    std::size_t number = 0;
    for (std::string line; std::getline(in, line); result += line + "\n") {
      if (line.starts_with("@<TRIPOS>")) section = TrimmedRight(line);
      const std::string_view filled = Trimmed(line);
      const bool isAtom = section == "@<TRIPOS>ATOM" && !line.starts_with("@<TRIPOS>") &&
                          !filled.empty() && !filled.starts_with('#');
      if (!isAtom || number >= atoms_.size()) continue;
      const std::vector<std::string>& words = atoms_[number++];
      if (words.size() < 6) continue;
      const std::string type = PlainType(words[5], bonded_.contains(words[0]));
      if (type == words[5]) continue;
      // Behind the coordinates; names may have the same letters.
      std::size_t at = 0;
      for (int k = 0; k < 5; ++k) {
        at = line.find_first_not_of(" \t", at);
        at = std::min(line.find_first_of(" \t", at), line.size());
      }
      line.replace(line.find_first_not_of(" \t", at), words[5].size(), type);
    }
    return result;
  }

  // What RDKit leaves out: residues, isotopes, and the charge of a lone ion, which its guess by
  // valences cannot know.
  void Complete(QZMolBase& mol) const {
    for (auto& atom : QZSystem::QZRange(mol.GetAtoms())) {
      if (atom.GetIndex() >= atoms_.size()) return;
      const std::vector<std::string>& words = atoms_[atom.GetIndex()];
      if (words.size() < 6) continue;
      if (const unsigned int isotope = IsotopeOf(words[5]); isotope != 0) {
        atom.SetIsotope(isotope);
      }
      double charge = 0.0;
      if (atom.GetDegree() == 0 && words.size() > 8 && ToNumber(words[8], charge) &&
          std::fabs(charge) < 8.0) {
        atom.SetFormalCharge(static_cast<int>(std::lround(charge)));
      }
      if (words.size() < 8) continue;
      QZResidue residue;
      residue.atomName = words[1];
      residue.name = words[7];
      if (!ToNumber(words[6], residue.number)) residue.number = 0;
      // Residues of macromolecules carry their number in their name too: "ALA12".
      const std::string number = std::to_string(residue.number);
      if (residue.name.size() > number.size() && residue.name.ends_with(number)) {
        residue.name.resize(residue.name.size() - number.size());
      }
      QZSetResidue(atom, residue);
    }
  }
  // "", or what to say where the charges of the file and those that bonds imply add up to
  // different sums.
  std::string DoubtAboutCharges(const QZMolBase& mol) const {
    double given = 0.0;
    bool isGiven = false;
    for (const std::vector<std::string>& words : atoms_) {
      double charge = 0.0;
      if (words.size() < 9 || !ToNumber(words[8], charge)) return "";
      given += charge;
      isGiven = isGiven || charge != 0.0;
    }
    int implied = 0;
    for (const auto& atom : QZSystem::QZRange(mol.GetAtoms())) implied += atom.GetFormalCharge();
    if (!isGiven || hasNoCharges_ || !(std::abs(given - implied) > 0.5)) return "";
    std::string text;
    AppendFormatted(text,
                    "its charges add up to %.1f, those that its bond orders imply to %d",
                    std::abs(given) < 0.05 ? 0.0 : given,
                    implied);
    return text;
  }

 private:
  bool readCounts(const std::string& line) {
    const std::vector<std::string> words = Words(line);
    constexpr std::size_t kMost = kMaxRecordBytes;
    if (!words.empty() && !ToNumber(words[0], numAtoms_) && words[0].size() > 9) return false;
    if (words.size() > 1 && !ToNumber(words[1], numBonds_) && words[1].size() > 9) return false;
    return numAtoms_ < kMost && numBonds_ < kMost;
  }
  std::string faultOfBond(const std::string& line) {
    const std::vector<std::string> words = Words(line);
    const std::string name = "Bond " + std::to_string(++numSeen_);
    if (words.size() < 4) return name + ": its line is cut short";
    for (const std::size_t k : {std::size_t{1}, std::size_t{2}}) {
      if (!ids_.contains(words[k])) return name + ": there is no atom " + words[k];
    }
    bonded_.insert({words[1], words[2]});
    if (words[1] == words[2]) return name + " joins atom " + words[1] + " to itself";
    const std::string& type = words[3];
    if (type == "1" || type == "2" || type == "3" || type == "am" || type == "ar") return "";
    return name + " has the type \"" + type + "\", which is no bond order";
  }

  std::size_t numLines_ = 0;
  std::size_t inSection_ = 0;
  std::size_t numAtoms_ = 0;
  std::size_t numBonds_ = 0;
  std::size_t numSeen_ = 0;
  std::vector<std::vector<std::string>> atoms_;
  std::unordered_set<std::string> ids_;
  std::unordered_set<std::string> bonded_;
  bool hasNoCharges_ = false;
};

}  // namespace

std::string ReadMol2(const std::string& text, QZGraphMol& mol, std::string& note) {
  const std::size_t start = text.find(kStart);
  if (start == std::string::npos) return "The record has no \"" + std::string(kStart) + "\" line";
  const std::string block = text.substr(start);
  Mol2Record record;
  if (std::string fault = record.Read(block); !fault.empty()) return fault;
  std::string error = ParseMol2Block(record.WithPlainTypes(block), mol);
  if (!error.empty()) return error;
  mol.SetTitle(std::string(Trimmed(mol.GetTitle())).c_str());
  record.Complete(mol);
  note = record.DoubtAboutCharges(mol);
  return "";
}

std::string WriteMol2(const QZGraphMol& mol,
                      std::string title,
                      std::ostream& out,
                      std::string& note) {
  if (title.starts_with("@<TRIPOS>") || title.starts_with('#')) {
    title = std::string(" ").append(title);
    note = "its title would break the format and is written with a blank before it";
  }
  if (Trimmed(title).empty()) title = "unnamed";  // RDKit takes an empty line for the block's end
  bool isPartial = true;
  bool isCharged = false;
  for (const auto& atom : QZSystem::QZRange(mol.GetAtoms())) {
    isPartial = isPartial && QZGetPartialCharge(atom).has_value();
    isCharged = isCharged || atom.GetFormalCharge() != 0;
  }
  std::string atoms;
  std::vector<unsigned int> numbers(mol.AtomIndexBound());
  unsigned int next = 0;
  for (const auto& atom : QZSystem::QZRange(mol.GetAtoms())) {
    numbers[atom.GetIndex()] = ++next;
    const double formal = atom.GetFormalCharge();
    AppendAtom(mol, atom, next, isPartial ? *QZGetPartialCharge(atom) : formal, atoms);
  }
  std::string bonds;
  next = 0;
  for (const auto& bond : QZSystem::QZRange(mol.GetBonds())) {
    AppendFormatted(bonds,
                    "%6u %5u %5u %u\n",
                    ++next,
                    numbers[bond.GetBegin()->GetIndex()],
                    numbers[bond.GetEnd()->GetIndex()],
                    bond.GetOrder());
  }
  out << kStart << '\n'
      << title << '\n'
      << mol.NumAtoms() << ' ' << mol.NumBonds() << " 1 0 0\nSMALL\n"
      << (isPartial || isCharged ? "USER_CHARGES" : "NO_CHARGES") << "\n@<TRIPOS>ATOM\n"
      << atoms << "@<TRIPOS>BOND\n"
      << bonds;
  return "";
}

}  // namespace QZChem
