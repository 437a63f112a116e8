// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "perception/mmff.h"

#include <GraphMol/RWMol.h>
#include <RDGeneral/versions.h>

#include <array>
#include <map>
#include <numbers>
#include <sstream>

// RDKit's header for atom types needs those above.
#include <ForceField/MMFF/Params.h>
#include <GraphMol/ForceFieldHelpers/MMFF/AtomTyper.h>

#include "perception/perception.h"
#include "perception/rdkit_bridge.h"

namespace QZMolPotential {
namespace {

namespace MMFF = ForceFields::MMFF;
using Neighbour = AtomGraph::Neighbour;

constexpr double kDegree = std::numbers::pi / 180.0;

// Looks every term of a typed molecule up. RDKit numbers atoms as the graph does, and its look-ups
// are not const.
class Collector {
 public:
  Collector(const RDKit::ROMol& mol,
            RDKit::MMFF::MMFFMolProperties& types,
            const AtomGraph& graph,
            MmffParameters& out)
      : mol_(mol), types_(types), graph_(graph), out_(out) {}

  void Collect(unsigned int indexBound);

 private:
  void atoms(unsigned int indexBound);
  void pairTypes();
  void stretch(const RDKit::Bond& bond, unsigned int index);
  void angles(unsigned int centre);
  void outOfPlane(unsigned int centre);
  void torsions(const RDKit::Bond& bond, unsigned int index);
  bool turns(unsigned int atom) const;
  // Our index of an atom.
  unsigned int at(unsigned int atom) const { return graph_.atoms[atom]; }
  const MMFF::MMFFProp& properties(unsigned int atom) const {
    return *(*RDKit::MMFF::DefaultParameters::getMMFFProp())(types_.getMMFFAtomType(atom));
  }

  const RDKit::ROMol& mol_;
  RDKit::MMFF::MMFFMolProperties& types_;
  const AtomGraph& graph_;
  MmffParameters& out_;
};

void Collector::Collect(unsigned int indexBound) {
  atoms(indexBound);
  pairTypes();
  // A bond's index is found through its end: RDKit's bonds are numbered without holes.
  for (const RDKit::Bond* bond : mol_.bonds()) {
    for (const Neighbour& next : graph_.neighbours[bond->getBeginAtomIdx()]) {
      if (next.atom != bond->getEndAtomIdx()) continue;
      stretch(*bond, next.bond);
      torsions(*bond, next.bond);
    }
  }
  for (unsigned int centre = 0; centre < graph_.atoms.size(); ++centre) {
    angles(centre);
    outOfPlane(centre);
  }
}

void Collector::atoms(unsigned int indexBound) {
  out_.types.assign(indexBound, 0);
  out_.charges.assign(indexBound, 0.0);
  for (unsigned int i = 0; i < graph_.atoms.size(); ++i) {
    out_.types[at(i)] = types_.getMMFFAtomType(i);
    const double charge = types_.getMMFFPartialCharge(i);
    out_.charges[at(i)] = MMFF::isDoubleZero(charge) ? 0.0 : charge;
  }
}

// Van der Waals parameters depend on the pair of types only.
void Collector::pairTypes() {
  std::map<unsigned int, std::uint16_t> rows;
  std::vector<unsigned int> example;
  for (unsigned int i = 0; i < graph_.atoms.size(); ++i) {
    const auto [row, isNew] =
        rows.try_emplace(types_.getMMFFAtomType(i), static_cast<std::uint16_t>(rows.size()));
    if (isNew) example.push_back(i);
    out_.pairTypes.push_back(row->second);
  }
  out_.numPairTypes = example.size();
  for (const unsigned int i : example) {
    for (const unsigned int j : example) {
      MMFF::MMFFVdWRijstarEps params{};
      types_.getMMFFVdWParams(i, j, params);
      out_.pairTable.push_back({params.R_ij_star, params.epsilon});
    }
  }
}

void Collector::stretch(const RDKit::Bond& bond, unsigned int index) {
  const unsigned int i = bond.getBeginAtomIdx();
  const unsigned int j = bond.getEndAtomIdx();
  unsigned int type;
  MMFF::MMFFBond params;
  if (!types_.getMMFFBondStretchParams(mol_, i, j, type, params)) return;
  out_.stretch.Add({at(i), at(j)}, {params.r0, kMdyneAngstrom * params.kb}, {index});
}

void Collector::angles(unsigned int centre) {
  const auto& neighbours = graph_.neighbours[centre];
  for (std::size_t a = 0; a < neighbours.size(); ++a) {
    for (std::size_t b = a + 1; b < neighbours.size(); ++b) {
      const unsigned int i = neighbours[a].atom;
      const unsigned int k = neighbours[b].atom;
      const std::array atoms{at(i), at(centre), at(k)};
      const std::array bonds{neighbours[a].bond, neighbours[b].bond};
      const bool isLinear = properties(centre).linh != 0;
      unsigned int type;
      MMFF::MMFFAngle angle;
      if (types_.getMMFFAngleBendParams(mol_, i, centre, k, type, angle)) {
        out_.bend.Add(atoms, {kDegree * angle.theta0, kMdyneAngstrom * angle.ka, isLinear}, bonds);
      }
      // No stretch-bend at linear centres.
      if (isLinear) continue;
      MMFF::MMFFStbn params;
      MMFF::MMFFBond sides[2];
      if (types_.getMMFFStretchBendParams(mol_, i, centre, k, type, params, sides, angle)) {
        out_.stretchBend.Add(atoms,
                             {sides[0].r0,
                              sides[1].r0,
                              kDegree * angle.theta0,
                              kMdyneAngstrom * params.kbaIJK,
                              kMdyneAngstrom * params.kbaKJI},
                             bonds);
      }
    }
  }
}

void Collector::outOfPlane(unsigned int centre) {
  const auto& neighbours = graph_.neighbours[centre];
  if (neighbours.size() != 3) return;
  const unsigned int i = neighbours[0].atom;
  const unsigned int k = neighbours[1].atom;
  const unsigned int l = neighbours[2].atom;
  MMFF::MMFFOop params;
  if (!types_.getMMFFOopBendParams(mol_, i, centre, k, l, params)) return;
  // Each neighbour in turn is the one out of the plane.
  const MmffOutOfPlane::Params p{kMdyneAngstrom * params.koop};
  out_.outOfPlane.Add({at(i), at(centre), at(k), at(l)}, p);
  out_.outOfPlane.Add({at(i), at(centre), at(l), at(k)}, p);
  out_.outOfPlane.Add({at(k), at(centre), at(l), at(i)}, p);
}

// True for an atom around whose bonds a torsion is computed: neither an end nor linear.
bool Collector::turns(unsigned int atom) const {
  const RDKit::Atom* centre = mol_.getAtomWithIdx(atom);
  if (centre->getDegree() == 1) return false;
  for (const RDKit::Bond* bond : mol_.atomBonds(centre)) {
    if (bond->getBondType() == RDKit::Bond::TRIPLE) return false;
  }
  return centre->getHybridization() == RDKit::Atom::SP2 ||
         centre->getHybridization() == RDKit::Atom::SP3;
}

void Collector::torsions(const RDKit::Bond& bond, unsigned int index) {
  const unsigned int j = bond.getBeginAtomIdx();
  const unsigned int k = bond.getEndAtomIdx();
  if (!turns(j) || !turns(k)) return;
  for (const Neighbour& first : graph_.neighbours[j]) {
    for (const Neighbour& last : graph_.neighbours[k]) {
      // Equal ends belong to a three-membered ring.
      if (first.atom == k || last.atom == j || first.atom == last.atom) continue;
      unsigned int type;
      MMFF::MMFFTor params;
      if (types_.getMMFFTorsionParams(mol_, first.atom, j, k, last.atom, type, params)) {
        out_.torsion.Add({at(first.atom), at(j), at(k), at(last.atom)},
                         {params.V1, params.V2, params.V3});
        out_.torsionBonds.push_back(index);
      }
    }
  }
}

std::string NoType(const RDKit::ROMol& mol, unsigned int atom, unsigned int index) {
  return "no type for atom " + mol.getAtomWithIdx(atom)->getSymbol() + " " +
         std::to_string(index + 1);
}

}  // namespace

const char* PerceptionVersion() {
  return RDKit::rdkitVersion;
}

std::unique_ptr<const MmffParameters> PerceiveMmff(const QZChem::QZMolBase& mol,
                                                   const AtomGraph& graph,
                                                   bool isStatic,
                                                   std::string& error) {
  const auto perceived = QZChem::PerceivedRDKitMol(mol);
  if (!perceived->error.empty()) {
    error = "its chemistry is not understood: " + perceived->error;
    return nullptr;
  }
  // Typing marks the molecule with MMFF's own aromaticity.
  RDKit::RWMol typed(perceived->isComplete ? *perceived->mol
                                           : *QZChem::QZToRDKit(mol, /*coordinates=*/false).mol);
  RDKit::MMFF::MMFFMolProperties types(typed, isStatic ? "MMFF94s" : "MMFF94");
  if (!types.isValid()) {
    error = "no charges";
    for (unsigned int i = static_cast<unsigned int>(graph.atoms.size()); i-- > 0;) {
      if (types.getMMFFAtomType(i) == 0) error = NoType(typed, i, graph.atoms[i]);
    }
    return nullptr;
  }
  auto parameters = std::make_unique<MmffParameters>();
  Collector(typed, types, graph, *parameters).Collect(mol.AtomIndexBound());
  return parameters;
}

}  // namespace QZMolPotential
