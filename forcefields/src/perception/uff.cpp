// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "perception/uff.h"

#include <ForceField/ForceField.h>
#include <ForceField/UFF/Contribs.h>
#include <ForceField/UFF/Params.h>
#include <GraphMol/ForceFieldHelpers/UFF/AtomTyper.h>
#include <GraphMol/ForceFieldHelpers/UFF/Builder.h>
#include <GraphMol/RWMol.h>

#include <algorithm>
#include <array>
#include <map>
#include <tuple>

#include "perception/perception.h"
#include "perception/rdkit_bridge.h"
#include "qzchem/locale.h"

namespace QZMolPotential {
namespace {

namespace UFF = ForceFields::UFF;

// The contributions that RDKit's builder makes have their atoms and constants as private members.
// An explicit template instantiation may name private members, which makes it possible to read them
// here; otherwise the builder would have to be written a second time. With a version of RDKit that
// has other members this file does not compile, and the tests compare the energy of every term with
// RDKit's.
template <class Tag, auto... members>
struct Reveal {
  friend constexpr auto MembersOf(Tag) { return std::tuple{members...}; }
};
struct StretchTag {
  friend constexpr auto MembersOf(StretchTag);
};
struct BendTag {
  friend constexpr auto MembersOf(BendTag);
};
struct TorsionTag {
  friend constexpr auto MembersOf(TorsionTag);
};
struct InversionTag {
  friend constexpr auto MembersOf(InversionTag);
};
template struct Reveal<StretchTag,
                       &UFF::BondStretchContrib::d_end1Idx,
                       &UFF::BondStretchContrib::d_end2Idx,
                       &UFF::BondStretchContrib::d_restLen,
                       &UFF::BondStretchContrib::d_forceConstant>;
template struct Reveal<BendTag,
                       &UFF::AngleBendContrib::d_at1Idx,
                       &UFF::AngleBendContrib::d_at2Idx,
                       &UFF::AngleBendContrib::d_at3Idx,
                       &UFF::AngleBendContrib::d_forceConstant,
                       &UFF::AngleBendContrib::d_order,
                       &UFF::AngleBendContrib::d_C0,
                       &UFF::AngleBendContrib::d_C1,
                       &UFF::AngleBendContrib::d_C2>;
template struct Reveal<TorsionTag,
                       &UFF::TorsionAngleContrib::d_at1Idx,
                       &UFF::TorsionAngleContrib::d_at2Idx,
                       &UFF::TorsionAngleContrib::d_at3Idx,
                       &UFF::TorsionAngleContrib::d_at4Idx,
                       &UFF::TorsionAngleContrib::d_forceConstant,
                       &UFF::TorsionAngleContrib::d_order,
                       &UFF::TorsionAngleContrib::d_cosTerm>;
template struct Reveal<InversionTag,
                       &UFF::InversionContrib::d_at1Idx,
                       &UFF::InversionContrib::d_at2Idx,
                       &UFF::InversionContrib::d_at3Idx,
                       &UFF::InversionContrib::d_at4Idx,
                       &UFF::InversionContrib::d_forceConstant,
                       &UFF::InversionContrib::d_C0,
                       &UFF::InversionContrib::d_C1,
                       &UFF::InversionContrib::d_C2>;

/// The values of the members that `Tag` reveals.
template <class Tag, class Contribution>
auto Read(const Contribution& contribution) {
  return std::apply([&](auto... members) { return std::tuple{contribution.*members...}; },
                    MembersOf(Tag()));
}

class Collector {
 public:
  Collector(const AtomGraph& graph, UffParameters& out) : graph_(graph), out_(out) {}

  void Add(const ForceFields::ForceFieldContrib& contribution) {
    if (const auto* s = dynamic_cast<const UFF::BondStretchContrib*>(&contribution)) {
      const auto [i, j, r0, k] = Read<StretchTag>(*s);
      out_.stretch.Add({at(i), at(j)}, {r0, k}, {bond(i, j)});
    } else if (const auto* b = dynamic_cast<const UFF::AngleBendContrib*>(&contribution)) {
      const auto [i, j, l, k, order, c0, c1, c2] = Read<BendTag>(*b);
      // Only order 0 sets the coefficients.
      const bool isOwn = order == 0;
      out_.bend.Add(
          {at(i), at(j), at(l)},
          UffBend::Params::Make(k, order, isOwn ? c0 : 0.0, isOwn ? c1 : 0.0, isOwn ? c2 : 0.0),
          {bond(i, j), bond(j, l)});
    } else if (const auto* w = dynamic_cast<const UFF::InversionContrib*>(&contribution)) {
      const auto [i, j, l, m, k, c0, c1, c2] = Read<InversionTag>(*w);
      out_.inversion.Add({at(i), at(j), at(l), at(m)}, {k, c0, c1, c2});
    }
  }

  // RDKit's builder finds the bonds to turn about by a pattern and stops at 1,000 matches, which
  // leaves most of a protein without torsions: this takes all. A bond's torsions share its barrier.
  void AddTorsions(const RDKit::ROMol& mol,
                   const std::vector<const UFF::AtomicParams*>& types,
                   ForceFields::ForceField& field) {
    for (const RDKit::Bond* axis : mol.bonds()) {
      const RDKit::Atom* j = axis->getBeginAtom();
      const RDKit::Atom* l = axis->getEndAtom();
      if (!turns(mol, *j) || !turns(mol, *l)) continue;
      std::vector<std::pair<const RDKit::Atom*, const RDKit::Atom*>> ends;
      for (const RDKit::Atom* i : mol.atomNeighbors(j)) {
        for (const RDKit::Atom* m : mol.atomNeighbors(l)) {
          if (i != l && m != j && i != m) ends.emplace_back(i, m);
        }
      }
      for (const auto& [i, m] : ends) {
        const bool isPlanar =
            i->getHybridization() == RDKit::Atom::SP2 || m->getHybridization() == RDKit::Atom::SP2;
        UFF::TorsionAngleContrib torsion(&field,
                                         i->getIdx(),
                                         j->getIdx(),
                                         l->getIdx(),
                                         m->getIdx(),
                                         axis->getBondTypeAsDouble(),
                                         j->getAtomicNum(),
                                         l->getAtomicNum(),
                                         j->getHybridization(),
                                         l->getHybridization(),
                                         types[j->getIdx()],
                                         types[l->getIdx()],
                                         isPlanar);
        torsion.scaleForceConstant(static_cast<unsigned int>(ends.size()));
        const auto [a, b, c, d, v, order, cosine] = Read<TorsionTag>(torsion);
        out_.torsion.Add({at(a), at(b), at(c), at(d)}, {v, order, cosine});
      }
    }
  }

  // Van der Waals parameters depend on the pair of types only.
  void AddPairTypes(const std::vector<const UFF::AtomicParams*>& types) {
    std::map<const UFF::AtomicParams*, std::uint16_t> rows;
    std::vector<const UFF::AtomicParams*> distinct;
    for (const UFF::AtomicParams* type : types) {
      const auto [row, isNew] = rows.try_emplace(type, static_cast<std::uint16_t>(rows.size()));
      if (isNew) distinct.push_back(type);
      out_.pairTypes.push_back(row->second);
    }
    out_.numPairTypes = distinct.size();
    for (const UFF::AtomicParams* a : distinct) {
      for (const UFF::AtomicParams* b : distinct) {
        out_.pairTable.push_back(
            {UFF::Utils::calcNonbondedMinimum(a, b), UFF::Utils::calcNonbondedDepth(a, b)});
      }
    }
  }

 private:
  // Bent, and not at the end of a triple bond.
  static bool turns(const RDKit::ROMol& mol, const RDKit::Atom& atom) {
    for (const RDKit::Bond* bond : mol.atomBonds(&atom)) {
      if (bond->getBondType() == RDKit::Bond::TRIPLE) return false;
    }
    return atom.getHybridization() == RDKit::Atom::SP2 ||
           atom.getHybridization() == RDKit::Atom::SP3;
  }
  unsigned int at(int number) const { return graph_.atoms[static_cast<std::size_t>(number)]; }
  unsigned int bond(int from, int to) const {
    for (const auto& next : graph_.neighbours[static_cast<std::size_t>(from)]) {
      if (next.atom == static_cast<unsigned int>(to)) return next.bond;
    }
    return 0;
  }

  const AtomGraph& graph_;
  UffParameters& out_;
};

}  // namespace

std::unique_ptr<const UffParameters> PerceiveUff(const QZChem::QZMolBase& mol,
                                                 const AtomGraph& graph,
                                                 std::string& error) {
  // The parameters are parsed at first use, by the program's locale.
  const QZChem::QZClassicNumbers numbers;
  try {
    const QZChem::QZRDKitMol converted = QZChem::QZToRDKit(mol, /*coordinates=*/true);
    if (!converted.error.empty()) {
      error = "the chemistry is not understood: " + converted.error;
      return nullptr;
    }
    const auto types = RDKit::UFF::getAtomTypes(*converted.mol).first;
    const auto untyped = std::ranges::find(types, nullptr);
    if (untyped != types.end()) {
      const auto number = static_cast<unsigned int>(untyped - types.begin());
      error = "no type for atom " + converted.mol->getAtomWithIdx(number)->getSymbol() + " " +
              std::to_string(converted.atomIndices[number] + 1);
      return nullptr;
    }
    // A threshold of zero leaves out the pairs.
    const std::unique_ptr<ForceFields::ForceField> field(
        RDKit::UFF::constructForceField(*converted.mol, types, /*vdwThresh=*/0.0));
    auto parameters = std::make_unique<UffParameters>();
    Collector collector(graph, *parameters);
    for (const auto& contribution : field->contribs()) collector.Add(*contribution);
    collector.AddTorsions(*converted.mol, types, *field);
    collector.AddPairTypes(types);
    for (const RDKit::Atom* atom : converted.mol->atoms()) {
      if (atom->getHybridization() == RDKit::Atom::SP3D && atom->getDegree() == 5) {
        parameters->dependsOnCoordinates = true;
      }
    }
    return parameters;
  } catch (const std::exception& failure) {
    error = std::string("no parameters: ") + failure.what();
    return nullptr;
  }
}

}  // namespace QZMolPotential
