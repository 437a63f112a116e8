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

/// What every adaptor has that presents a function of Cartesian coordinates in other variables,
/// with gradient and Hessian, in the frame of the coordinates that it starts from.
///   E(v) = f(x(v));   gradient Jᵀg;   Hessian JᵀHJ + Σ g_i ∂²x_i/∂v∂v,   J = ∂x/∂v
/// Protocol: `SetFixed`, `Setup(mol)`, `SetupConf(x)` with the coordinates to start from, `GetVar`
/// for the start variables, evaluations, `AdaptVar` for the way back. Lengths in Å, angles in
/// radians. Fixed atoms keep the coordinates of the start bit for bit.
///
/// Terms among fixed atoms only, where the function is a `QZFreezable` and can leave them out, are
/// computed once after each start: their sum, a constant, is part of every energy, and the function
/// itself is whole between calls (a `Freeze` of the caller's own ends with the next call). Where
/// the start's energy is above 1e6 kcal/mol they are computed until it has come down.
///
/// Owns: the function, with `own`. Copies: none (`CreateCopy` is null).
/// Fails: `Setup` and `SetupConf` are false, with a Warning that names the reason, for what the
/// variables cannot do; an energy is NaN before `SetupConf` and where variables have no finite
/// geometry, and nothing is added then; the Hessian call is false too over a function without one.
/// Cost beside that of f: O(N) an energy or gradient, O(N²) a Hessian; holds a packed Hessian of
/// all coordinates, untouched before the first Hessian call. Evaluation allocates nothing, save in
/// redundant and internal coordinates the first Hessian after a start, which makes its work arrays,
/// and in internal ones the dense products of molecules of more than some 40 atoms.
class QZ_API QZMappedFunc : public QZForwardingAdaptor<QZMolAdaptor2>,
                            public QZOpt::QZHessianModel {
 public:
  QZMappedFunc(const QZMappedFunc&) = delete;
  QZMappedFunc& operator=(const QZMappedFunc&) = delete;
  ~QZMappedFunc() override;

  /// The atoms that do not move; a copy of the predicate is kept. Takes effect at the next `Setup`.
  /// A predicate that accepts none is as if never given; one that accepts all leaves no variables.
  void SetFixed(const QZSystem::QZUnaryPredicate<QZChem::QZAtomBase>& fixed);
  /// One positive number a variable, for `QZMinimizer::SetScales`: 1/√k of typical force constants.
  /// All 1 where the variables are all Cartesian.
  std::vector<double> GetScales() const;

  /// The new function has no Hessian, even where it is a `QZMolFunc2`.
  bool SetMolFunc(QZMolFunc1& func, bool own) override;
  bool SetMolFunc2(QZMolFunc2& func, bool own) override;
  /// Sets up the function on `mol`, which must outlive the binding, and starts at its coordinates.
  bool Setup(const QZChem::QZMolBase& mol) override;
  /// `coords` (3 x AtomIndexBound(), in) become the start, for the function as well.
  bool SetupConf(const double* coords) override;
  void Clear() override;

  unsigned int NumVar() const override;
  /// Length of Cartesian vectors: 3 x AtomIndexBound() of the molecule; 0 before `Setup`.
  unsigned int NumCoords() const;
  using QZMolAdaptor2::GetVar;
  /// The variables of `coords`, which become the start unless they are it already. Null before
  /// `Setup` and where the variables cannot describe them. Valid until the next call.
  const double* GetVar(const double* coords) override;
  /// The coordinates (3 x AtomIndexBound(), out) of `vars`. Moves nothing: looking at a run never
  /// changes it. In redundant and internal coordinates, where geometries depend on the way that led
  /// to them, those of the start, of the latest eight evaluations and of the lowest energy are
  /// remembered, and others are sought from the current ones. Fails: false before `Setup` and where
  /// there is no finite geometry.
  bool AdaptVar(double* coords, const double* vars) const override;
  /// **Adds** Jᵀg at `vars` to `grad` (NumVar()); `cartGrad`: g (3 x AtomIndexBound(), in). False
  /// as for `AdaptVar`.
  bool AdaptGrad(double* grad, const double* cartGrad, const double* vars) const;
  /// **Adds** JᵀHJ + Σ g_i ∂²x_i/∂v∂v at `vars` to the packed `hess`; `cartHess`: H (packed, in),
  /// `cartGrad`: g (in). False as for `AdaptVar`, and without the memory.
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
  /// Those of the function at the coordinates of `vars`, or its own answer to null.
  QZSystem::QZIterBase<QZOpt::QZFComponent>* GetFComponents(const double* vars) override;
  /// JᵀMJ of the function's model, where it has one.
  bool AppendModelHessian(const double* vars, std::vector<QZOpt::QZMatrixEntry>& entries) override;

 protected:
  QZMappedFunc(QZMolFunc1& f, QZMolFunc2* f2, bool own);

  /// The variables of a molecule; null, with a reason, for what they cannot do.
  virtual std::unique_ptr<CoordinateMap> makeMap(const MapRequest& request,
                                                 std::string& reason) const = 0;
  /// How messages call the variables.
  virtual std::string describe() const = 0;

  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace QZMolPotential
