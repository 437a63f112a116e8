// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>

#include "molpotential/forwarding.h"

namespace QZMolPotential {

class Evaluation;
class RigidBodies;

/// Moves a molecule as a rigid body: seven variables (w, x, y, z, tx, ty, tz), a rotation
/// quaternion of any length but zero and a translation (Å).
///   p_i = R(q) r_i / |q|² + t      r_i: the reference geometry that the last `GetVar` left
/// R is active: (1, 0, 0, 0) turns nothing. With centring, on by default, r_i is relative to the
/// geometric centre (unweighted), else to the origin, about which the molecule then turns.
/// With `restrictInteractions`, `Setup` hands the wrapped function predicates that are false for
/// everything (masks 8, 48, 192, 5, in this order), which switches off the interactions within the
/// molecule: they cannot change.
///
/// The energy does not depend on |q|: its gradient is orthogonal to q. At q = 0 all atoms collapse
/// onto t, and the gradient's first four entries are not scaled (zero for a cleared array).
/// `Setup` fails: false for an invalid molecule, with the wrapped function's own `Setup`, and, with
/// a Warning, for a molecule with holes in its atom indices.
/// The gradient is overwritten, not added to. Cost: some 30 flops an atom and evaluation; holds 18n
/// doubles. Evaluation allocates nothing.
class QZ_API QZQuatAdaptor : public QZForwardingAdaptor<QZMolAdaptor> {
 public:
  QZQuatAdaptor(QZMolFunc1& func, bool own, bool restrictInteractions);
  ~QZQuatAdaptor() override;

  void SetTranslateRefToGC(bool on) { translateRefToGC_ = on; }
  bool GetTranslateRefToGC() const { return translateRefToGC_; }
  /// The reference geometry, 3n doubles (Å); null before `Setup`.
  const double* GetRefCoord() const;

  bool Setup(const QZChem::QZMolBase& mol) override;
  /// Forgets the molecule and clears the wrapped function.
  void Clear() override;

  /// Always 7.
  unsigned int NumVar() const override { return 7; }
  using QZMolAdaptor::GetVar;
  /// Makes `cartesian` (3n doubles) the reference geometry; the result, (1, 0, 0, 0) and the
  /// centre, reproduces it through `AdaptVar`. Before `Setup` the answer is that of `GetRefCoord`,
  /// null: callers rely on it.
  const double* GetVar(const double* cartesian) override;
  /// Always true; before `Setup` nothing is written.
  bool AdaptVar(double* cartesian, const double* vars) const override;
  /// `grad` (7 doubles) from the Cartesian gradient at `vars`, both 3n arrays laid out alike.
  /// The translation part is **added to**. The rotation part is added to, and then the sum, with
  /// what stood there before, is scaled and projected: hand in zeros. False for q = 0, with neither
  /// scaling nor projection.
  bool AdaptGrad(double* grad,
                 const double* cartGrad,
                 const double* vars,
                 const double* refCoords) const;

  using QZForwardingAdaptor<QZMolAdaptor>::operator();
  /// 0 before `Setup`.
  double operator()(const double* vars) override;
  double operator()(const double* vars, double* grad) override;
  /// True when the two placements differ by less than `tolerance` (Å, root mean square over atoms).
  /// A tolerance that is not positive is an Error, and the answer true: callers rely on it.
  bool IsRedundant(const double* vars1, const double* vars2, double tolerance) const override;

 protected:
  QZQuatAdaptor();
  /// Copies share the wrapped function: an owned one lives until the last of them dies.
  QZQuatAdaptor(const QZQuatAdaptor& other);
  QZQuatAdaptor& operator=(const QZQuatAdaptor& other);

 private:
  bool restrictInteractions_ = false;
  bool translateRefToGC_ = true;
  std::unique_ptr<RigidBodies> body_;  // of no atoms before Setup
  std::unique_ptr<Evaluation> work_;
};

}  // namespace QZMolPotential
