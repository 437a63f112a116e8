// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "constr/positional.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "constr/atoms.h"
#include "constr/onset.h"
#include "constr/predicatecopy.h"
#include "kernels/distance.h"
#include "qzchem/mol.h"

namespace QZConstr {

using QZMolPotential::AddToAtom;
using QZMolPotential::Dot;
using QZMolPotential::LoadAtom;
using QZMolPotential::Vec3;

// One restrained atom: half a cache line.
struct PositionRestraint {
  Vec3 reference;
  unsigned int atomIndex;
};

// Strength, width and exponent are common to all restraints, so they stand here alone.
struct PositionRestraintData {
  double width;
  double strength;
  double exponent;
  double onset = 0.0;  // of the square law
  std::vector<PositionRestraint> restraints{};
  PredicateCopy<QZChem::QZAtomBase> atomPred{};
  unsigned int numAtoms = 0;
};

namespace {

// The law k eⁿ of the excess distance e, and its slope n k eⁿ⁻¹.
struct Excess {
  double energy;
  double slope;
};

struct SquareLaw {
  double k;
  double Energy(double e) const { return k * e * e; }
  Excess operator()(double e) const { return {k * e * e, 2.0 * k * e}; }
};

struct OnsetLaw {
  double k;
  double onset;
  double Energy(double e) const { return WallLaw(k, e, onset).value; }
  Excess operator()(double e) const {
    const WallLaw law(k, e, onset);
    return {law.value, law.first};
  }
};

struct PowerLaw {
  double k;
  double exponent;
  double Energy(double e) const { return k * std::pow(e, exponent); }
  Excess operator()(double e) const {
    const double p = std::pow(e, exponent - 1.0);
    return {p * e * k, exponent * k * p};
  }
};

template <class ExcessLaw>
double Sum(const PositionRestraintData& data, const double* x, ExcessLaw law) {
  const double width = data.width;
  const double widthSquared = width * width;
  double energy = 0.0;
  for (const PositionRestraint& restraint : data.restraints) {
    const Vec3 delta = LoadAtom(x, restraint.atomIndex) - restraint.reference;
    const double d2 = Dot(delta, delta);
    if (d2 <= widthSquared) continue;
    energy += law.Energy(std::sqrt(d2) - width);
  }
  return energy;
}

template <class ExcessLaw>
double Sum(const PositionRestraintData& data, const double* x, double* grad, ExcessLaw law) {
  const double width = data.width;
  const double widthSquared = width * width;
  double energy = 0.0;
  for (const PositionRestraint& restraint : data.restraints) {
    const Vec3 delta = LoadAtom(x, restraint.atomIndex) - restraint.reference;
    const double d2 = Dot(delta, delta);
    if (d2 <= widthSquared) continue;
    const double d = std::sqrt(d2);
    const Excess at = law(d - width);
    energy += at.energy;
    AddToAtom(grad, restraint.atomIndex, (at.slope / d) * delta);
  }
  return energy;
}

// Without a width the square law needs neither root nor quotient: E = k d², gradient 2k Δ.
template <bool kWithGradient>
double SumSprings(const PositionRestraintData& data, const double* x, double* grad) {
  const double k = data.strength;
  double energy = 0.0;
  for (const PositionRestraint& restraint : data.restraints) {
    const Vec3 delta = LoadAtom(x, restraint.atomIndex) - restraint.reference;
    energy += k * Dot(delta, delta);
    if constexpr (kWithGradient) AddToAtom(grad, restraint.atomIndex, (2.0 * k) * delta);
  }
  return energy;
}

}  // namespace

QZPositionRestraint::QZPositionRestraint(double width, double strength, double exponent)
    : data_(PositionRestraintData{.width = width, .strength = strength, .exponent = exponent}) {}
QZPositionRestraint::QZPositionRestraint(const QZPositionRestraint&) = default;
QZPositionRestraint& QZPositionRestraint::operator=(const QZPositionRestraint&) = default;
QZPositionRestraint::~QZPositionRestraint() = default;

double QZPositionRestraint::getWidth() const {
  return data_->width;
}
void QZPositionRestraint::setWidth(double width) {
  data_->width = width;
}
double QZPositionRestraint::getStrength() const {
  return data_->strength;
}
void QZPositionRestraint::setStrength(double strength) {
  data_->strength = strength;
}
double QZPositionRestraint::getExponent() const {
  return data_->exponent;
}
void QZPositionRestraint::setExponent(double exponent) {
  data_->exponent = exponent;
}

double QZPositionRestraint::getOnset() const {
  return data_->onset;
}
bool QZPositionRestraint::setOnset(double onset) {
  if (!std::isfinite(onset) || onset < 0.0) return false;
  data_->onset = onset;
  return true;
}

const QZSystem::QZUnaryPredicate<QZChem::QZAtomBase>* QZPositionRestraint::GetPred() const {
  return data_->atomPred.Get();
}

bool QZPositionRestraint::Set(const QZSystem::QZUnaryPredicate<QZChem::QZAtomBase>& pred,
                              unsigned int which) {
  if ((which & QZMolPotential::QZCategoryPositional) != 0) {
    data_->atomPred = PredicateCopy<QZChem::QZAtomBase>(pred);
  }
  return true;
}

void QZPositionRestraint::ClearPredicates() {
  data_->atomPred = {};
}

bool QZPositionRestraint::Setup(const QZChem::QZMolBase& mol) {
  const auto* pred = data_->atomPred.Get();
  data_->restraints.clear();
  data_->numAtoms = mol.NumAtoms();
  std::vector<double> coords(std::size_t{3} * mol.AtomIndexBound());
  mol.GetCoords(coords.data());
  for (const auto& atom : QZSystem::QZRange(mol.GetAtoms())) {
    if (pred != nullptr && !(*pred)(atom)) continue;
    data_->restraints.push_back({LoadAtom(coords.data(), atom.GetIndex()), atom.GetIndex()});
  }
  return true;
}

bool QZPositionRestraint::SetupConf(const double* coords) {
  for (PositionRestraint& restraint : data_->restraints) {
    restraint.reference = LoadAtom(coords, restraint.atomIndex);
  }
  return true;
}

void QZPositionRestraint::Clear() {
  data_->restraints = {};
  data_->numAtoms = 0;
}

unsigned int QZPositionRestraint::NumVar() const {
  return 3 * data_->numAtoms;
}

double QZPositionRestraint::operator()(const double* x) {
  const PositionRestraintData& data = *data_;
  if (data.exponent == 2.0) {
    if (data.onset > 0.0) return Sum(data, x, OnsetLaw{data.strength, data.onset});
    if (data.width == 0.0) return SumSprings<false>(data, x, nullptr);
    return Sum(data, x, SquareLaw{data.strength});
  }
  return Sum(data, x, PowerLaw{data.strength, data.exponent});
}

double QZPositionRestraint::operator()(const double* x, double* grad) {
  const PositionRestraintData& data = *data_;
  if (data.exponent == 2.0) {
    if (data.onset > 0.0) return Sum(data, x, grad, OnsetLaw{data.strength, data.onset});
    if (data.width == 0.0) return SumSprings<true>(data, x, grad);
    return Sum(data, x, grad, SquareLaw{data.strength});
  }
  return Sum(data, x, grad, PowerLaw{data.strength, data.exponent});
}

bool QZPositionRestraint::AppendModelHessian(const double* x,
                                             std::vector<QZOpt::QZMatrixEntry>& entries) {
  const PositionRestraintData& data = *data_;
  QZMolPotential::EntrySink<QZOpt::QZMatrixEntry> sink(entries);
  for (const PositionRestraint& restraint : data.restraints) {
    const QZMolPotential::PointDistance d(LoadAtom(x, restraint.atomIndex), restraint.reference);
    const double e = d.r - data.width;
    // On the reference point itself the restraint without a width is a spring in all directions.
    if (d.r == 0.0 && data.width == 0.0 && data.exponent == 2.0 && data.onset == 0.0) {
      sink.Diagonal(restraint.atomIndex,
                    QZMolPotential::Identity(std::max(2.0 * data.strength, 0.0)));
      continue;
    }
    if (!(e > 0.0)) continue;
    const double n = data.exponent;
    const WallLaw square(data.strength, e, data.onset);
    const double first = n == 2.0 ? square.first : n * data.strength * std::pow(e, n - 1.0);
    const double second = n == 2.0 ? square.second : (n - 1.0) * first / e;
    sink.Diagonal(restraint.atomIndex, d.Curvature(std::max(first, 0.0), std::max(second, 0.0)));
  }
  return true;
}

QZSystem::QZIterBase<QZOpt::QZFComponent>* QZPositionRestraint::GetFComponents(const double* x) {
  return MakeComponent(*this, "Constraint Potential", x);
}

}  // namespace QZConstr
