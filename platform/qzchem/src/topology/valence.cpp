// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "topology/valence.h"

#include <algorithm>
#include <array>
#include <span>

#include "topology/mol_impl.h"

namespace QZChem {
namespace {

// Valences of the neutral element, ascending.
std::span<const int> UsualValences(unsigned int element) {
  static constexpr std::array<int, 1> kOne = {1};
  static constexpr std::array<int, 1> kTwo = {2};
  static constexpr std::array<int, 1> kThree = {3};
  static constexpr std::array<int, 1> kFour = {4};
  static constexpr std::array<int, 2> kPhosphorus = {3, 5};
  static constexpr std::array<int, 3> kSulfur = {2, 4, 6};
  static constexpr std::array<int, 4> kHalogen = {1, 3, 5, 7};
  switch (element) {
    case 1:
    case 9:
      return kOne;
    case 5:
      return kThree;
    case 6:
    case 14:
      return kFour;
    case 7:
      return kThree;
    case 8:
      return kTwo;
    case 15:
    case 33:
      return kPhosphorus;
    case 16:
    case 34:
      return kSulfur;
    case 17:
    case 35:
    case 53:
      return kHalogen;
    default:
      return {};
  }
}

// What a charge adds to the valence: a lone pair more or less for the elements of groups 15 to 17,
// an empty orbital filled for boron; a charged carbon has lost a bond either way.
int ValenceOfCharge(unsigned int element, int charge) {
  if (element == 5) return -charge;
  if (element == 6 || element == 14) return -std::abs(charge);
  return charge;
}

}  // namespace

int OpenValence(const QZAtomBase& atom) {
  const std::span<const int> valences = UsualValences(atom.GetAtomicNumber());
  if (valences.empty()) return 0;
  int sum = static_cast<int>(atom.GetRadicalElectrons());
  for (const QZBondBase* bond : QZMolAccess::Bonds(atom)) {
    sum += static_cast<int>(bond->GetOrder());
  }
  const int shift = ValenceOfCharge(atom.GetAtomicNumber(), atom.GetFormalCharge());
  for (const int valence : valences) {
    if (sum <= valence + shift) return valence + shift - sum;
  }
  return valences.back() + shift - sum;
}

unsigned int CountHydrogens(const QZAtomBase& atom) {
  return atom.GetDegree() - atom.GetHeavyDegree();
}

bool IsMetal(unsigned int element) {
  constexpr std::array<unsigned int, 23> kOthers = {1,  2,  5,  6,  7,  8,  9,  10, 14, 15, 16, 17,
                                                    18, 32, 33, 34, 35, 36, 52, 53, 54, 85, 86};
  return element != 0 && std::ranges::find(kOthers, element) == kOthers.end();
}

}  // namespace QZChem
