// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "molpotential/forwarding.h"
#include "qzopt/hints.h"

namespace QZMolPotential {

class CoordinateMap;
struct MapRequest;

/// The base class of adaptors that present a function f of Cartesian coordinates x in other
/// variables v, with gradient and Hessian. Coordinates are in the frame of those that the adaptor
/// starts from.
///   E(v) = f(x(v));   gradient Jᵀg;   Hessian JᵀHJ + Σ g_i ∂²x_i/∂v∂v,   J = ∂x/∂v
/// with g the gradient and H the Hessian of f. Protocol: `SetFixed`; `Setup(mol)`; `SetupConf(x)`
/// with the coordinates to start from; `GetVar` for the variables of the start; evaluations;
/// `AdaptVar` for the coordinates of the result. Lengths in Å, angles in radians. Fixed atoms keep
/// the coordinates of the start bit for bit.
///
/// If f is a `QZFreezable`, its terms among fixed atoms are computed only once after each start;
/// their constant sum is part of every energy. Between calls f has all its terms, so that a
/// `Freeze` by the caller lasts until the next call only. While the energy is above 1e6 kcal/mol,
/// all terms are computed in every call, since the constant would be inaccurate.
///
/// Owns: the function, with `own`. Copies: none (`CreateCopy` is null).
/// Fails: `Setup` and `SetupConf` are false, with a Warning that gives the reason, for molecules,
/// fixed atoms or geometries that the variables cannot describe. An energy is NaN, with nothing
/// added to the gradient, before `SetupConf` and for variables that have no finite geometry; the
/// Hessian call is then false, as it is when f has no Hessian.
/// Cost in addition to f: O(N) for an energy or gradient and O(N²) for a Hessian unless a class
/// says otherwise; holds a packed Hessian of all coordinates, whose memory is not touched before
/// the first Hessian call. Evaluation allocates nothing, with two exceptions: in redundant and
/// internal coordinates the first Hessian after a start allocates its work arrays, and in internal
/// coordinates products of dense matrices allocate for molecules of more than about 40 atoms.
class QZ_API QZMappedFunc : public QZForwardingAdaptor<QZMolAdaptor2>,
                            public QZOpt::QZHessianModel {
 public:
  QZMappedFunc(const QZMappedFunc&) = delete;
  QZMappedFunc& operator=(const QZMappedFunc&) = delete;
  ~QZMappedFunc() override;

  /// Sets which atoms do not move; a copy of the predicate is kept. Takes effect at the next
  /// `Setup`. A predicate that accepts no atom has no effect; one that accepts all atoms leaves no
  /// variables.
  void SetFixed(const QZSystem::QZUnaryPredicate<QZChem::QZAtomBase>& fixed);
  /// Scales for `QZMinimizer::SetScales`, one positive number for each variable: 1/√k of typical
  /// force constants, or all 1 when all variables are Cartesian.
  std::vector<double> GetScales() const;

  /// Replaces the function by one that is used without its Hessian, even if it is a `QZMolFunc2`.
  bool SetMolFunc(QZMolFunc1& func, bool own) override;
  bool SetMolFunc2(QZMolFunc2& func, bool own) override;
  /// Sets up the function on `mol`, which must outlive the binding, and starts at the coordinates
  /// of `mol`.
  bool Setup(const QZChem::QZMolBase& mol) override;
  /// `coords` (3 x AtomIndexBound(), in) become the start, and are passed on to the function's
  /// `SetupConf`.
  bool SetupConf(const double* coords) override;
  void Clear() override;

  unsigned int NumVar() const override;
  /// The length of Cartesian vectors, 3 x AtomIndexBound() of the molecule; 0 before `Setup`.
  unsigned int NumCoords() const;
  using QZMolAdaptor2::GetVar;
  /// The variables (NumVar() doubles, owned by this object) of `coords`, valid until the next call.
  /// `coords` become the start, unless they are the start already. Null before `Setup`, and when
  /// the variables cannot describe `coords`.
  const double* GetVar(const double* coords) override;
  /// The coordinates (3 x AtomIndexBound(), out) of `vars`. The call does not change the state of
  /// the function, so that looking at a run never changes the run. In redundant and internal
  /// coordinates, where the geometry of given variables depends on the path of the run, the
  /// geometries of the start, of the latest eight evaluations and of the lowest energy are
  /// remembered and returned as they were; for other variables a geometry is searched from the
  /// current one. Fails: false before `Setup`, and when there is no finite geometry.
  bool AdaptVar(double* coords, const double* vars) const override;
  /// **Adds** Jᵀg at `vars` to `grad` (NumVar() doubles); `cartGrad`: g (3 x AtomIndexBound(), in).
  /// Fails as `AdaptVar`.
  bool AdaptGrad(double* grad, const double* cartGrad, const double* vars) const;
  /// **Adds** JᵀHJ + Σ g_i ∂²x_i/∂v∂v at `vars` to the packed `hess`; `cartHess`: H (packed, in),
  /// `cartGrad`: g (in). Fails as `AdaptVar`, and when memory is short.
  bool AdaptHessian(double* hess,
                    const double* cartHess,
                    const double* cartGrad,
                    const double* vars) const;

  using QZForwardingAdaptor<QZMolAdaptor2>::operator();
  double operator()(const double* vars) override;
  /// `grad` is **added to**.
  double operator()(const double* vars, double* grad) override;
  /// Both are **added to**; `grad` may be null.
  bool operator()(const double* vars, double* hess, double* grad) override;
  /// The components of the function at the coordinates of `vars`; `vars` may be null if the
  /// function accepts null.
  QZSystem::QZIterBase<QZOpt::QZFComponent>* GetFComponents(const double* vars) override;
  /// JᵀMJ for the model M of the function; false when the function has no model.
  bool AppendModelHessian(const double* vars, std::vector<QZOpt::QZMatrixEntry>& entries) override;

 protected:
  QZMappedFunc(QZMolFunc1& f, QZMolFunc2* f2, bool own);

  /// Makes the coordinate system for a molecule; null, with a reason, when the molecule or the
  /// fixed atoms do not suit it.
  virtual std::unique_ptr<CoordinateMap> makeMap(const MapRequest& request,
                                                 std::string& reason) const = 0;
  /// The name of the variables in messages.
  virtual std::string describe() const = 0;

  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace QZMolPotential
