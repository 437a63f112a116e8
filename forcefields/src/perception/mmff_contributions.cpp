// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <ForceField/MMFF/Contribs.h>
#include <ForceField/MMFF/Params.h>

#include <utility>

#include "perception/perception.h"

namespace QZMolPotential {
namespace {

namespace MMFF = ForceFields::MMFF;
using Neighbour = Perception::Neighbour;

// Parameters are found for atoms in RDKit's numbering, contributions added for those accepted.
class Builder {
 public:
  Builder(const Perception& perception,
          const Selection& selection,
          const Contributions::Owner& owner)
      : perception_(perception),
        selection_(selection),
        owner_(owner),
        mol_(perception.Mol()),
        types_(*perception.Mmff()) {}

  std::unique_ptr<Contributions> Stretch();
  std::unique_ptr<Contributions> Bend();
  std::unique_ptr<Contributions> StretchBend();
  std::unique_ptr<Contributions> OutOfPlane();
  std::unique_ptr<Contributions> Torsion();
  std::unique_ptr<Contributions> VanDerWaals();
  std::unique_ptr<Contributions> Electrostatics();

 private:
  // Calls `visit(i, centre, k)` for every accepted angle.
  template <class Visit>
  void forEachAngle(Visit visit) const;
  bool turns(unsigned int atom) const;
  bool accepts(unsigned int i, unsigned int j) const {
    return selection_.Accepts(perception_.Atom(i), perception_.Atom(j));
  }
  bool accepts(unsigned int i, unsigned int j, unsigned int k, unsigned int l) const {
    return selection_.AcceptsAny(
        {&perception_.Atom(i), &perception_.Atom(j), &perception_.Atom(k), &perception_.Atom(l)});
  }
  const MMFF::MMFFProp& properties(unsigned int atom) const {
    return *(*RDKit::MMFF::DefaultParameters::getMMFFProp())(types_.getMMFFAtomType(atom));
  }
  bool charged(unsigned int atom) const {
    return !MMFF::isDoubleZero(types_.getMMFFPartialCharge(atom));
  }
  // Makes room for the pairs of `n` atoms; with a selection few of them may be wanted.
  template <class C>
  void reservePairs(ContributionsOf<C>& list, std::size_t n) const {
    if (!selection_.atomPairs && n > 1) list.Reserve(n * (n - 1) / 2);
  }

  const Perception& perception_;
  const Selection& selection_;
  const Contributions::Owner& owner_;
  const RDKit::ROMol& mol_;
  RDKit::MMFF::MMFFMolProperties& types_;
};

template <class Visit>
void Builder::forEachAngle(Visit visit) const {
  for (unsigned int centre = 0; centre < perception_.NumAtoms(); ++centre) {
    const auto& neighbours = perception_.Neighbours(centre);
    for (std::size_t i = 0; i < neighbours.size(); ++i) {
      for (std::size_t k = i + 1; k < neighbours.size(); ++k) {
        if (selection_.Accepts(perception_.Bond(neighbours[i].bond),
                               perception_.Bond(neighbours[k].bond))) {
          visit(neighbours[i].atom, centre, neighbours[k].atom);
        }
      }
    }
  }
}

std::unique_ptr<Contributions> Builder::Stretch() {
  auto result = std::make_unique<ContributionsOf<MMFF::BondStretchContrib>>();
  for (const RDKit::Bond* bond : mol_.bonds()) {
    if (!selection_.Accepts(perception_.Bond(bond->getIdx()))) continue;
    const unsigned int i = bond->getBeginAtomIdx();
    const unsigned int j = bond->getEndAtomIdx();
    unsigned int type;
    MMFF::MMFFBond params;
    if (types_.getMMFFBondStretchParams(mol_, i, j, type, params)) {
      result->Add(owner_, std::array{i, j}, &params);
    }
  }
  return result;
}

std::unique_ptr<Contributions> Builder::Bend() {
  auto result = std::make_unique<ContributionsOf<MMFF::AngleBendContrib>>();
  forEachAngle([&](unsigned int i, unsigned int j, unsigned int k) {
    unsigned int type;
    MMFF::MMFFAngle params;
    if (types_.getMMFFAngleBendParams(mol_, i, j, k, type, params)) {
      result->Add(owner_, std::array{i, j, k}, &params, &properties(j));
    }
  });
  return result;
}

std::unique_ptr<Contributions> Builder::StretchBend() {
  auto result = std::make_unique<ContributionsOf<MMFF::StretchBendContrib>>();
  forEachAngle([&](unsigned int i, unsigned int j, unsigned int k) {
    // Halgren, J. Comput. Chem. 17, 553 (1996): no stretch-bend at linear centres.
    if (properties(j).linh) return;
    unsigned int type;
    MMFF::MMFFStbn params;
    MMFF::MMFFBond bonds[2];
    MMFF::MMFFAngle angle;
    if (types_.getMMFFStretchBendParams(mol_, i, j, k, type, params, bonds, angle)) {
      result->Add(owner_, std::array{i, j, k}, &params, &angle, &bonds[0], &bonds[1]);
    }
  });
  return result;
}

std::unique_ptr<Contributions> Builder::OutOfPlane() {
  auto result = std::make_unique<ContributionsOf<MMFF::OopBendContrib>>();
  for (unsigned int centre = 0; centre < perception_.NumAtoms(); ++centre) {
    const auto& neighbours = perception_.Neighbours(centre);
    if (neighbours.size() != 3) continue;
    const unsigned int i = neighbours[0].atom;
    const unsigned int k = neighbours[1].atom;
    const unsigned int l = neighbours[2].atom;
    MMFF::MMFFOop params;
    if (!accepts(i, centre, k, l) || !types_.getMMFFOopBendParams(mol_, i, centre, k, l, params)) {
      continue;
    }
    // Each neighbour in turn is the one out of the plane.
    result->Add(owner_, std::array{i, centre, k, l}, &params);
    result->Add(owner_, std::array{i, centre, l, k}, &params);
    result->Add(owner_, std::array{k, centre, l, i}, &params);
  }
  return result;
}

// True for an atom around whose bonds a torsion is computed: neither an end nor linear.
bool Builder::turns(unsigned int atom) const {
  const RDKit::Atom* centre = mol_.getAtomWithIdx(atom);
  if (centre->getDegree() == 1) return false;
  for (const Neighbour& neighbour : perception_.Neighbours(atom)) {
    const RDKit::Bond* bond = mol_.getBondWithIdx(neighbour.bond);
    if (bond->getBondType() == RDKit::Bond::TRIPLE) return false;
  }
  return centre->getHybridization() == RDKit::Atom::SP2 ||
         centre->getHybridization() == RDKit::Atom::SP3;
}

std::unique_ptr<Contributions> Builder::Torsion() {
  auto result = std::make_unique<ContributionsOf<MMFF::TorsionAngleContrib>>();
  const auto add = [&](unsigned int i, unsigned int j, unsigned int k, unsigned int l) {
    unsigned int type;
    MMFF::MMFFTor params;
    if (accepts(i, j, k, l) && types_.getMMFFTorsionParams(mol_, i, j, k, l, type, params)) {
      result->Add(owner_, std::array{i, j, k, l}, &params);
    }
  };
  for (const RDKit::Bond* bond : mol_.bonds()) {
    const unsigned int j = bond->getBeginAtomIdx();
    const unsigned int k = bond->getEndAtomIdx();
    if (!turns(j) || !turns(k)) continue;
    for (const Neighbour& first : perception_.Neighbours(j)) {
      for (const Neighbour& last : perception_.Neighbours(k)) {
        // Equal ends belong to a three-membered ring.
        if (first.atom != k && last.atom != j && first.atom != last.atom) {
          add(first.atom, j, k, last.atom);
        }
      }
    }
  }
  return result;
}

std::unique_ptr<Contributions> Builder::VanDerWaals() {
  auto result = std::make_unique<ContributionsOf<MMFF::VdWContrib>>();
  reservePairs(*result, perception_.NumAtoms());
  perception_.ForEachPair([&](unsigned int i, unsigned int j, Perception::Separation) {
    MMFF::MMFFVdWRijstarEps params;
    if (accepts(i, j) && types_.getMMFFVdWParams(i, j, params)) {
      result->Add(owner_, std::array{i, j}, &params);
    }
  });
  if (selection_.atomPairs) result->Shrink();
  return result;
}

std::unique_ptr<Contributions> Builder::Electrostatics() {
  auto result = std::make_unique<ContributionsOf<MMFF::EleContrib>>();
  std::size_t numCharged = 0;
  for (unsigned int i = 0; i < perception_.NumAtoms(); ++i) numCharged += charged(i) ? 1 : 0;
  reservePairs(*result, numCharged);
  const double dielectric = types_.getMMFFDielectricConstant();
  const std::uint8_t model = types_.getMMFFDielectricModel();
  perception_.ForEachPair([&](unsigned int i, unsigned int j, Perception::Separation separation) {
    if (!charged(i) || !charged(j) || !accepts(i, j)) return;
    const double product = types_.getMMFFPartialCharge(i) * types_.getMMFFPartialCharge(j);
    result->Add(
        owner_, std::array{i, j}, product / dielectric, model, separation == Perception::kOneFour);
  });
  if (selection_.atomPairs) result->Shrink();
  return result;
}

}  // namespace

std::unique_ptr<Contributions> MakeMmffContributions(const Perception& perception,
                                                     QZForceFieldTermKind term,
                                                     const Selection& selection,
                                                     const Contributions::Owner& owner) {
  Builder builder(perception, selection, owner);
  switch (term) {
    case QZForceFieldTermKind::Stretch:
      return builder.Stretch();
    case QZForceFieldTermKind::Bend:
      return builder.Bend();
    case QZForceFieldTermKind::StretchBend:
      return builder.StretchBend();
    case QZForceFieldTermKind::OutOfPlane:
      return builder.OutOfPlane();
    case QZForceFieldTermKind::Torsion:
      return builder.Torsion();
    case QZForceFieldTermKind::VanDerWaals:
      return builder.VanDerWaals();
    case QZForceFieldTermKind::Electrostatics:
      return builder.Electrostatics();
  }
  return nullptr;
}

}  // namespace QZMolPotential
