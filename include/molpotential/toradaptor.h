// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>
#include <string>

#include "molpotential/bondpred.h"
#include "molpotential/mapped.h"

namespace QZMolPotential {

/// A function in the torsions (radians) of the bonds that turn, and nothing else: bond lengths,
/// angles and rings keep the geometry of the start.
///   ∂x/∂φ = e x (x - o) for the atoms that move, e along the bond and o on it
///   ∂²x/∂φ_a∂φ_b = e_b x (e_a x (x - o_a)), b turning all that a turns
/// Which bonds turn: those that the predicate of `SetRotors` accepts, `QZTorsionPred2` by default;
/// bonds in rings and those with nothing behind them never do. Variables are the dihedrals in the
/// order of the bonds. In each component the fixed atoms rest, and torsions between fixed atoms on
/// either side are left out; without any its largest rigid part rests (the first on a tie).
/// Source: Abe, Braun, Noguti & Go, Comput. Chem. 8, 239 (1984).
class QZ_API QZTorAdaptor : public QZMappedFunc {
 public:
  /// With `own` the function is deleted with this object.
  QZTorAdaptor(QZMolFunc2& f, bool own);
  /// The same without Hessians.
  QZTorAdaptor(QZMolFunc1& f, bool own);
  ~QZTorAdaptor() override;

  /// A copy of the predicate is kept; takes effect at the next `Setup`.
  void SetRotors(const QZSystem::QZUnaryPredicate<QZChem::QZBondBase>& rotors);

 protected:
  std::unique_ptr<CoordinateMap> makeMap(const MapRequest& request,
                                         std::string& reason) const override;
  std::string describe() const override;

  std::unique_ptr<QZSystem::QZUnaryPredicate<QZChem::QZBondBase>> rotors_;
};

/// A flexible molecule in a field: its torsions and its placement, what a docked ligand has.
///   x = R(q) (y - c)/|q|² + t,  y: the torsions of `QZTorAdaptor` turned, c: the centre at the
///   start
/// Variables: the torsions, then w, x, y, z, tx, ty, tz; of several components one after the other.
/// The energy does not depend on |q|. A component with a fixed atom stays whole.
class QZ_API QZTorQuatAdaptor final : public QZTorAdaptor {
 public:
  using QZTorAdaptor::QZTorAdaptor;
  ~QZTorQuatAdaptor() override;

 private:
  std::unique_ptr<CoordinateMap> makeMap(const MapRequest& request,
                                         std::string& reason) const override;
  std::string describe() const override;
};

}  // namespace QZMolPotential
