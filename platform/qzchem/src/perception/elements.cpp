// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "perception/elements.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <string>

#include "qzchem/topology.h"

namespace QZChem {
namespace {

constexpr std::array<const char*, kMaxAtomicNumber + 1> kSymbols = {
    "*",  "H",  "He", "Li", "Be", "B",  "C",  "N",  "O",  "F",  "Ne", "Na", "Mg", "Al", "Si",
    "P",  "S",  "Cl", "Ar", "K",  "Ca", "Sc", "Ti", "V",  "Cr", "Mn", "Fe", "Co", "Ni", "Cu",
    "Zn", "Ga", "Ge", "As", "Se", "Br", "Kr", "Rb", "Sr", "Y",  "Zr", "Nb", "Mo", "Tc", "Ru",
    "Rh", "Pd", "Ag", "Cd", "In", "Sn", "Sb", "Te", "I",  "Xe", "Cs", "Ba", "La", "Ce", "Pr",
    "Nd", "Pm", "Sm", "Eu", "Gd", "Tb", "Dy", "Ho", "Er", "Tm", "Yb", "Lu", "Hf", "Ta", "W",
    "Re", "Os", "Ir", "Pt", "Au", "Hg", "Tl", "Pb", "Bi", "Po", "At", "Rn", "Fr", "Ra", "Ac",
    "Th", "Pa", "U",  "Np", "Pu", "Am", "Cm", "Bk", "Cf", "Es", "Fm", "Md", "No", "Lr", "Rf",
    "Db", "Sg", "Bh", "Hs", "Mt", "Ds", "Rg", "Cn", "Nh", "Fl", "Mc", "Lv", "Ts", "Og"};

// Å; B. Cordero et al., Dalton Trans. 2832 (2008), table 2 (sp3 carbon, low-spin metals), to Cm.
constexpr std::array<double, 97> kCovalentRadii = {
    0.00, 0.31, 0.28, 1.28, 0.96, 0.84, 0.76, 0.71, 0.66, 0.57, 0.58, 1.66, 1.41, 1.21,
    1.11, 1.07, 1.05, 1.02, 1.06, 2.03, 1.76, 1.70, 1.60, 1.53, 1.39, 1.39, 1.32, 1.26,
    1.24, 1.32, 1.22, 1.22, 1.20, 1.19, 1.20, 1.20, 1.16, 2.20, 1.95, 1.90, 1.75, 1.64,
    1.54, 1.47, 1.46, 1.42, 1.39, 1.45, 1.44, 1.42, 1.39, 1.39, 1.38, 1.39, 1.40, 2.44,
    2.15, 2.07, 2.04, 2.03, 2.01, 1.99, 1.98, 1.98, 1.96, 1.94, 1.92, 1.92, 1.89, 1.90,
    1.87, 1.87, 1.75, 1.70, 1.62, 1.51, 1.44, 1.41, 1.36, 1.36, 1.32, 1.45, 1.46, 1.48,
    1.40, 1.50, 1.50, 2.60, 2.21, 2.15, 2.06, 2.00, 1.96, 1.90, 1.87, 1.80, 1.69};

}  // namespace

const char* QZGetAtomicSymbol(unsigned int atomicNumber) {
  return kSymbols[atomicNumber <= kMaxAtomicNumber ? atomicNumber : 0];
}

unsigned int AtomicNumberOf(std::string_view symbol) {
  std::string proper(symbol);
  for (std::size_t i = 0; i < proper.size(); ++i) {
    const auto c = static_cast<unsigned char>(proper[i]);
    proper[i] = static_cast<char>(i == 0 ? std::toupper(c) : std::tolower(c));
  }
  if (proper == "D" || proper == "T") return 1;
  const auto* found = std::find(kSymbols.begin() + 1, kSymbols.end(), proper);
  return found == kSymbols.end() ? 0 : static_cast<unsigned int>(found - kSymbols.begin());
}

unsigned int IsotopeOf(std::string_view symbol) {
  if (symbol == "D" || symbol == "d") return 2;
  return symbol == "T" || symbol == "t" ? 3 : 0;
}

double CovalentRadius(unsigned int atomicNumber) {
  return atomicNumber < kCovalentRadii.size() ? kCovalentRadii[atomicNumber]
                                              : kCovalentRadii.back();
}

}  // namespace QZChem
