// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "qzchem/templates.h"

#include <GraphMol/RWMol.h>
#include <GraphMol/Substruct/SubstructMatch.h>

#include <algorithm>
#include <exception>
#include <limits>
#include <map>
#include <vector>

#include "files/records.h"
#include "files/smiles.h"
#include "perception/rdkit_bridge.h"
#include "perception/rdkit_log.h"
#include "perception/residues.h"
#include "qzchem/geometry.h"
#include "qzchem/residue.h"
#include "qzchem/topology.h"
#include "topology/mol_impl.h"
#include "topology/topology.h"
#include "topology/valence.h"

namespace QZChem {
namespace {

constexpr unsigned int kMaxFits = 2000;  // symmetric ways to lay a template on

// Heavy atoms and their bonds without orders, as a pattern and as a target.
struct Skeleton {
  RDKit::RWMol mol;
  std::vector<QZAtomBase*> atoms;  // by atom of `mol`
};

Skeleton SkeletonOf(const std::vector<QZAtomBase*>& group) {
  Skeleton skeleton;
  std::map<const QZAtomBase*, unsigned int> numbers;
  for (QZAtomBase* atom : group) {
    if (atom->GetAtomicNumber() == 1) continue;
    auto* copy = new RDKit::Atom(atom->GetAtomicNumber());
    copy->setNoImplicit(true);
    numbers[atom] = skeleton.mol.addAtom(copy, false, true);
    skeleton.atoms.push_back(atom);
  }
  for (const auto& [atom, number] : numbers) {
    for (const QZBondBase* bond : QZMolAccess::Bonds(*atom)) {
      const auto other = numbers.find(bond->GetNeighbour(atom));
      if (other == numbers.end() || other->second <= number) continue;
      skeleton.mol.addBond(number, other->second, RDKit::Bond::SINGLE);
    }
  }
  return skeleton;
}

std::vector<QZAtomBase*> AllAtoms(const QZMolBase& mol) {
  std::vector<QZAtomBase*> atoms;
  for (auto& atom : QZSystem::QZRange(mol.GetAtoms())) atoms.push_back(&atom);
  return atoms;
}

const QZBondBase* BondBetween(const QZAtomBase* a, const QZAtomBase* b) {
  for (const QZBondBase* bond : QZMolAccess::Bonds(*a)) {
    if (bond->GetNeighbour(a) == b) return bond;
  }
  return nullptr;
}

// A template laid on a residue: the template's atom for each of the residue's heavy atoms.
using Fit = std::vector<QZAtomBase*>;

class FittedResidue {
 public:
  explicit FittedResidue(const std::vector<QZAtomBase*>& atoms)
      : atoms_(atoms), skeleton_(SkeletonOf(atoms)) {
    hasHydrogens_ = skeleton_.atoms.size() < atoms.size();
  }

  /// The best fit; empty when there is none.
  Fit FindBest(const Skeleton& given) const {
    if (given.atoms.size() < skeleton_.atoms.size()) return {};
    RDKit::SubstructMatchParameters parameters;
    parameters.uniquify = false;
    parameters.maxMatches = kMaxFits;
    Fit best;
    double least = std::numeric_limits<double>::max();
    for (const auto& match : RDKit::SubstructMatch(given.mol, skeleton_.mol, parameters)) {
      Fit fit(skeleton_.atoms.size());
      for (const auto& [own, theirs] : match) {
        fit[static_cast<std::size_t>(own)] = given.atoms[static_cast<std::size_t>(theirs)];
      }
      if (!isWhole(fit, given)) continue;
      const double score = scoreOf(fit);
      if (score >= least) continue;
      least = score;
      best = std::move(fit);
    }
    return best;
  }

  /// Takes over orders and charges.
  void Adopt(const Fit& fit) const {
    forEachBond(fit, [](QZBondBase& bond, unsigned int order) { bond.SetOrder(order); });
    for (std::size_t i = 0; i < fit.size(); ++i) {
      QZAtomBase& atom = *skeleton_.atoms[i];
      const int shift = hasHydrogens_ ? protonShift(atom, *fit[i]) : 0;
      atom.SetFormalCharge(fit[i]->GetFormalCharge() + shift);
      atom.SetRadicalElectrons(fit[i]->GetRadicalElectrons());
    }
    for (QZAtomBase* atom : atoms_) QZMolAccess::SetUnknownOrders(*atom, false);
  }

 private:
  // All bonds of the template between fitted atoms must be there, and its other atoms must hang
  // where the residue is bonded to another one.
  bool isWhole(const Fit& fit, const Skeleton& given) const {
    std::map<const QZAtomBase*, std::size_t> numbers;
    for (std::size_t i = 0; i < fit.size(); ++i) numbers[fit[i]] = i;
    for (std::size_t i = 0; i < fit.size(); ++i) {
      std::size_t numAbsent = 0;
      for (const QZBondBase* bond : QZMolAccess::Bonds(*fit[i])) {
        const QZAtomBase* other = bond->GetNeighbour(fit[i]);
        if (other->GetAtomicNumber() == 1) continue;
        const auto found = numbers.find(other);
        if (found == numbers.end()) {
          ++numAbsent;
        } else if (BondBetween(skeleton_.atoms[i], skeleton_.atoms[found->second]) == nullptr) {
          return false;
        }
      }
      if (numAbsent > numLinks(*skeleton_.atoms[i])) return false;
    }
    return fit.size() == given.atoms.size() || isConnectedRest(given, numbers);
  }
  // No part of the template may be left out as a whole.
  static bool isConnectedRest(const Skeleton& given,
                              const std::map<const QZAtomBase*, std::size_t>& numbers) {
    return std::ranges::all_of(given.atoms, [&](const QZAtomBase* atom) {
      if (numbers.contains(atom)) return true;
      return std::ranges::any_of(QZMolAccess::Bonds(*atom), [&](const QZBondBase* bond) {
        return numbers.contains(bond->GetNeighbour(atom));
      });
    });
  }
  // Bonds to atoms of other residues.
  std::size_t numLinks(const QZAtomBase& atom) const {
    return static_cast<std::size_t>(
        std::ranges::count_if(QZMolAccess::Bonds(atom), [&](const QZBondBase* bond) {
          const QZAtomBase* other = bond->GetNeighbour(&atom);
          return std::ranges::find(atoms_, other) == atoms_.end();
        }));
  }

  double scoreOf(const Fit& fit) const {
    constexpr double kPerHydrogen = 1000.0;  // beyond any sum of lengths that follows
    double score = 0.0;
    if (hasHydrogens_) {
      for (std::size_t i = 0; i < fit.size(); ++i) {
        score += kPerHydrogen * std::abs(surplus(*skeleton_.atoms[i], *fit[i]));
      }
    }
    const QZMolBase& mol = skeleton_.atoms.front()->GetMol();
    forEachBond(fit, [&](const QZBondBase& bond, unsigned int order) {
      score += (order - 1.0) * QZGetDistance(mol, bond.GetBegin(), bond.GetEnd());
    });
    return score;
  }
  // Hydrogens beyond the template's; a bond to another residue stands for one of those.
  int surplus(const QZAtomBase& atom, const QZAtomBase& given) const {
    const auto links = static_cast<int>(numLinks(atom));
    return static_cast<int>(CountHydrogens(atom)) + links -
           static_cast<int>(CountHydrogens(given)) - numHeavyAbsent(atom, given, links);
  }
  static int numHeavyAbsent(const QZAtomBase& atom, const QZAtomBase& given, int links) {
    const int inside = static_cast<int>(atom.GetHeavyDegree()) - links;
    return static_cast<int>(given.GetHeavyDegree()) - inside;
  }
  int protonShift(const QZAtomBase& atom, const QZAtomBase& given) const {
    const int change = surplus(atom, given);
    const unsigned int element = atom.GetAtomicNumber();
    if (element == 7 && (change == 1 || (change == -1 && given.GetFormalCharge() > 0))) {
      return change;
    }
    const bool isAcid = element == 8 || element == 16;
    if (isAcid && (change == -1 || (change == 1 && given.GetFormalCharge() < 0))) return change;
    return 0;
  }

  template <class Visit>
  void forEachBond(const Fit& fit, Visit visit) const {
    for (const RDKit::Bond* bond : skeleton_.mol.bonds()) {
      const unsigned int a = bond->getBeginAtomIdx();
      const unsigned int b = bond->getEndAtomIdx();
      const QZBondBase* theirs = BondBetween(fit[a], fit[b]);
      auto* own = const_cast<QZBondBase*>(BondBetween(skeleton_.atoms[a], skeleton_.atoms[b]));
      if (theirs != nullptr && own != nullptr) visit(*own, theirs->GetOrder());
    }
  }

  const std::vector<QZAtomBase*>& atoms_;
  Skeleton skeleton_;
  bool hasHydrogens_ = false;
};

// Residues where the molecule has them, else connected parts.
std::vector<std::vector<QZAtomBase*>> Groups(const QZMolBase& mol) {
  const QZAtomBase* first = nullptr;
  for (const auto& atom : QZSystem::QZRange(mol.GetAtoms())) {
    first = &atom;
    break;
  }
  if (first != nullptr && QZGetResidue(*first) != nullptr) return GroupByResidue(mol);
  return GroupByComponent(mol);
}

bool HasUnknownOrders(const std::vector<QZAtomBase*>& group) {
  return std::ranges::any_of(
      group, [](const QZAtomBase* atom) { return QZMolAccess::HasUnknownOrders(*atom); });
}

std::string NameOf(const QZAtomBase& atom) {
  const std::string residue = QZDescribeResidue(atom);
  return residue.empty() ? "the part of atom " + std::to_string(atom.GetIndex() + 1) : residue;
}

std::string DescribeAtom(const QZAtomBase& atom) {
  const std::string residue = QZDescribeResidue(atom);
  const QZResidue* info = QZGetResidue(atom);
  return "atom " + std::to_string(atom.GetIndex() + 1) + " (" +
         (info != nullptr && !info->atomName.empty() ? info->atomName
                                                     : QZGetAtomicSymbol(atom.GetAtomicNumber())) +
         (residue.empty() ? "" : ", " + residue) + ")";
}

}  // namespace

struct QZTemplates::Data {
  struct Template {
    QZGraphMol mol;
    Skeleton skeleton;
  };
  std::map<std::string, std::vector<std::unique_ptr<Template>>> byName;

  void Add(const std::string& name, const QZGraphMol& mol) {
    auto added = std::make_unique<Template>();
    added->mol = mol;
    added->skeleton = SkeletonOf(AllAtoms(added->mol));
    byName[name].push_back(std::move(added));
  }
  // "" or why the residue stays without orders.
  std::string ApplyTo(const std::vector<QZAtomBase*>& atoms) const {
    const QZResidue* info = QZGetResidue(*atoms.front());
    const FittedResidue residue(atoms);
    bool hasTemplate = false;
    for (const std::string& name : {info != nullptr ? info->name : std::string(), std::string()}) {
      const auto found = byName.find(name);
      if (found == byName.end()) continue;
      hasTemplate = true;
      for (const auto& candidate : found->second) {
        const Fit fit = residue.FindBest(candidate->skeleton);
        if (fit.empty()) continue;
        residue.Adopt(fit);
        return "";
      }
    }
    return NameOf(*atoms.front()) + (hasTemplate
                                         ? ": its template has other atoms or bonds"
                                         : ": its bond orders are not known, it needs a template");
  }
};

QZTemplates::QZTemplates() : data_(std::make_unique<Data>()) {}
QZTemplates::~QZTemplates() = default;

bool QZTemplates::IsEmpty() const {
  return data_->byName.empty();
}

bool QZTemplates::AddSmiles(const std::string& residue,
                            const std::string& smiles,
                            std::string& error) {
  QZGraphMol mol;
  error = ParseSmiles(smiles, mol);
  if (!error.empty()) {
    error = "the SMILES \"" + smiles + "\" does not give a molecule: " + error;
    return false;
  }
  data_->Add(residue, mol);
  return true;
}

bool QZTemplates::AddFile(const std::string& path, std::string& error) {
  qzmolistream in(path.c_str());
  if (!in) {
    error = path + ": " + in.GetError();
    return false;
  }
  in.SetMakeCoordinates(false);
  std::vector<QZGraphMol> molecules;
  QZGraphMol mol;
  QZRecordInfo info;
  while (QZNextRecord(in, mol, info)) {
    if (!info.error.empty()) {
      error = path + ", record " + std::to_string(info.number) + ": " + info.error;
      return false;
    }
    if (QZHasBondOrders(mol) && QZLacksHydrogens(mol)) QZAddHydrogens(mol);
    if (!QZHasBondOrders(mol)) {
      error = path + ", record " + std::to_string(info.number) + ": has no bond orders";
      return false;
    }
    molecules.push_back(mol);
  }
  if (molecules.empty()) {
    error = path + ": has no molecules";
    return false;
  }
  for (const QZGraphMol& molecule : molecules) data_->Add(molecule.GetTitle(), molecule);
  if (molecules.size() == 1 && *molecules[0].GetTitle() != '\0') data_->Add("", molecules[0]);
  return true;
}

bool QZTemplates::Apply(QZGraphMol& mol, std::string& error) const {
  error.clear();
  if (QZHasBondOrders(mol)) return true;
  QZGraphMol result = mol;
  try {
    for (const auto& group : Groups(result)) {
      if (!HasUnknownOrders(group)) continue;
      error = data_->ApplyTo(group);
      if (!error.empty()) return false;
    }
  } catch (const std::exception& reason) {
    error = InUsersWords(reason.what());
    return false;
  }
  mol = std::move(result);
  return true;
}

bool QZHasBondOrders(const QZMolBase& mol) {
  for (const auto& atom : QZSystem::QZRange(mol.GetAtoms())) {
    if (QZMolAccess::HasUnknownOrders(atom)) return false;
  }
  return true;
}

std::string QZFindMissing(const QZMolBase& mol) {
  for (const auto& atom : QZSystem::QZRange(mol.GetAtoms())) {
    if (!QZMolAccess::HasUnknownOrders(atom)) continue;
    return DescribeAtom(atom) + ": the bond orders of its " +
           (QZGetResidue(atom) != nullptr ? "residue" : "molecule") +
           " are not known, a template gives them";
  }
  const auto topology = QZMolAccess::Impl(mol).Topology();
  if (topology->impliedHydrogens == 0) return "";
  for (const RDKit::Atom* perceived : topology->perceived->mol->atoms()) {
    const unsigned int missing = perceived->getNumImplicitHs();
    if (missing == 0) continue;
    const QZAtomBase& atom = *mol.GetAtom(topology->perceived->atomIndices[perceived->getIdx()]);
    const unsigned int present = CountHydrogens(atom);
    return DescribeAtom(atom) + ": " + std::to_string(missing + present) +
           (missing + present == 1 ? " hydrogen was" : " hydrogens were") + " expected, " +
           (present == 0 ? "none is" : std::to_string(present) + (present == 1 ? " is" : " are")) +
           " there";
  }
  return "";
}

}  // namespace QZChem
