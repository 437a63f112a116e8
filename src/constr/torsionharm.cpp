// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "constr/torsionharm.h"

#include <cmath>
#include <iostream>
#include <memory>
#include <utility>
#include <vector>

#include "constr/dihedral_atoms.h"
#include "constr/predicatecopy.h"
#include "qzchem/mol.h"
#include "qzchem/subsearch.h"
#include "qzsystem/error.h"

namespace QZConstr {

using QZChem::QZAtomBase;
using QZChem::QZBondBase;
using QZSystem::QZThrow;
using QZSystem::QZUnaryPredicate;

struct QZTorsionHarmConstr::Data {
  std::string pattern;
  double k;
  double phi0;
  double cosPhi0;
  unsigned int numAtoms = 0;
  std::size_t numExplicit = 0;             // 1 after SetSingleTorsion; it stands first
  std::vector<AtomIndices<4>> torsions{};  // those of the pattern follow
  PredicateCopy<QZAtomBase> atomPred{};
  PredicateCopy<QZBondBase> bondPred{};
  std::shared_ptr<const QZChem::QZSubSearch> search{};  // the parsed pattern; null until needed
};

QZTorsionHarmConstr::QZTorsionHarmConstr(double k, double phi0)
    : QZTorsionHarmConstr(std::string(), k, phi0) {}

QZTorsionHarmConstr::QZTorsionHarmConstr(std::string pattern, double k, double phi0)
    : data_(Data{.pattern = std::move(pattern), .k = k, .phi0 = phi0, .cosPhi0 = std::cos(phi0)}) {}

QZTorsionHarmConstr::QZTorsionHarmConstr(const QZTorsionHarmConstr&) = default;
QZTorsionHarmConstr& QZTorsionHarmConstr::operator=(const QZTorsionHarmConstr&) = default;
QZTorsionHarmConstr::~QZTorsionHarmConstr() = default;

const std::string& QZTorsionHarmConstr::GetTorsionPattern() const {
  return data_->pattern;
}
void QZTorsionHarmConstr::SetTorsionPattern(std::string pattern) {
  data_->pattern = std::move(pattern);
  data_->search = nullptr;
}
void QZTorsionHarmConstr::SetSingleTorsion(unsigned int a,
                                           unsigned int b,
                                           unsigned int c,
                                           unsigned int d) {
  data_->torsions = std::vector<AtomIndices<4>>{{a, b, c, d}};
  data_->numExplicit = 1;
}
double QZTorsionHarmConstr::Get_k() const {
  return data_->k;
}
void QZTorsionHarmConstr::Set_k(double k) {
  data_->k = k;
}
double QZTorsionHarmConstr::Get_phi0() const {
  return data_->phi0;
}
void QZTorsionHarmConstr::Set_phi0(double phi0) {
  data_->phi0 = phi0;
  data_->cosPhi0 = std::cos(phi0);
}

bool QZTorsionHarmConstr::Set(const QZUnaryPredicate<QZAtomBase>& pred, unsigned int which) {
  if ((which & QZMolPotential::QZCategoryTorsionRestraint) != 0) {
    std::cout << "Will create copy of the predicate" << std::endl;
    data_->atomPred = PredicateCopy<QZAtomBase>(pred);
  }
  return true;
}

bool QZTorsionHarmConstr::Set(const QZUnaryPredicate<QZBondBase>& pred, unsigned int which) {
  if ((which & QZMolPotential::QZCategoryTorsionRestraint) != 0) {
    data_->bondPred = PredicateCopy<QZBondBase>(pred);
  }
  return true;
}

void QZTorsionHarmConstr::ClearPredicates() {
  data_->atomPred = {};
  data_->bondPred = {};
}

bool QZTorsionHarmConstr::Setup(const QZChem::QZMolBase& mol) {
  data_->torsions.resize(data_->numExplicit);
  if (!data_->pattern.empty() && !findTorsions(mol)) return false;
  if (data_->torsions.empty()) {
    QZThrow.Warning("Torsion(s) to be constrained not identified");
    data_->numAtoms = 0;
    return false;
  }
  data_->numAtoms = mol.AtomIndexBound();
  return true;
}

bool QZTorsionHarmConstr::findTorsions(const QZChem::QZMolBase& mol) {
  if (!data_->search) {
    auto search = std::make_shared<QZChem::QZSubSearch>();
    if (!search->Init(data_->pattern.c_str(), /*reorder=*/false)) {
      QZThrow.Warning("invalid SMARTS pattern '%s'", data_->pattern.c_str());
      return false;
    }
    data_->search = std::move(search);
  }
  std::vector<unsigned int> mapped;
  for (const auto& match : QZSystem::QZRange(data_->search->Match(mol, /*unique=*/true))) {
    mapped.clear();
    for (const auto& pair : QZSystem::QZRange(match.GetPairs())) {
      const unsigned int map = pair.pattern->GetMapIndex();
      if (map == 0) continue;
      if (map > 4) {
        QZThrow.Warning("Map Index >4 (%d)", static_cast<int>(map));
        return false;
      }
      mapped.push_back(pair.target->GetIndex());
    }
    if (mapped.size() != 4) {
      QZThrow.Warning("Failed to find 4 map indices in torsion definition.");
      return false;
    }
    data_->torsions.push_back({mapped[0], mapped[1], mapped[2], mapped[3]});
  }
  return true;
}

void QZTorsionHarmConstr::Clear() {
  data_->torsions.resize(data_->numExplicit);
  data_->torsions.shrink_to_fit();
  data_->numAtoms = 0;
}

unsigned int QZTorsionHarmConstr::NumVar() const {
  return 3 * data_->numAtoms;
}

double QZTorsionHarmConstr::operator()(const double* x) {
  double energy = 0.0;
  for (const AtomIndices<4>& atoms : data_->torsions) {
    const auto dihedral = CosineAt(x, atoms);
    if (dihedral.IsDegenerate()) continue;
    const double off = dihedral.cosine - data_->cosPhi0;
    energy += 0.5 * data_->k * off * off;
  }
  return energy;
}

double QZTorsionHarmConstr::operator()(const double* x, double* grad) {
  double energy = 0.0;
  for (const AtomIndices<4>& atoms : data_->torsions) {
    const auto dihedral = CosineAt(x, atoms);
    if (dihedral.IsDegenerate()) continue;
    const double off = dihedral.cosine - data_->cosPhi0;
    AddBlocks(grad, atoms, data_->k * off, dihedral.Gradient());
    energy += 0.5 * data_->k * off * off;
  }
  return energy;
}

bool QZTorsionHarmConstr::AppendModelHessian(const double* x,
                                             std::vector<QZOpt::QZMatrixEntry>& entries) {
  if (!(data_->k > 0.0)) return true;
  for (const AtomIndices<4>& atoms : data_->torsions) {
    const auto dihedral = CosineAt(x, atoms);
    if (!dihedral.IsDegenerate()) AppendProducts(entries, atoms, dihedral.Gradient(), data_->k);
  }
  return true;
}

QZSystem::QZIterBase<QZOpt::QZFComponent>* QZTorsionHarmConstr::GetFComponents(const double* x) {
  return MakeComponent(*this, "Torsion Constraint", x);
}

}  // namespace QZConstr
