// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "forcefields/params.h"

#include <algorithm>
#include <array>
#include <initializer_list>
#include <string>

#include "perception/perception.h"

namespace QZMolPotential {
namespace {

using QZChem::QZAtomBase;

// The parameters for the one molecule of all atoms; null when there are none or several molecules.
std::shared_ptr<const Perception> ParametersOf(QZForceFieldKind kind,
                                               std::initializer_list<const QZAtomBase*> atoms) {
  const QZAtomBase* first = *atoms.begin();
  const bool together = std::ranges::all_of(atoms, [&](const QZAtomBase* atom) {
    return atom != nullptr && &atom->GetMol() == &first->GetMol();
  });
  if (!together || kind == QZForceFieldKind::UFF) return nullptr;
  std::string reason;
  return Perception::FindParameters(first->GetMol(), kind, reason);
}

void Fill(QZInteractParams& record, std::initializer_list<double> values) {
  unsigned int i = 0;
  for (const double value : values) record.Set(i++, value);
}

// The term i of `arrays` for which matches(atoms) holds among those that have `key`, by which the
// terms are in ascending order; Size() when there is none.
template <class K, class Key, class Matches>
std::size_t Find(const BondedArrays<K>& arrays, unsigned int key, Key keyOf, Matches matches) {
  std::size_t i = 0;
  for (std::size_t end = arrays.Size(); i < end;) {
    const std::size_t middle = i + (end - i) / 2;
    if (keyOf(middle) < key) {
      i = middle + 1;
    } else {
      end = middle;
    }
  }
  for (; i < arrays.Size() && keyOf(i) == key; ++i) {
    if (matches(arrays.atoms[i])) return i;
  }
  return arrays.Size();
}

// Also where the ends are given the other way round.
template <class K>
std::size_t FindAngle(const BondedArrays<K>& arrays,
                      unsigned int end1,
                      unsigned int centre,
                      unsigned int end2) {
  return Find(
      arrays,
      centre,
      [&](std::size_t i) { return arrays.atoms[i][1]; },
      [&](const auto& atoms) {
        return (atoms[0] == end1 && atoms[2] == end2) || (atoms[0] == end2 && atoms[2] == end1);
      });
}

struct PairPlace {
  bool interacts = false;
  bool isOneFour = false;
  unsigned int first = 0;  // numbers
  unsigned int second = 0;
};
PairPlace PlaceOf(const PairInput& pairs, unsigned int a, unsigned int b) {
  PairPlace place;
  if (a == b) return place;
  const auto numberOf = [&](unsigned int atom) {
    return static_cast<unsigned int>(std::ranges::lower_bound(pairs.atoms, atom) -
                                     pairs.atoms.begin());
  };
  place.first = numberOf(a);
  place.second = numberOf(b);
  const PairInput::AtomPair pair{std::min(place.first, place.second),
                                 std::max(place.first, place.second)};
  place.interacts = !std::ranges::binary_search(pairs.excluded, pair);
  place.isOneFour = std::ranges::binary_search(pairs.oneFour, pair);
  return place;
}

}  // namespace

bool QZMMFFParams::PrepMol(QZChem::QZMolBase& mol, bool, bool) const {
  return kind_ != QZForceFieldKind::UFF && Perception::FindParameters(mol, kind_) != nullptr;
}

bool QZMMFFParams::GetBondParams(QZInteractParams& record, const QZChem::QZBondBase* bond) const {
  if (bond == nullptr) return false;
  const auto found = ParametersOf(kind_, {bond->GetBegin(), bond->GetEnd()});
  if (found == nullptr) return false;
  const auto& all = found->mmff->stretch;
  const std::size_t i = Find(
      all,
      bond->GetIndex(),
      [&](std::size_t k) { return all.bonds[k][0]; },
      [](const auto&) { return true; });
  if (i == all.Size()) return false;
  Fill(record, {all.params[i].r0, all.params[i].k});
  return true;
}

bool QZMMFFParams::GetAngleParams(QZInteractParams& record,
                                  const QZAtomBase* end1,
                                  const QZAtomBase* centre,
                                  const QZAtomBase* end2) const {
  const auto found = ParametersOf(kind_, {end1, centre, end2});
  if (found == nullptr) return false;
  const auto& all = found->mmff->bend;
  const std::size_t i = FindAngle(all, end1->GetIndex(), centre->GetIndex(), end2->GetIndex());
  if (i == all.Size()) return false;
  const auto& p = all.params[i];
  Fill(record, {p.theta0, p.k, p.isLinear ? 1.0 : 0.0});
  return true;
}

bool QZMMFFParams::GetTorsionParams(QZInteractParams& record,
                                    const QZAtomBase* a,
                                    const QZAtomBase* b,
                                    const QZAtomBase* c,
                                    const QZAtomBase* d) const {
  const auto found = ParametersOf(kind_, {a, b, c, d});
  if (found == nullptr) return false;
  const std::array atoms{a->GetIndex(), b->GetIndex(), c->GetIndex(), d->GetIndex()};
  const std::array back{atoms[3], atoms[2], atoms[1], atoms[0]};
  for (const auto& bond : QZSystem::QZRange(b->GetBonds())) {
    if (bond.GetNeighbour(b) != c) continue;
    const auto& all = found->mmff->torsion;
    const std::size_t i = Find(
        all,
        bond.GetIndex(),
        [&](std::size_t k) { return found->mmff->torsionBonds[k]; },
        [&](const auto& other) { return other == atoms || other == back; });
    if (i == all.Size()) return false;
    Fill(record, {all.params[i].v1, all.params[i].v2, all.params[i].v3});
    return true;
  }
  return false;
}

bool QZMMFFParams::GetOutOfPlaneParams(QZInteractParams& record,
                                       const QZAtomBase* a,
                                       const QZAtomBase* b,
                                       const QZAtomBase* c,
                                       const QZAtomBase* d) const {
  const auto found = ParametersOf(kind_, {a, b, c, d});
  if (found == nullptr) return false;
  const auto& all = found->mmff->outOfPlane;
  std::array ends{a->GetIndex(), c->GetIndex(), d->GetIndex()};
  std::ranges::sort(ends);
  const std::size_t i = Find(
      all,
      b->GetIndex(),
      [&](std::size_t k) { return all.atoms[k][1]; },
      [&](const auto& atoms) {
        std::array others{atoms[0], atoms[2], atoms[3]};
        std::ranges::sort(others);
        return others == ends;
      });
  if (i == all.Size()) return false;
  Fill(record, {0.0, all.params[i].k});
  return true;
}

bool QZMMFFParams::GetStretchBendParams(QZInteractParams& record,
                                        const QZAtomBase* a,
                                        const QZAtomBase* b,
                                        const QZAtomBase* c) const {
  const auto found = ParametersOf(kind_, {a, b, c});
  if (found == nullptr) return false;
  const auto& all = found->mmff->stretchBend;
  const std::size_t i = FindAngle(all, a->GetIndex(), b->GetIndex(), c->GetIndex());
  if (i == all.Size()) return false;
  auto p = all.params[i];
  if (all.atoms[i][0] != a->GetIndex()) {
    std::swap(p.r01, p.r02);
    std::swap(p.k1, p.k2);
  }
  Fill(record, {p.r01, p.r02, p.theta0, p.k1, p.k2});
  return true;
}

bool QZMMFFParams::GetVdwParams(QZInteractParams& record,
                                const QZAtomBase* a,
                                const QZAtomBase* b) const {
  const auto found = ParametersOf(kind_, {a, b});
  if (found == nullptr) return false;
  const PairInput& pairs = found->pairs;
  const PairPlace place = PlaceOf(pairs, a->GetIndex(), b->GetIndex());
  if (!place.interacts) return false;
  const auto& p =
      pairs.table[pairs.types[place.first] * pairs.numTypes + pairs.types[place.second]];
  Fill(record, {p.distance, p.depth});
  return true;
}

bool QZMMFFParams::GetElectrostaticParams(QZInteractParams& record,
                                          const QZAtomBase* a,
                                          const QZAtomBase* b) const {
  const auto found = ParametersOf(kind_, {a, b});
  if (found == nullptr) return false;
  const PairPlace place = PlaceOf(found->pairs, a->GetIndex(), b->GetIndex());
  if (!place.interacts) return false;
  Fill(record,
       {found->pairs.charges[place.first],
        found->pairs.charges[place.second],
        place.isOneFour ? 0.75 : 1.0});
  return true;
}

unsigned int QZMMFFParams::GetAtomType(const QZAtomBase* atom) const {
  const auto found = ParametersOf(kind_, {atom});
  return found != nullptr ? found->mmff->types[atom->GetIndex()] : 0;
}

const char* QZMMFFParams::GetAtomTypeName(const QZAtomBase* atom) const {
  static const auto names = [] {
    std::array<std::string, 256> texts;
    for (std::size_t i = 1; i < texts.size(); ++i) texts[i] = std::to_string(i);
    return texts;
  }();
  return names[GetAtomType(atom)].c_str();
}

double QZMMFFParams::GetPartialCharge(const QZAtomBase* atom) const {
  const auto found = ParametersOf(kind_, {atom});
  return found != nullptr ? found->mmff->charges[atom->GetIndex()] : 0.0;
}

bool QZMMFFParams::HasParams(const QZChem::QZMolBase& mol) const {
  std::string reason;
  return kind_ != QZForceFieldKind::UFF &&
         Perception::FindParameters(mol, kind_, reason) != nullptr;
}

const char* QZMMFFParams::GetName() const {
  return QZGetForceFieldName(kind_);
}

const char* QZMMFFParams::GetVersion() const {
  return PerceptionVersion();
}

}  // namespace QZMolPotential
