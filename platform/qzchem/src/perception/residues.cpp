// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "perception/residues.h"

#include <algorithm>
#include <map>
#include <sstream>
#include <tuple>

#include "perception/standard_residues.h"
#include "qzchem/residue.h"
#include "qzchem/topology.h"
#include "topology/mol_impl.h"
#include "topology/valence.h"

namespace QZChem {
namespace {

bool IsHydrogen(const QZAtomBase& atom) {
  return atom.GetAtomicNumber() == 1;
}

// Names of older files in today's spelling.
std::string ModernName(const QZResidue& residue) {
  std::string name = residue.atomName;
  std::ranges::replace(name, '*', '\'');
  if (name == "O1P") return "OP1";
  if (name == "O2P") return "OP2";
  if (name == "O3P") return "OP3";
  if (name == "C5M") return "C7";
  if (name == "CD" && residue.name == "ILE") return "CD1";
  return name;
}

// A residue's heavy atoms by name, and what one way of drawing it makes of them.
class NamedResidue {
 public:
  explicit NamedResidue(const std::vector<QZAtomBase*>& atoms) {
    for (QZAtomBase* atom : atoms) {
      const QZResidue* residue = QZGetResidue(*atom);
      if (IsHydrogen(*atom)) {
        ++numHydrogens_;
      } else if (!heavy_.emplace(ModernName(*residue), atom).second) {
        hasRepeats_ = true;
      }
    }
  }

  bool HasHydrogens() const { return numHydrogens_ > 0; }
  QZAtomBase* Find(const std::string& name) const {
    const auto found = heavy_.find(name);
    return found != heavy_.end() ? found->second : nullptr;
  }
  bool HasOnly(const StandardResidue& standard) const {
    return !hasRepeats_ && std::ranges::all_of(heavy_, [&](const auto& item) {
      return standard.HasAtom(item.first);
    });
  }
  /// Names that are not there, blank-separated.
  std::string Missing(const StandardResidue& standard) const {
    std::istringstream names{std::string(standard.atoms)};
    std::string missing;
    for (std::string name; names >> name;) {
      if (Find(name) == nullptr) missing += (missing.empty() ? "" : " ") + name;
    }
    return missing;
  }

  /// Single bonds and no charges but those of `state`: "CG=OD1 OD2-".
  void Draw(std::string_view state) const {
    for (const auto& [name, atom] : heavy_) {
      atom->SetFormalCharge(0);
      for (QZBondBase* bond : QZMolAccess::Bonds(*atom)) bond->SetOrder(1);
    }
    std::istringstream words{std::string(state)};
    for (std::string word; words >> word;) drawWord(word);
  }
  /// By how many hydrogens the nitrogens, oxygens and sulfurs differ from what is drawn.
  int Mismatch() const {
    int sum = 0;
    for (const auto& [name, atom] : heavy_) {
      if (IsHetero(*atom)) sum += std::abs(Surplus(*atom));
    }
    return sum;
  }
  /// Charges by the hydrogens that are there: a proton more on nitrogen, one less on oxygen and
  /// sulfur.
  void ChargeByHydrogens() const {
    for (const auto& [name, atom] : heavy_) {
      if (!IsHetero(*atom)) continue;
      const int surplus = Surplus(*atom);
      const bool isNitrogen = atom->GetAtomicNumber() == 7;
      if (surplus == (isNitrogen ? 1 : -1)) atom->SetFormalCharge(surplus);
    }
  }

 private:
  static bool IsHetero(const QZAtomBase& atom) {
    const unsigned int element = atom.GetAtomicNumber();
    return element == 7 || element == 8 || element == 16;
  }
  /// Bonds, hydrogens included, beyond the valence of the neutral element.
  static int Surplus(const QZAtomBase& atom) {
    int sum = 0;
    for (const QZBondBase* bond : QZMolAccess::Bonds(atom)) {
      sum += static_cast<int>(bond->GetOrder());
    }
    return sum - (atom.GetAtomicNumber() == 7 ? 3 : 2);
  }
  void drawWord(const std::string& word) const {
    if (const std::size_t mark = word.find('='); mark != std::string::npos) {
      const QZAtomBase* begin = Find(word.substr(0, mark));
      const QZAtomBase* end = Find(word.substr(mark + 1));
      if (begin == nullptr || end == nullptr) return;
      for (QZBondBase* bond : QZMolAccess::Bonds(*begin)) {
        if (bond->GetNeighbour(begin) == end) bond->SetOrder(2);
      }
      return;
    }
    // "NZ+"
    QZAtomBase* atom = Find(word.substr(0, word.size() - 1));
    if (atom != nullptr) atom->SetFormalCharge(word.back() == '+' ? 1 : -1);
  }

  std::map<std::string, QZAtomBase*> heavy_;
  unsigned int numHydrogens_ = 0;
  bool hasRepeats_ = false;
};

// Charges of a residue without hydrogens beyond those of its side chain.
void ChargeTermini(const NamedResidue& residue, const std::string& name) {
  if (QZAtomBase* oxygen = residue.Find("OXT"); oxygen != nullptr) {
    oxygen->SetFormalCharge(-1);
  }
  if (QZAtomBase* oxygen = residue.Find("OP3"); oxygen != nullptr && oxygen->GetDegree() == 1) {
    oxygen->SetFormalCharge(-1);
  }
  QZAtomBase* nitrogen = residue.Find("N");
  if (nitrogen == nullptr || residue.Find("CA") == nullptr) return;
  const unsigned int inner = name == "PRO" ? 2 : 1;
  if (nitrogen->GetDegree() <= inner) nitrogen->SetFormalCharge(1);
}

// "" or what is open at the end of a chain: such an atom gets a hydrogen where nature has a bond.
std::string DescribeOpenEnd(const NamedResidue& residue) {
  const QZAtomBase* carbon = residue.Find("C");
  if (carbon == nullptr || residue.Find("CA") == nullptr || residue.Find("O") == nullptr) return "";
  return carbon->GetDegree() < 3 ? "ends a chain without its second oxygen (OXT)" : "";
}

void AppendNote(std::string& note,
                const std::vector<QZAtomBase*>& residue,
                const std::string& what) {
  if (!what.empty()) note = QZDescribeResidue(*residue.front()) + " " + what;
}

bool IsComplete(const std::vector<QZAtomBase*>& atoms) {
  const bool hasMultiple = std::ranges::any_of(atoms, [](const QZAtomBase* atom) {
    return std::ranges::any_of(QZMolAccess::Bonds(*atom),
                               [](const QZBondBase* bond) { return bond->GetOrder() > 1; });
  });
  return hasMultiple ||
         std::ranges::all_of(atoms, [](const QZAtomBase* atom) { return OpenValence(*atom) == 0; });
}

}  // namespace

std::vector<std::vector<QZAtomBase*>> GroupByResidue(const QZMolBase& mol) {
  using Key = std::tuple<std::string, int, char, std::string>;
  std::map<Key, std::size_t> known;
  std::vector<std::vector<QZAtomBase*>> groups;
  const QZResidue* previous = nullptr;
  std::size_t group = 0;
  for (auto& atom : QZSystem::QZRange(mol.GetAtoms())) {
    const QZResidue* residue = QZGetResidue(atom);
    const bool isSame = !groups.empty() && (residue == nullptr || previous == nullptr
                                                ? residue == previous
                                                : residue->IsSameResidue(*previous));
    if (!isSame) {
      const Key key =
          residue == nullptr
              ? Key{}
              : Key{residue->chain, residue->number, residue->insertionCode, residue->name};
      const auto [found, isNew] = known.try_emplace(key, groups.size());
      if (isNew) groups.emplace_back();
      group = found->second;
    }
    groups[group].push_back(&atom);
    previous = residue;
  }
  return groups;
}

std::vector<std::vector<QZAtomBase*>> GroupByComponent(const QZMolBase& mol) {
  std::vector<unsigned int> parts(mol.AtomIndexBound());
  std::vector<std::vector<QZAtomBase*>> groups(QZDetermineComponents(mol, parts.data()));
  for (auto& atom : QZSystem::QZRange(mol.GetAtoms())) {
    groups[parts[atom.GetIndex()] - 1].push_back(&atom);
  }
  return groups;
}

bool IsStandardResidue(std::string_view name) {
  return FindStandardResidue(name) != nullptr;
}

bool IsPolymerResidue(std::string_view name) {
  const StandardResidue* standard = FindStandardResidue(name);
  return standard != nullptr && standard->kind == StandardResidue::Kind::Polymer;
}

bool AssignStandardResidue(const std::vector<QZAtomBase*>& atoms, std::string& note) {
  const QZResidue* info = QZGetResidue(*atoms.front());
  const StandardResidue* standard = info != nullptr ? FindStandardResidue(info->name) : nullptr;
  if (standard == nullptr) return false;
  const NamedResidue residue(atoms);
  if (!residue.HasOnly(*standard)) return false;
  if (standard->kind == StandardResidue::Kind::Ion) {
    if (atoms.size() != 1) return false;
    atoms.front()->SetFormalCharge(standard->charge);
    return true;
  }
  const std::vector<std::string> states = standard->States(residue.Find("OXT") != nullptr);
  const std::string* best = &states.front();
  if (residue.HasHydrogens()) {
    int least = 0;
    for (const std::string& state : states) {
      residue.Draw(state);
      const int mismatch = residue.Mismatch();
      if (&state == &states.front() || mismatch < least) {
        least = mismatch;
        best = &state;
      }
    }
  }
  residue.Draw(*best);
  if (residue.HasHydrogens()) {
    for (QZAtomBase* atom : atoms) atom->SetFormalCharge(0);
    residue.ChargeByHydrogens();
  } else {
    ChargeTermini(residue, info->name);
  }
  const std::string missing = residue.Missing(*standard);
  AppendNote(
      note, atoms, missing.empty() ? DescribeOpenEnd(residue) : "lacks its atoms " + missing);
  return true;
}

void MarkUnknownOrders(QZMolBase& mol) {
  const std::unique_ptr<QZSystem::QZIterBase<QZAtomBase>> first(mol.GetAtoms());
  if (!first->IsValid()) return;
  const bool hasResidues = QZGetResidue(**first) != nullptr;
  for (const auto& group : hasResidues ? GroupByResidue(mol) : GroupByComponent(mol)) {
    const bool isKnown = IsComplete(group);
    for (QZAtomBase* atom : group) QZMolAccess::SetUnknownOrders(*atom, !isKnown);
  }
}

}  // namespace QZChem
