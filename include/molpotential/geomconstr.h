// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <array>
#include <cstddef>
#include <utility>
#include <vector>

#include "molpotential/constraint.h"

namespace QZMolPotential {

/// Constraints beyond those of constraint.h, which have the true slope as their gradient and a
/// Hessian where that is cheap. `x`, `grad` and `hessian` are full coordinate vectors and the
/// packed Hessian over them, by atom index, 3 x AtomIndexBound() variables. NumVar() is 3 x
/// AtomIndexBound() from `Setup` on and 0 before it. Atoms are given by index and looked up at
/// `Setup`, which fails with a Warning when one is missing or named twice. The value is that of the
/// geometry less a target, which is given or measured at every `Setup` on the molecule. Copies:
/// deep. Evaluation allocates nothing.
class QZ_API QZGeometryConstr : public QZMolConstr, public QZOpt::QZConstrHessian {
 public:
  bool Setup(const QZChem::QZMolBase& mol) override;
  unsigned int NumVar() const override { return numVar_; }
  double operator()(const double* x) override;
  double operator()(const double* x, double* grad) override;
  bool AddHessian(const double* x, double factor, double* hessian) const override;

  /// Å or radians, as the class says.
  double GetTarget() const { return target_; }
  /// Gives the target, which later calls of `Setup` leave alone.
  void SetTarget(double target);
  /// Moves whole sides of `mol` (`QZSetDistance` and its kin) so that the quantity takes its
  /// target: where a minimisation under the constraint had best start. False, with nothing moved,
  /// when the class or the molecule has no such move, as in rings.
  virtual bool Place(QZChem::QZMolBase& mol) const;

 protected:
  explicit QZGeometryConstr(std::vector<unsigned int> atoms) : atoms_(std::move(atoms)) {}
  const std::vector<unsigned int>& Atoms() const { return atoms_; }

  /// The quantity itself; adds its gradient to `grad` and `factor` times its second derivatives to
  /// `hessian`, either of which may be null.
  virtual double evaluate(const double* x, double* grad, double factor, double* hessian) const = 0;
  /// Of what the atoms are missing, in messages.
  virtual const char* what() const = 0;
  /// The difference of a value from the target.
  virtual double difference(double value) const { return value - target_; }
  /// Whether this many atoms in this division will do, before any is looked up.
  virtual bool isComplete() const { return true; }

 private:
  std::vector<unsigned int> atoms_;
  double target_ = 0.0;
  bool measure_ = true;
  unsigned int numVar_ = 0;
};

/// Holds the angle a-b-c itself.
///   c = θ - target     θ in [0, π], radians
/// Straight: no derivatives. Coincident atoms divide by zero: there is no guard.
class QZ_API QZValenceAngleConstr final : public QZGeometryConstr {
 public:
  QZValenceAngleConstr(unsigned int a, unsigned int b, unsigned int c)
      : QZGeometryConstr({a, b, c}) {}
  bool Place(QZChem::QZMolBase& mol) const override;

 private:
  double evaluate(const double* x, double* grad, double factor, double* hessian) const override;
  const char* what() const override { return "Requested angle"; }
};

/// Holds the dihedral a-b-c-d itself, sign included.
///   c = ψ - target taken into [-π, π], ψ the IUPAC dihedral in radians
/// so that nothing jumps at ±180°; opposite the target c jumps from π to -π. Three atoms in line:
/// ψ = 0, no derivatives.
class QZ_API QZDihedralAngleConstr final : public QZGeometryConstr {
 public:
  QZDihedralAngleConstr(unsigned int a, unsigned int b, unsigned int c, unsigned int d)
      : QZGeometryConstr({a, b, c, d}) {}
  bool Place(QZChem::QZMolBase& mol) const override;

 private:
  double evaluate(const double* x, double* grad, double factor, double* hessian) const override;
  const char* what() const override { return "Requested dihedral"; }
  double difference(double value) const override;
};

/// Holds the difference of two distances, as in a proton transfer: c = |xb - xa| - |xd - xc| -
/// target, in Å. An atom may belong to both. Coincident atoms divide by zero.
class QZ_API QZDistanceDifferenceConstr final : public QZGeometryConstr {
 public:
  QZDistanceDifferenceConstr(unsigned int a, unsigned int b, unsigned int c, unsigned int d);

 private:
  double evaluate(const double* x, double* grad, double factor, double* hessian) const override;
  const char* what() const override { return "Requested distance difference"; }
  std::array<unsigned int, 4> ends_;
};

/// Holds the distance of the centroids (unweighted means) of two groups of atoms: c = |A - B| -
/// target, in Å. An atom may not be in both. Coincident centroids divide by zero. Cost of a
/// Hessian: atoms squared.
class QZ_API QZCentroidDistanceConstr final : public QZGeometryConstr {
 public:
  QZCentroidDistanceConstr(const std::vector<unsigned int>& groupA,
                           const std::vector<unsigned int>& groupB);
  /// Of single atoms only.
  bool Place(QZChem::QZMolBase& mol) const override;

 private:
  double evaluate(const double* x, double* grad, double factor, double* hessian) const override;
  const char* what() const override { return "Requested centroid distance"; }
  bool isComplete() const override;
  std::size_t sizeA_;
};

/// Holds the height of an atom d above the plane of a, b and c: c = n·(xd - xb)/|n| - target in Å,
/// n = (xa - xb) x (xc - xb), positive with d on the side of n; target 0 keeps the four in a plane.
/// With a, b and c in line it divides by zero.
class QZ_API QZPlaneHeightConstr final : public QZGeometryConstr {
 public:
  QZPlaneHeightConstr(unsigned int a, unsigned int b, unsigned int c, unsigned int d)
      : QZGeometryConstr({a, b, c, d}) {}

 private:
  double evaluate(const double* x, double* grad, double factor, double* hessian) const override;
  const char* what() const override { return "Requested plane"; }
};

/// Holds the root mean square deviation of a group of atoms from reference positions, after the
/// best superposition: c = min over R, t of √(Σ |x_i - R p_i - t|²/n) - target, in Å.
///   gradient (x_i - R p_i - t)/(n rmsd)
/// At an rmsd of 0 gradient and Hessian are 0, since the slope has no direction there: start
/// elsewhere. Cost of a Hessian: atoms squared. Source: Horn, J. Opt. Soc. Am. A 4, 629 (1987).
class QZ_API QZRMSDConstr final : public QZGeometryConstr {
 public:
  /// `reference`: x, y, z of each of the `atoms`, in their order (Å).
  QZRMSDConstr(const std::vector<unsigned int>& atoms, std::vector<double> reference);

 private:
  double evaluate(const double* x, double* grad, double factor, double* hessian) const override;
  const char* what() const override { return "Requested deviation"; }
  bool isComplete() const override;
  std::vector<double> reference_;
};

}  // namespace QZMolPotential
