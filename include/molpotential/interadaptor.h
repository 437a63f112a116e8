// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "molpotential/bondpred.h"
#include "molpotential/mapped.h"

namespace QZMolPotential {

/// What a molecule of a `QZInterAdaptor` may do.
enum class QZFlexibility {
  Held,     ///< nothing: it keeps the coordinates of the start bit for bit
  Rigid,    ///< move as a whole: w, x, y, z, tx, ty, tz
  Torsion,  ///< the same, and turn its torsions, which come first
  Full      ///< move every atom: x, y, z of each, by index
};

/// The placement of several molecules, the connected components of one `QZMolBase`, against one
/// another: the first is held and the others are rigid, unless `SetFlexibility` says otherwise.
///   x = R(q) (y - c)/|q|² + t,  y: turned torsions, c: the molecule's centre at the start
/// Variables: molecule after molecule in the order of their first atoms. Atoms may be in any order.
/// With fixed atoms (`SetFixed`) a molecule that is rigid or has torsions is held whole, and one
/// that is fully flexible moves its other atoms.
class QZ_API QZInterAdaptor final : public QZMappedFunc {
 public:
  /// With `own` the function is deleted with this object.
  QZInterAdaptor(QZMolFunc2& f, bool own);
  /// The same without Hessians.
  QZInterAdaptor(QZMolFunc1& f, bool own);
  ~QZInterAdaptor() override;

  /// Of molecule number `component`, counted from 0. Takes effect at the next `Setup`, which is
  /// false when there is no such molecule.
  void SetFlexibility(unsigned int component, QZFlexibility flexibility);
  /// The bonds that turn in molecules with torsions, `QZTorsionPred2` by default, as in
  /// `QZTorAdaptor`.
  void SetRotors(const QZSystem::QZUnaryPredicate<QZChem::QZBondBase>& rotors);

 private:
  std::unique_ptr<CoordinateMap> makeMap(const MapRequest& request,
                                         std::string& reason) const override;
  std::string describe() const override;

  std::vector<QZFlexibility> flexibility_{QZFlexibility::Held};  // beyond: rigid
  std::unique_ptr<QZSystem::QZUnaryPredicate<QZChem::QZBondBase>> rotors_;
};

}  // namespace QZMolPotential
