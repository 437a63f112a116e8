// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>
#include <string>

#include "molpotential/bondpred.h"
#include "molpotential/mapped.h"

namespace QZMolPotential {

/// A function of the torsions (radians) of rotatable bonds alone: bond lengths, angles and rings
/// keep the geometry of the start.
///   ∂x/∂φ = e x (x - o) for the atoms that move, e along the bond and o on it
///   ∂²x/∂φ_a∂φ_b = e_b x (e_a x (x - o_a)), b turning all that a turns
/// The bonds that turn are those that the predicate of `SetRotors` accepts (`QZTorsionPred2` by
/// default), except bonds in rings and bonds to terminal atoms. The variables are the dihedrals in
/// the order of the bonds. In each component the fixed atoms do not move, and a bond with fixed
/// atoms on both sides does not turn; a component without fixed atoms keeps its largest rigid part
/// in place (the first of equals). Units, ownership, failures and cost: see `QZMappedFunc`. Source:
/// Abe, Braun, Noguti & Go, Comput. Chem. 8, 239 (1984).
class QZ_API QZTorAdaptor : public QZMappedFunc {
 public:
  /// With `own` the function is deleted with this object.
  QZTorAdaptor(QZMolFunc2& f, bool own);
  /// As above, for a function without a Hessian.
  QZTorAdaptor(QZMolFunc1& f, bool own);
  ~QZTorAdaptor() override;

  /// Sets which bonds turn. A copy of the predicate is kept; takes effect at the next `Setup`.
  void SetRotors(const QZSystem::QZUnaryPredicate<QZChem::QZBondBase>& rotors);

 protected:
  std::unique_ptr<CoordinateMap> makeMap(const MapRequest& request,
                                         std::string& reason) const override;
  std::string describe() const override;

  std::unique_ptr<QZSystem::QZUnaryPredicate<QZChem::QZBondBase>> rotors_;
};

/// A function of the torsions and the placement of a molecule, as for docking a flexible ligand.
///   x = R(q) (y - c)/|q|² + t,  y: the torsions of `QZTorAdaptor` turned, c: the centre at the
///   start
/// Variables: for each component its torsions, then w, x, y, z, tx, ty, tz. R(q) is unnormalised,
/// so that the energy does not depend on |q|. A component that contains a fixed atom does not move
/// at all.
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
