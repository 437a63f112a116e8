// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <array>
#include <cstddef>
#include <utility>
#include <vector>

#include "molpotential/constraint.h"

namespace QZMolPotential {

/// The base class of further constraints c = quantity - target on a molecule's geometry, with true
/// gradients and Hessians. `x` and `grad` are full coordinate vectors by atom index, and `hessian`
/// is the packed Hessian over them: n = NumVar() = 3 x AtomIndexBound() variables from `Setup` on,
/// 0 before. Atoms are given by index and looked up at `Setup`, which fails with a Warning when one
/// is missing or named twice. The target is given (`SetTarget`) or measured on the molecule at
/// every `Setup`. Copies: deep. Evaluation allocates nothing.
class QZ_API QZGeometryConstr : public QZMolConstr, public QZOpt::QZConstrHessian {
 public:
  bool Setup(const QZChem::QZMolBase& mol) override;
  unsigned int NumVar() const override { return numVar_; }
  double operator()(const double* x) override;
  double operator()(const double* x, double* grad) override;
  bool AddHessian(const double* x, double factor, double* hessian) const override;

  /// The target, in the unit of the constraint (Å or radians).
  double GetTarget() const { return target_; }
  /// Sets the target; later calls of `Setup` do not measure it.
  void SetTarget(double target);
  /// Moves whole sides of `mol` (by `QZSetDistance`, `QZSetAngle` or `QZSetTorsion`) so that the
  /// quantity takes its target, which gives a good start for a constrained minimisation. False,
  /// with nothing moved, when the class has no such move or the molecule does not permit it, for
  /// example in rings.
  virtual bool Place(QZChem::QZMolBase& mol) const;

 protected:
  explicit QZGeometryConstr(std::vector<unsigned int> atoms) : atoms_(std::move(atoms)) {}
  const std::vector<unsigned int>& Atoms() const { return atoms_; }

  /// Returns the quantity, adds its gradient to `grad` and `factor` times its second derivatives to
  /// `hessian`; either array may be null.
  virtual double evaluate(const double* x, double* grad, double factor, double* hessian) const = 0;
  /// The name of the quantity in messages.
  virtual const char* what() const = 0;
  /// The difference of a value from the target.
  virtual double difference(double value) const { return value - target_; }
  /// Whether enough atoms were given, asked before they are looked up.
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
/// so that c is continuous at ψ = ±π; opposite the target c jumps from π to -π. Three atoms in
/// line: ψ = 0 and the derivatives are 0.
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

/// Holds the difference of two distances, for example for a proton transfer.
///   c = |xb - xa| - |xd - xc| - target     in Å
/// An atom may belong to both distances. Coincident atoms divide by zero.
class QZ_API QZDistanceDifferenceConstr final : public QZGeometryConstr {
 public:
  QZDistanceDifferenceConstr(unsigned int a, unsigned int b, unsigned int c, unsigned int d);

 private:
  double evaluate(const double* x, double* grad, double factor, double* hessian) const override;
  const char* what() const override { return "Requested distance difference"; }
  std::array<unsigned int, 4> ends_;
};

/// Holds the distance of the centroids A and B (unweighted means) of two groups of atoms.
///   c = |A - B| - target     in Å
/// An atom must not be in both groups. Coincident centroids divide by zero. Cost of a Hessian: the
/// square of the number of atoms.
class QZ_API QZCentroidDistanceConstr final : public QZGeometryConstr {
 public:
  QZCentroidDistanceConstr(const std::vector<unsigned int>& groupA,
                           const std::vector<unsigned int>& groupB);
  /// Only for groups of one atom each.
  bool Place(QZChem::QZMolBase& mol) const override;

 private:
  double evaluate(const double* x, double* grad, double factor, double* hessian) const override;
  const char* what() const override { return "Requested centroid distance"; }
  bool isComplete() const override;
  std::size_t sizeA_;
};

/// Holds the height of atom d above the plane of atoms a, b and c.
///   c = n·(xd - xb)/|n| - target     in Å,   n = (xa - xb) x (xc - xb)
/// The height is positive when d is on the side of n; a target of 0 keeps the four atoms in a
/// plane. It divides by zero when a, b and c are in line.
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
/// At an rmsd of 0 gradient and Hessian are given as 0, since the gradient has no direction there;
/// a minimisation must start elsewhere. Cost of a Hessian: the square of the number of atoms.
/// Source: Horn, J. Opt. Soc. Am. A 4, 629 (1987).
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
