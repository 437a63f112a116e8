// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>

#include "molpotential/forwarding.h"

namespace QZMolPotential {

class Evaluation;
class RigidBodies;

/// Moves every connected component of a molecule as a rigid body: seven variables a component, as
/// in `QZQuatAdaptor` without centring, in the order of the components' first atoms. Each component
/// turns about the origin of the coordinate frame, not about its own centre; `GetVar` yields
/// (1, 0, 0, 0, 0, 0, 0) for each. The wrapped function always sees the whole molecule.
///
/// Atoms must be ordered by component: coordinates are cut into consecutive blocks of the
/// components' sizes. This is not checked, and interleaved components are moved wrongly.
/// `restrictInteractions` switches off **everything** that the wrapped function computes by
/// category, between components as well as within them, since the predicates of `QZQuatAdaptor` are
/// installed on it for each component: use it over functions that have other terms.
/// `Setup` binds the wrapped function to every component and at last to the whole molecule; called
/// again, it starts afresh. It fails: false for an invalid molecule or without a function; with a
/// Warning, for a molecule with holes in its atom indices; and when any of these bindings fails,
/// after which `NumVar()` counts the components bound so far.
///
/// Owns: the wrapped function, with `own`. Copies share the function, which is deleted with the
/// last of them, and the components with their reference geometry: **a `GetVar` through one copy is
/// seen by the others**, until a `Setup` gives one of them components of its own. Callers rely on
/// it. Copies may be evaluated and destroyed in any order, in one thread. The gradient is
/// overwritten, not added to. Holds 18n doubles; evaluation allocates nothing.
class QZ_API QZClusterQuatAdaptor : public QZForwardingAdaptor<QZMolAdaptor> {
 public:
  QZClusterQuatAdaptor(QZMolFunc1& func, bool own, bool restrictInteractions);
  QZClusterQuatAdaptor(const QZClusterQuatAdaptor& other);
  QZClusterQuatAdaptor& operator=(const QZClusterQuatAdaptor& other);
  ~QZClusterQuatAdaptor() override;

  bool Setup(const QZChem::QZMolBase& mol) override;
  /// Forgets the components and clears the wrapped function.
  void Clear() override;

  unsigned int NumVar() const override;
  using QZMolAdaptor::GetVar;
  /// Makes `cartesian` (3n doubles) the reference geometry. Null before `Setup`.
  const double* GetVar(const double* cartesian) override;
  /// Always true; before `Setup` nothing is written.
  bool AdaptVar(double* cartesian, const double* vars) const override;
  /// `QZQuatAdaptor::AdaptGrad` for each component; always true.
  bool AdaptGrad(double* grad,
                 const double* cartGrad,
                 const double* vars,
                 const double* refCoords) const;

  using QZForwardingAdaptor<QZMolAdaptor>::operator();
  /// 0 before `Setup`.
  double operator()(const double* vars) override;
  double operator()(const double* vars, double* grad) override;

 protected:
  QZClusterQuatAdaptor();

 private:
  bool restrictInteractions_ = false;
  std::shared_ptr<RigidBodies> bodies_;  // shared by copies; null before Setup
  std::unique_ptr<Evaluation> work_;
};

}  // namespace QZMolPotential
