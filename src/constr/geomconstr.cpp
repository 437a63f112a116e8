// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "molpotential/geomconstr.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <span>

#include "constr/dihedral_atoms.h"
#include "kernels/angle.h"
#include "kernels/dihedral_hessian.h"
#include "kernels/distance.h"
#include "kernels/out_of_plane.h"
#include "kernels/superpose.h"
#include "qzchem/geometry.h"
#include "qzchem/mol.h"
#include "qzsystem/error.h"

namespace QZMolPotential {
namespace {

using QZConstr::AtomIndices;

AtomIndices<4> FourOf(const std::vector<unsigned int>& atoms) {
  return {atoms[0], atoms[1], atoms[2], atoms[3]};
}

// Each atom once.
std::vector<unsigned int> Distinct(std::vector<unsigned int> atoms) {
  std::ranges::sort(atoms);
  atoms.erase(std::unique(atoms.begin(), atoms.end()), atoms.end());
  return atoms;
}

std::vector<unsigned int> Joined(std::vector<unsigned int> a, const std::vector<unsigned int>& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

Vec3 CentroidOf(const double* x, std::span<const unsigned int> atoms) {
  Vec3 sum;
  for (const unsigned int atom : atoms) sum += LoadAtom(x, atom);
  return (1.0 / static_cast<double>(atoms.size())) * sum;
}

}  // namespace

bool QZGeometryConstr::Setup(const QZChem::QZMolBase& mol) {
  if (!isComplete()) {
    QZSystem::QZThrow.Warning("%s needs other atoms", what());
    return false;
  }
  if (!QZConstr::Occurs(mol, atoms_, what())) return false;
  numVar_ = 3 * mol.AtomIndexBound();
  if (measure_) {
    std::vector<double> coords(numVar_);
    mol.GetCoords(coords.data());
    target_ = evaluate(coords.data(), nullptr, 0.0, nullptr);
  }
  return true;
}

void QZGeometryConstr::SetTarget(double target) {
  target_ = target;
  measure_ = false;
}

double QZGeometryConstr::operator()(const double* x) {
  return difference(evaluate(x, nullptr, 0.0, nullptr));
}

double QZGeometryConstr::operator()(const double* x, double* grad) {
  return difference(evaluate(x, grad, 0.0, nullptr));
}

bool QZGeometryConstr::AddHessian(const double* x, double factor, double* hessian) const {
  evaluate(x, nullptr, factor, hessian);
  return true;
}

bool QZGeometryConstr::Place(QZChem::QZMolBase&) const {
  return false;
}

bool QZValenceAngleConstr::Place(QZChem::QZMolBase& mol) const {
  const auto atom = [&](std::size_t k) { return mol.GetAtom(Atoms()[k]); };
  return QZChem::QZSetAngle(mol, atom(0), atom(1), atom(2), GetTarget(), nullptr);
}

double QZValenceAngleConstr::evaluate(const double* x,
                                      double* grad,
                                      double factor,
                                      double* hessian) const {
  const std::array<unsigned int, 3> atoms{Atoms()[0], Atoms()[1], Atoms()[2]};
  const Vec3 centre = LoadAtom(x, atoms[1]);
  const VectorAngle angle(LoadAtom(x, atoms[0]) - centre, LoadAtom(x, atoms[2]) - centre);
  if (grad != nullptr && !angle.straight) {
    AddAngleGradient(grad, atoms, angle.Gradient(angle.Slopes(1.0, 0.0)));
  }
  if (hessian != nullptr && !angle.straight) {
    PackedSink sink(hessian);
    AddAngleDerivatives(sink, nullptr, atoms, angle, factor, 0.0);
  }
  return angle.Angle();
}

bool QZDihedralAngleConstr::Place(QZChem::QZMolBase& mol) const {
  const auto atom = [&](std::size_t k) { return mol.GetAtom(Atoms()[k]); };
  return QZChem::QZSetTorsion(mol, atom(0), atom(1), atom(2), atom(3), GetTarget());
}

double QZDihedralAngleConstr::evaluate(const double* x,
                                       double* grad,
                                       double factor,
                                       double* hessian) const {
  const auto atoms = FourOf(Atoms());
  const DihedralCosine dihedral = QZConstr::CosineAt(x, atoms);
  if (grad != nullptr && !dihedral.IsDegenerate()) {
    QZConstr::AddBlocks(grad, atoms, 1.0, dihedral.AngleGradient());
  }
  if (hessian != nullptr) {
    PackedSink sink(hessian);
    AddDihedralDerivatives(sink, nullptr, atoms, dihedral, factor, 0.0);
  }
  return dihedral.SignedAngle();
}

double QZDihedralAngleConstr::difference(double value) const {
  return std::remainder(value - GetTarget(), 2.0 * std::numbers::pi);
}

QZDistanceDifferenceConstr::QZDistanceDifferenceConstr(unsigned int a,
                                                       unsigned int b,
                                                       unsigned int c,
                                                       unsigned int d)
    : QZGeometryConstr(a == b || c == d ? std::vector{a, b, c, d} : Distinct({a, b, c, d})),
      ends_{a, b, c, d} {}

double QZDistanceDifferenceConstr::evaluate(const double* x,
                                            double* grad,
                                            double factor,
                                            double* hessian) const {
  double value = 0.0;
  for (const double sign : {1.0, -1.0}) {
    const std::size_t first = sign > 0.0 ? 0 : 2;
    const AtomIndices<2> atoms{ends_[first], ends_[first + 1]};
    const PointDistance d(LoadAtom(x, atoms[0]), LoadAtom(x, atoms[1]));
    value += sign * d.r;
    if (grad != nullptr) AddDistanceGradient(grad, atoms, d, sign);
    if (hessian != nullptr) {
      PackedSink sink(hessian);
      AddDistanceDerivatives(sink, nullptr, atoms, d, sign * factor, 0.0);
    }
  }
  return value;
}

QZCentroidDistanceConstr::QZCentroidDistanceConstr(const std::vector<unsigned int>& groupA,
                                                   const std::vector<unsigned int>& groupB)
    : QZGeometryConstr(Joined(groupA, groupB)), sizeA_(groupA.size()) {}

bool QZCentroidDistanceConstr::isComplete() const {
  return sizeA_ != 0 && sizeA_ != Atoms().size();
}

bool QZCentroidDistanceConstr::Place(QZChem::QZMolBase& mol) const {
  if (Atoms().size() != 2) return false;
  return QZChem::QZSetDistance(mol, mol.GetAtom(Atoms()[0]), mol.GetAtom(Atoms()[1]), GetTarget());
}

double QZCentroidDistanceConstr::evaluate(const double* x,
                                          double* grad,
                                          double factor,
                                          double* hessian) const {
  const std::span<const unsigned int> atoms(Atoms());
  const auto a = atoms.first(sizeA_);
  const auto b = atoms.subspan(sizeA_);
  const PointDistance d(CentroidOf(x, a), CentroidOf(x, b));
  // How far the difference of the centroids moves with an atom.
  const auto weight = [&](std::size_t i) {
    return i < a.size() ? 1.0 / static_cast<double>(a.size())
                        : -1.0 / static_cast<double>(b.size());
  };
  if (grad != nullptr) {
    const Vec3 slope = d.Slope(1.0);
    for (std::size_t i = 0; i < atoms.size(); ++i) AddToAtom(grad, atoms[i], weight(i) * slope);
  }
  if (hessian != nullptr) {
    PackedSink sink(hessian);
    const Mat3 curvature = d.Curvature(factor, 0.0);
    for (std::size_t i = 0; i < atoms.size(); ++i) {
      sink.Diagonal(atoms[i], (weight(i) * weight(i)) * curvature);
      for (std::size_t j = 0; j < i; ++j) {
        sink.Mixed(atoms[i], atoms[j], (weight(i) * weight(j)) * curvature);
      }
    }
  }
  return d.r;
}

double QZPlaneHeightConstr::evaluate(const double* x,
                                     double* grad,
                                     double factor,
                                     double* hessian) const {
  const auto atoms = FourOf(Atoms());
  const PlaneHeight plane(
      LoadAtom(x, atoms[0]), LoadAtom(x, atoms[1]), LoadAtom(x, atoms[2]), LoadAtom(x, atoms[3]));
  if (grad != nullptr) QZConstr::AddBlocks(grad, atoms, 1.0, plane.Gradient());
  if (hessian != nullptr) {
    PackedSink sink(hessian);
    AddCentred<3>(sink, {atoms[0], atoms[2], atoms[3]}, atoms[1], plane.Curvature(factor));
  }
  return plane.height;
}

QZRMSDConstr::QZRMSDConstr(const std::vector<unsigned int>& atoms, std::vector<double> reference)
    : QZGeometryConstr(atoms), reference_(std::move(reference)) {}

bool QZRMSDConstr::isComplete() const {
  return !Atoms().empty() && reference_.size() == 3 * Atoms().size();
}

double QZRMSDConstr::evaluate(const double* x, double* grad, double factor, double* hessian) const {
  const std::vector<unsigned int>& atoms = Atoms();
  const auto count = static_cast<double>(atoms.size());
  const Vec3 centre = CentroidOf(x, atoms);
  const Vec3 from = Centroid(reference_.data(), atoms.size());
  Mat3 covariance{};
  for (std::size_t i = 0; i < atoms.size(); ++i) {
    covariance =
        covariance + Outer(LoadAtom(reference_.data(), i) - from, LoadAtom(x, atoms[i]) - centre);
  }
  const Mat3 turn = BestRotation(covariance);
  const auto turned = [&](std::size_t i) { return turn * (LoadAtom(reference_.data(), i) - from); };
  const auto residual = [&](std::size_t i) { return (LoadAtom(x, atoms[i]) - centre) - turned(i); };
  double sum = 0.0;
  for (std::size_t i = 0; i < atoms.size(); ++i) sum += Dot(residual(i), residual(i));
  const double rmsd = std::sqrt(sum / count);
  if (grad != nullptr && rmsd > 0.0) {
    const double scale = 1.0 / (count * rmsd);
    for (std::size_t i = 0; i < atoms.size(); ++i) AddToAtom(grad, atoms[i], scale * residual(i));
  }
  if (hessian == nullptr || !(rmsd > 0.0)) return rmsd;
  // With a_i = R p_i about the centroid, and r_i the residuals, the gradient is r/(n c) and
  //   n c ∇_i ∇_j c = (δ_ij - 1/n) 1 - ∂a_i/∂x_j - r_i ⊗ r_j/(n c²).
  // The best rotation leaves Σ a_i x x_i = 0, which turns it by ω = N⁻¹ Σ a_j x dx_j,
  //   N = Σ (a_i·x_i) 1 - a_i ⊗ x_i,   ∂a_i/∂x_j = [a_i] N⁻¹ [a_j]ᵀ.
  Mat3 lever{};
  for (std::size_t i = 0; i < atoms.size(); ++i) {
    const Vec3 a = turned(i);
    const Vec3 b = LoadAtom(x, atoms[i]) - centre;
    lever = lever + Identity(Dot(a, b)) - Outer(a, b);
  }
  const Mat3 inverse = SymmetricPseudoInverse(lever);
  const double scale = factor / (count * rmsd);
  PackedSink sink(hessian);
  for (std::size_t i = 0; i < atoms.size(); ++i) {
    const Mat3 left = CrossColumns(turned(i), inverse);
    const Vec3 r = (1.0 / (count * rmsd * rmsd)) * residual(i);
    for (std::size_t j = 0; j <= i; ++j) {
      const double same = (i == j ? 1.0 : 0.0) - 1.0 / count;
      const Mat3 block = Identity(same) - CrossRows(left, turned(j)) - Outer(r, residual(j));
      if (i == j) {
        sink.Diagonal(atoms[i], scale * block);
      } else {
        sink.Mixed(atoms[i], atoms[j], scale * block);
      }
    }
  }
  return rmsd;
}

}  // namespace QZMolPotential
