// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "files/line_source.h"
#include "files/records.h"
#include "perception/elements.h"
#include "perception/residues.h"
#include "qzchem/residue.h"
#include "topology/mol_impl.h"
#include "topology/valence.h"

namespace QZChem {
namespace {

constexpr std::size_t kCoordinatesEnd = 54;

bool IsAtomLine(std::string_view line) {
  return line.starts_with("ATOM  ") || line.starts_with("HETATM");
}

std::string_view Columns(std::string_view line, std::size_t first, std::size_t count) {
  return first <= line.size() ? line.substr(first - 1, count) : std::string_view();
}

// The name in a COMPND line, which in newer files is one of several "KEY: value;"; "" for others.
std::string_view CompoundName(std::string_view text) {
  constexpr std::string_view kName = "MOLECULE:";
  if (text.starts_with("MOL_ID:")) return "";
  if (!text.starts_with(kName)) return text;
  text = Trimmed(text.substr(kName.size()));
  if (text.ends_with(';')) text.remove_suffix(1);
  return text;
}

template <class Number>
bool ToNumber(std::string_view text, Number& value) {
  text = Trimmed(text);
  if (text.starts_with('+')) text.remove_prefix(1);
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc() && end == text.data() + text.size();
}

bool IsDigit(char c) {
  return std::isdigit(static_cast<unsigned char>(c)) != 0;
}
bool IsLetter(char c) {
  return std::isalpha(static_cast<unsigned char>(c)) != 0;
}

// The element by columns 13 to 16, where its symbol ends in column 14: " CA " is carbon and "CA  "
// calcium, but for residues of polymers, whose long names begin a column early.
std::string ElementByName(std::string_view name, std::string_view residue) {
  std::string letters;
  for (const char c : name) {
    if (IsLetter(c)) letters += c;
  }
  if (letters.empty()) return "";
  const bool isShifted = name.size() > 1 && IsLetter(name[0]) && IsLetter(name[1]);
  const bool isHydrogen = letters[0] == 'H' && name.find(' ') == std::string_view::npos;
  if (isShifted && !isHydrogen && !IsPolymerResidue(residue) &&
      AtomicNumberOf(letters.substr(0, 2)) != 0) {
    return letters.substr(0, 2);
  }
  if (residue == "MSE" && letters.starts_with("SE")) return "SE";
  return letters.substr(0, 1);
}

// Columns 79 and 80: "2+", also "+2".
int ChargeOf(std::string_view line) {
  const std::string_view text = Columns(line, 79, 2);
  if (text.size() < 2) return 0;
  const bool isSignLast = IsDigit(text[0]);
  const char digit = isSignLast ? text[0] : text[1];
  const char sign = isSignLast ? text[1] : text[0];
  if (!IsDigit(digit) || (sign != '+' && sign != '-')) return 0;
  return (sign == '+' ? 1 : -1) * (digit - '0');
}

// The atoms, bonds and names of one record, line by line.
class PdbRecord {
 public:
  PdbRecord(const RecordFormat& format, QZGraphMol& mol) : format_(format), mol_(mol) {}

  /// "" or what is wrong.
  std::string Read(std::string_view text) {
    for (std::string_view rest = text; !rest.empty();) {
      const std::size_t length = std::min(rest.find('\n'), rest.size());
      const std::string_view line = rest.substr(0, length);
      rest.remove_prefix(std::min(length + 1, rest.size()));
      if (std::string fault = readLine(line); !fault.empty()) return fault;
    }
    if (mol_.NumAtoms() == 0 && numLines_ > 0) {
      return "There is no model " + std::to_string(format_.model) + ", the record has " +
             std::to_string(std::max(numModels_, 1U));
    }
    if (mol_.NumAtoms() == 0) return "The record has no atoms";
    mol_.SetTitle(title_.c_str());
    addBonds();
    return "";
  }
  void Describe(std::string& note) const {
    if (numModels_ > 1 && format_.model == 1) {
      append(note, std::to_string(numModels_) + " models, the first is used");
    }
    if (!alternate_.empty()) {
      const std::string used = format_.alternate == 0
                                   ? std::string("the first of each is used")
                                   : std::string(1, format_.alternate) + " is used";
      append(note,
             "alternate locations in " + std::to_string(alternate_.size()) +
                 " residues (first: " + firstAlternate_ + "), " + used);
    }
  }
  static void append(std::string& note, const std::string& what) {
    note += (note.empty() ? "" : "; ") + what;
  }

 private:
  std::string readLine(std::string_view line) {
    if (line.starts_with("MODEL ")) {
      ++numModels_;
    } else if (IsAtomLine(line)) {
      ++numLines_;
      const bool isOther = format_.model > 0 && numModels_ > format_.model;
      const bool isEarlier = format_.model > 0 && numModels_ > 0 && numModels_ < format_.model;
      if (isOther || isEarlier) return "";
      const std::string fault = readAtom(line);
      if (!fault.empty()) return "Atom " + std::to_string(numLines_) + ": " + fault;
    } else if (line.starts_with("CONECT")) {
      readConnections(line);
    } else if (line.starts_with("COMPND") && line.size() > 10 && title_.empty()) {
      const bool isNumbered = line.size() == 80 && IsDigit(line[79]);  // old files, as above
      title_ = CompoundName(Trimmed(isNumbered ? line.substr(10, 60) : line.substr(10)));
    }
    return "";
  }

  std::string readAtom(std::string_view line) {
    if (line.size() < kCoordinatesEnd || TrimmedRight(line).size() < kCoordinatesEnd - 2) {
      return "its line is cut short";  // a digit less would be another coordinate
    }
    QZResidue residue;
    residue.name = Trimmed(Columns(line, 18, 4));
    residue.atomName = Trimmed(Columns(line, 13, 4));
    residue.chain = Trimmed(Columns(line, 22, 1));
    residue.isHetero = line.starts_with("HETATM");
    residue.insertionCode = line[26];
    // Programs that run out of columns write text that is not a number; the residue then gets
    // number 0.
    if (!ToNumber(Columns(line, 23, 4), residue.number)) residue.number = 0;
    if (!ToNumber(Columns(line, 55, 6), residue.occupancy)) residue.occupancy = 1.0;
    if (!ToNumber(Columns(line, 61, 6), residue.temperatureFactor)) residue.temperatureFactor = 0.0;
    if (!isWanted(line[16], residue)) return "";
    double xyz[3];
    for (std::size_t k = 0; k < 3; ++k) {
      const std::string_view column = Columns(line, 31 + 8 * k, 8);
      if (!ToNumber(column, xyz[k]))
        return std::string("\"").append(Trimmed(column)).append("\" is no coordinate");
    }
    std::string symbol(Trimmed(Columns(line, 77, 2)));
    // Columns 73 to 80 of old files hold an identifier and a line number: "1HPV  57".
    const bool isSymbol = !symbol.empty() && std::ranges::all_of(symbol, IsLetter) &&
                          !(line.size() >= 80 && IsDigit(line[79]) && IsDigit(line[78]));
    if (!isSymbol) symbol = ElementByName(Columns(line, 13, 4), residue.name);
    const unsigned int element = AtomicNumberOf(symbol);
    if (element == 0) return "unknown element \"" + symbol + "\"";
    QZAtomBase* atom = mol_.AddAtom(element, xyz[0], xyz[1], xyz[2]);
    atom->SetIsotope(IsotopeOf(symbol));
    if (isSymbol) atom->SetFormalCharge(ChargeOf(line));
    QZSetResidue(*atom, residue);
    int serial = 0;
    if (ToNumber(Columns(line, 7, 5), serial)) bySerial_.emplace(serial, atom);
    return "";
  }

  // Of alternate locations the one asked for, else the first that the residue has.
  bool isWanted(char location, const QZResidue& residue) {
    if (location == ' ') return true;
    const auto key =
        std::make_pair(residue.chain, std::make_pair(residue.number, residue.insertionCode));
    const auto [chosen, isNew] =
        locations_.try_emplace(key, format_.alternate != 0 ? format_.alternate : location);
    if (location == chosen->second) return true;
    if (alternate_.insert(key).second && firstAlternate_.empty()) {
      firstAlternate_ = residue.name + " " + std::to_string(residue.number);
    }
    return false;
  }

  // Serial numbers in columns of five; a bond that is named twice is a double bond.
  void readConnections(std::string_view line) {
    int first = 0;
    if (!ToNumber(Columns(line, 7, 5), first)) return;
    for (std::size_t column = 12; column <= 27; column += 5) {
      int second = 0;
      if (ToNumber(Columns(line, column, 5), second)) ++connections_[{first, second}];
    }
  }

  void addBonds() {
    for (const auto& [serials, times] : connections_) {
      const auto a = bySerial_.find(serials.first);
      const auto b = bySerial_.find(serials.second);
      if (a == bySerial_.end() || b == bySerial_.end()) continue;
      const auto back = connections_.find({serials.second, serials.first});
      const unsigned int order = std::max(times, back != connections_.end() ? back->second : 0U);
      isConnected_.insert(a->second);
      isConnected_.insert(b->second);
      if (isIon(*a->second) || isIon(*b->second)) continue;
      mol_.AddBond(a->second, b->second, std::min(order, 3U));
    }
    for (const auto& group : GroupByResidue(mol_)) {
      const bool isClosed =
          group.size() > 1 && std::ranges::all_of(group, [this](const QZAtomBase* atom) {
            return isConnected_.contains(atom);
          });
      if (isClosed) closed_.insert(group.begin(), group.end());
    }
    ConnectByDistance(mol_, &mayBond, this);
  }

  // Whether a short distance is a bond: none to ions, between residues of polymers only the usual
  // links, none inside a residue whose bonds are listed.
  static bool mayBond(const QZAtomBase& a, const QZAtomBase& b, const void* data) {
    const auto& record = *static_cast<const PdbRecord*>(data);
    if (record.isIon(a) || record.isIon(b)) return false;
    const QZResidue& ra = *QZGetResidue(a);
    const QZResidue& rb = *QZGetResidue(b);
    if (ra.IsSameResidue(rb)) return !record.closed_.contains(&a);
    if (record.closed_.contains(&a) && record.closed_.contains(&b)) return false;
    if (!IsStandardResidue(ra.name) || !IsStandardResidue(rb.name)) return true;
    const auto isLink = [&](const char* first, const char* second) {
      return (ra.atomName == first && rb.atomName == second) ||
             (ra.atomName == second && rb.atomName == first);
    };
    return IsPolymerResidue(ra.name) && IsPolymerResidue(rb.name) &&
           (isLink("C", "N") || isLink("O3'", "P") || isLink("O3*", "P") || isLink("SG", "SG"));
  }

  // A metal or halogen that is a residue of its own.
  bool isIon(const QZAtomBase& atom) const {
    const unsigned int element = atom.GetAtomicNumber();
    const bool isHalogen = element == 9 || element == 17 || element == 35 || element == 53;
    if (!isHalogen && !IsMetal(element)) return false;
    const QZResidue& residue = *QZGetResidue(atom);
    return residue.name == residue.atomName || IsStandardResidue(residue.name);
  }

  const RecordFormat& format_;
  QZGraphMol& mol_;
  std::string title_;
  unsigned int numModels_ = 0;
  unsigned int numLines_ = 0;
  std::unordered_map<int, QZAtomBase*> bySerial_;
  std::map<std::pair<int, int>, unsigned int> connections_;
  std::set<const QZAtomBase*> isConnected_;
  std::set<const QZAtomBase*> closed_;
  using ResidueKey = std::pair<std::string, std::pair<int, char>>;
  std::map<ResidueKey, char> locations_;
  std::set<ResidueKey> alternate_;
  std::string firstAlternate_;
};

// Standard residues by what is known of them; what they note is told once a record.
void AssignStandardResidues(QZGraphMol& mol, std::string& note) {
  MarkUnknownOrders(mol);
  std::string first;
  unsigned int count = 0;
  for (const auto& group : GroupByResidue(mol)) {
    std::string what;
    if (!AssignStandardResidue(group, what)) continue;
    for (QZAtomBase* atom : group) QZMolAccess::SetUnknownOrders(*atom, false);
    if (what.empty()) continue;
    ++count;
    if (first.empty()) first = what;
  }
  if (count == 0) return;
  if (count > 1) first += " (and " + std::to_string(count - 1) + " more such)";
  PdbRecord::append(note, first);
}

}  // namespace

std::string ReadPdb(const std::string& text,
                    const RecordFormat& format,
                    QZGraphMol& mol,
                    std::string& note) {
  PdbRecord record(format, mol);
  if (std::string fault = record.Read(text); !fault.empty()) return fault;
  record.Describe(note);
  AssignStandardResidues(mol, note);
  SetDimension(mol, Dimension::Three);
  return "";
}

}  // namespace QZChem
