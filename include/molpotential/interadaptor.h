// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "molpotential/bondpred.h"
#include "molpotential/mapped.h"

namespace QZMolPotential {

/// How a molecule of a `QZInterAdaptor` may move.
enum class QZFlexibility {
  Held,     ///< not at all: it keeps the coordinates of the start bit for bit
  Rigid,    ///< as a whole: w, x, y, z, tx, ty, tz
  Torsion,  ///< as a whole and about its torsions, which are the first variables
  Full      ///< every atom by itself: x, y, z of each, by atom index
};

/// A function of the placement of several molecules relative to one another. The molecules are the
/// connected components of one `QZMolBase`; the first one is held and the others are rigid, unless
/// `SetFlexibility` says otherwise.
///   x = R(q) (y - c)/|q|² + t,  y: turned torsions, c: the molecule's centre at the start
/// with R(q) unnormalised, so that the energy does not depend on |q|. The variables are ordered by
/// molecule, and the molecules by their first atoms; the atoms of a molecule need not be
/// consecutive. A molecule with fixed atoms (`SetFixed`) is held as a whole if it is rigid or has
/// torsions; if it is fully flexible, its other atoms move. Units, ownership, failures and cost:
/// see `QZMappedFunc`.
class QZ_API QZInterAdaptor final : public QZMappedFunc {
 public:
  /// With `own` the function is deleted with this object.
  QZInterAdaptor(QZMolFunc2& f, bool own);
  /// As above, for a function without a Hessian.
  QZInterAdaptor(QZMolFunc1& f, bool own);
  ~QZInterAdaptor() override;

  /// Sets how molecule number `component`, counted from 0, may move. Takes effect at the next
  /// `Setup`, which is false when there is no such molecule.
  void SetFlexibility(unsigned int component, QZFlexibility flexibility);
  /// Sets the bonds that turn in molecules with torsions, as in `QZTorAdaptor`; `QZTorsionPred2` by
  /// default.
  void SetRotors(const QZSystem::QZUnaryPredicate<QZChem::QZBondBase>& rotors);

 private:
  std::unique_ptr<CoordinateMap> makeMap(const MapRequest& request,
                                         std::string& reason) const override;
  std::string describe() const override;

  std::vector<QZFlexibility> flexibility_{QZFlexibility::Held};  // beyond: rigid
  std::unique_ptr<QZSystem::QZUnaryPredicate<QZChem::QZBondBase>> rotors_;
};

}  // namespace QZMolPotential
