// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "files/sybyl.h"

#include <algorithm>
#include <vector>

#include "qzchem/topology.h"
#include "topology/mol_impl.h"

namespace QZChem {
namespace {

struct Surroundings {
  explicit Surroundings(const QZAtomBase& atom) {
    for (const QZBondBase* bond : QZMolAccess::Bonds(atom)) {
      doubles += bond->GetOrder() == 2 ? 1 : 0;
      triples += bond->GetOrder() == 3 ? 1 : 0;
      isAromatic = isAromatic || bond->IsAromatic();
    }
  }
  int doubles = 0;
  int triples = 0;
  bool isAromatic = false;
};

// Oxygens that have no other neighbour, by the order of their bond to `atom` (0: any).
long TerminalOxygens(const QZAtomBase& atom, unsigned int order) {
  return std::ranges::count_if(QZMolAccess::Bonds(atom), [&](const QZBondBase* bond) {
    const QZAtomBase* other = bond->GetNeighbour(&atom);
    return other->GetAtomicNumber() == 8 && other->GetDegree() == 1 &&
           (order == 0 || bond->GetOrder() == order);
  });
}

bool IsAmide(const QZAtomBase& nitrogen) {
  return std::ranges::any_of(QZMolAccess::Bonds(nitrogen), [&](const QZBondBase* bond) {
    const QZAtomBase* carbon = bond->GetNeighbour(&nitrogen);
    if (bond->GetOrder() != 1 || carbon->GetAtomicNumber() != 6) return false;
    return std::ranges::any_of(QZMolAccess::Bonds(*carbon), [&](const QZBondBase* next) {
      const unsigned int element = next->GetNeighbour(carbon)->GetAtomicNumber();
      return next->GetOrder() == 2 && (element == 8 || element == 16);
    });
  });
}

bool HasPlanarNeighbour(const QZAtomBase& atom) {
  return std::ranges::any_of(QZMolAccess::Bonds(atom), [&](const QZBondBase* bond) {
    const Surroundings around(*bond->GetNeighbour(&atom));
    return around.isAromatic || around.doubles > 0;
  });
}

std::string CarbonType(const Surroundings& around) {
  if (around.isAromatic) return "C.ar";
  if (around.triples > 0 || around.doubles > 1) return "C.1";
  return around.doubles > 0 ? "C.2" : "C.3";
}

std::string NitrogenType(const QZAtomBase& atom, const Surroundings& around) {
  if (atom.GetDegree() > 3) return "N.4";
  if (around.isAromatic) return atom.GetDegree() == 2 ? "N.ar" : "N.pl3";
  if (around.triples > 0 || around.doubles > 1) return "N.1";
  if (around.doubles > 0) return atom.GetDegree() > 2 ? "N.pl3" : "N.2";
  if (IsAmide(atom)) return "N.am";
  return atom.GetDegree() == 3 && HasPlanarNeighbour(atom) ? "N.pl3" : "N.3";
}

std::string OxygenType(const QZAtomBase& atom, const Surroundings& around) {
  if (atom.GetDegree() == 1) {
    const QZAtomBase& carrier = *QZMolAccess::Bonds(atom).front()->GetNeighbour(&atom);
    const bool isCarboxylate = carrier.GetAtomicNumber() == 6 && TerminalOxygens(carrier, 1) == 1 &&
                               TerminalOxygens(carrier, 2) == 1;
    if (isCarboxylate) return "O.co2";
  }
  return around.doubles > 0 || around.isAromatic ? "O.2" : "O.3";
}

std::string SulfurType(const QZAtomBase& atom, const Surroundings& around) {
  const long oxo = TerminalOxygens(atom, 2);
  if (oxo > 1) return "S.O2";
  if (oxo == 1) return "S.O";
  return around.doubles > 0 || around.isAromatic ? "S.2" : "S.3";
}

}  // namespace

std::string SybylType(const QZAtomBase& atom) {
  const Surroundings around(atom);
  switch (atom.GetAtomicNumber()) {
    case 0:
      return "Du";
    case 6:
      return CarbonType(around);
    case 7:
      return NitrogenType(atom, around);
    case 8:
      return OxygenType(atom, around);
    case 15:
      return "P.3";
    case 16:
      return SulfurType(atom, around);
    default:
      return QZGetAtomicSymbol(atom.GetAtomicNumber());
  }
}

}  // namespace QZChem
