// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "adaptors/adaptor_support.h"

#include <cmath>

namespace TestSupport {

bool FieldFunc::Setup(const QZChem::QZMolBase& mol) {
  bound.push_back(mol.NumAtoms());
  atoms_ = mol.AtomIndexBound();
  return true;
}
double FieldFunc::operator()(const double* x) {
  double energy = 0.0;
  for (unsigned int i = 0; i < atoms_; ++i, x += 3) {
    const double dx = x[0] - 0.2 * i;
    energy += std::sin(x[0] + 0.3 * i) * std::cos(x[1]) + 0.1 * x[2] * x[2] * x[2] +
              0.5 * (dx * dx + (x[1] - 1.0) * (x[1] - 1.0) + (x[2] + 1.0) * (x[2] + 1.0));
  }
  return energy;
}

double FieldFunc::operator()(const double* x, double* grad) {
  const double energy = (*this)(x);
  for (unsigned int i = 0; i < atoms_; ++i, x += 3, grad += 3) {
    grad[0] += std::cos(x[0] + 0.3 * i) * std::cos(x[1]) + x[0] - 0.2 * i;
    grad[1] += -std::sin(x[0] + 0.3 * i) * std::sin(x[1]) + x[1] - 1.0;
    grad[2] += 0.3 * x[2] * x[2] + x[2] + 1.0;
  }
  return energy;
}

QZSystem::QZIterBase<QZOpt::QZFComponent>* FieldFunc::GetFComponents(const double* x) {
  return new QZSystem::QZVectorIter<QZOpt::QZFComponent>({{"Field", (*this)(x)}});
}

std::vector<double> StartVars(QZMolPotential::QZMolAdaptor& adaptor, const std::vector<double>& x) {
  std::vector<double> vars(adaptor.NumVar());
  adaptor.GetVar(vars.data(), x.data());
  return vars;
}

std::string CheckOverwriting(QZMolPotential::QZMolAdaptor& adaptor,
                             const std::vector<double>& vars) {
  std::vector<double> clean(vars.size(), 0.0);
  std::vector<double> dirty(vars.size(), 1e6);
  adaptor(vars.data(), clean.data());
  adaptor(vars.data(), dirty.data());
  return clean == dirty ? CheckDerivatives(adaptor, vars) : "the gradient was added to";
}

std::vector<double> Distances(const std::vector<double>& x) {
  std::vector<double> distances;
  for (std::size_t i = 0; i < x.size(); i += 3) {
    for (std::size_t j = 0; j < i; j += 3) {
      distances.push_back(std::hypot(x[i] - x[j], x[i + 1] - x[j + 1], x[i + 2] - x[j + 2]));
    }
  }
  return distances;
}

void ExpectNear(const std::vector<double>& got, const std::vector<double>& want, double tolerance) {
  ASSERT_EQ(got.size(), want.size());
  for (std::size_t i = 0; i < got.size(); ++i) EXPECT_NEAR(got[i], want[i], tolerance) << i;
}

std::vector<double> RandomPlacement(std::mt19937& rng) {
  std::normal_distribution<double> normal;
  std::uniform_real_distribution<double> length(0.1, 5.0);
  std::vector<double> vars(7);
  for (double& value : vars) value = normal(rng);
  const double norm =
      std::sqrt(vars[0] * vars[0] + vars[1] * vars[1] + vars[2] * vars[2] + vars[3] * vars[3]);
  const double scale = length(rng) / norm;
  for (std::size_t k = 0; k < 4; ++k) vars[k] *= scale;
  return vars;
}

}  // namespace TestSupport
