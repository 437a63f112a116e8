// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "coordinates/tree/screw_map.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "coordinates/tree/torsion_motion.h"
#include "kernels/dihedral.h"
#include "kernels/packed.h"
#include "kernels/rotation.h"
#include "kernels/screw.h"

namespace QZMolPotential {
namespace {

using Unit = ScrewLayout::Unit;

constexpr std::array<Vec3, 4> kUnits{
    Vec3{}, Vec3{1.0, 0.0, 0.0}, Vec3{0.0, 1.0, 0.0}, Vec3{0.0, 0.0, 1.0}};

// The rotation vectors ω_k = 2 Im(e_k q̄) / |q|² of quaternion components, dR/dq_k = ω_k x R.
std::array<Vec3, 4> RotationVectors(const std::array<double, 4>& q, double s) {
  std::array<Vec3, 4> omega{};
  if (s == 0.0) return omega;
  const Vec3 v{q[1], q[2], q[3]};
  omega[0] = (-2.0 / s) * v;
  for (std::size_t k = 1; k < 4; ++k) {
    omega[k] = (2.0 / s) * (q[0] * kUnits[k] - Cross(kUnits[k], v));
  }
  return omega;
}

// Im(e_k ē_j).
Vec3 UnitProduct(std::size_t k, std::size_t j) {
  if (j == 0) return kUnits[k];
  return k == 0 ? -kUnits[j] : -Cross(kUnits[k], kUnits[j]);
}

}  // namespace

ScrewMap::ScrewMap(ScrewLayout layout)
    : CoordinateMap(3 * layout.unitOf.size()), layout_(std::move(layout)) {
  const auto& torsions = layout_.forest.Torsions();
  axes_.resize(torsions.size());
  std::vector<std::vector<unsigned int>> atoms(layout_.units.size());
  std::vector<std::vector<std::size_t>> turning(layout_.units.size());
  for (unsigned int i = 0; i < layout_.unitOf.size(); ++i) {
    if (layout_.unitOf[i] != ScrewLayout::kNone) atoms[layout_.unitOf[i]].push_back(i);
  }
  for (std::size_t k = 0; k < torsions.size(); ++k) {
    if (torsions[k].activity != 0) turning[layout_.unitOf[torsions[k].b]].push_back(k);
  }
  bodyOf_.resize(layout_.units.size(), 0);
  for (std::size_t u = 0; u < layout_.units.size(); ++u) {
    for (const std::size_t k : turning[u]) axes_[k].var = numVar_++;
    if (layout_.units[u] == Unit::Body) {
      bodyOf_[u] = bodies_.size();
      bodies_.push_back({});
      bodies_.back().var = numVar_;
      bodies_.back().atoms = atoms[u].size();
      numVar_ += 7;
    } else if (layout_.units[u] == Unit::Free) {
      for (const unsigned int atom : atoms[u]) {
        freeAtoms_.push_back(atom);
        freeVars_.push_back(numVar_);
        numVar_ += 3;
      }
    }
  }
  slot_.resize(layout_.unitOf.size());
  for (std::size_t i = 0; i < slot_.size(); ++i) {
    const std::size_t k = layout_.forest.Innermost(i);
    slot_[i] = k < torsions.size() ? static_cast<std::ptrdiff_t>(k) : bodySlotOf(i);
    if (slot_[i] >= 0) carried_.push_back(static_cast<unsigned int>(i));
  }
  std::vector<unsigned int> moving;
  for (const auto* list : {&carried_, &freeAtoms_}) {
    for (const unsigned int atom : *list) {
      for (unsigned int j = 0; j < 3; ++j) moving.push_back(3 * atom + j);
    }
  }
  std::ranges::sort(moving);
  SetMoving(std::move(moving));
  coords_.resize(NumCoords());
  work_.resize(Motion::kDoubles * (axes_.size() + bodies_.size()));
}

std::unique_ptr<CoordinateMap> ScrewMap::Clone() const {
  return std::make_unique<ScrewMap>(*this);
}

// Where the sums of the body that carries an atom stand; negative: nothing carries it.
std::ptrdiff_t ScrewMap::bodySlotOf(std::size_t atom) const {
  const unsigned int unit = layout_.unitOf[atom];
  if (unit == ScrewLayout::kNone || layout_.units[unit] != Unit::Body) return -1;
  return static_cast<std::ptrdiff_t>(numTorsions() + bodyOf_[unit]);
}

std::vector<VariableKind> ScrewMap::Kinds() const {
  std::vector<VariableKind> kinds(numVar_, VariableKind::Dihedral);
  const auto fill = [&](std::size_t var, std::size_t count, VariableKind kind) {
    std::fill_n(kinds.begin() + static_cast<std::ptrdiff_t>(var), count, kind);
  };
  for (const Body& body : bodies_) {
    fill(body.var, 4, VariableKind::Rotation);
    fill(body.var + 4, 3, VariableKind::Translation);
  }
  for (const std::size_t var : freeVars_) fill(var, 3, VariableKind::Cartesian);
  return kinds;
}

double ScrewMap::dihedral(const double* coords, std::size_t k) const {
  const auto& t = layout_.forest.Torsions()[k];
  return DihedralCosine(LoadAtom(coords, t.a),
                        LoadAtom(coords, t.b),
                        LoadAtom(coords, t.c),
                        LoadAtom(coords, t.d))
      .SignedAngle();
}

bool ScrewMap::Start(const double* coords, double* vars) {
  SetReason("");
  layout_.forest.MeasureAxes(coords);
  for (const std::size_t k : layout_.forest.Outwards()) {
    if (layout_.forest.Torsions()[k].length > 0.0) continue;
    SetReason("two bonded atoms are at the same place");
    return false;
  }
  ref_.assign(coords, coords + NumCoords());
  for (const std::size_t k : layout_.forest.Outwards()) {
    vars[axes_[k].var] = axes_[k].reference = dihedral(coords, k);
  }
  for (Body& body : bodies_) body.centre = {};
  for (std::size_t i = 0; layout_.centred && i < slot_.size(); ++i) {
    const std::ptrdiff_t slot = bodySlotOf(i);
    if (slot < 0) continue;
    bodies_[static_cast<std::size_t>(slot) - numTorsions()].centre += LoadAtom(coords, i);
  }
  for (Body& body : bodies_) {
    if (layout_.centred) body.centre = (1.0 / static_cast<double>(body.atoms)) * body.centre;
    std::fill_n(vars + body.var, 7, 0.0);
    vars[body.var] = 1.0;
    StoreAtom(vars + body.var + 4, 0, body.centre);
  }
  for (std::size_t j = 0; j < freeAtoms_.size(); ++j) {
    StoreAtom(vars + freeVars_[j], 0, LoadAtom(coords, freeAtoms_[j]));
  }
  origin_ = carried_.empty() ? Vec3{} : LoadAtom(coords, carried_[0]);
  coords_ = ref_;
  return CheckFinite(coords);
}

bool ScrewMap::Place(const double* vars, double* coords) {
  SetReason("");
  TurnTorsions(
      layout_.forest,
      ref_.data(),
      [&](std::size_t k) { return vars[axes_[k].var] - axes_[k].reference; },
      work_.data(),
      coords_.data());
  placeBodies(vars);
  for (std::size_t j = 0; j < freeAtoms_.size(); ++j) {
    StoreAtom(coords_.data(), freeAtoms_[j], LoadAtom(vars + freeVars_[j], 0));
  }
  findAxes();
  std::ranges::copy(coords_, coords);
  return CheckFinite(coords_.data());
}

void ScrewMap::placeBodies(const double* vars) {
  double* const matrices = work_.data() + Motion::kDoubles * numTorsions();
  for (std::size_t b = 0; b < bodies_.size(); ++b) {
    Body& body = bodies_[b];
    const double* const q = vars + body.var;
    std::copy_n(q, 4, body.q.begin());
    body.s = SquaredNorm(q);
    body.omega = RotationVectors(body.q, body.s);
    body.at = LoadAtom(q + 4, 0);
    const Mat3 r = Rotation(q);
    // At the start the coordinates come back as they are.
    const Vec3 shift = body.at - body.centre;
    Motion{r, (body.centre - r * body.centre) + shift}.Store(matrices, b);
  }
  if (bodies_.empty()) return;
  for (const unsigned int i : carried_) {
    const std::ptrdiff_t slot = bodySlotOf(i);
    if (slot < 0) continue;
    const std::size_t b = static_cast<std::size_t>(slot) - numTorsions();
    StoreAtom(coords_.data(), i, Motion::Load(matrices, b)(LoadAtom(coords_.data(), i)));
  }
}

void ScrewMap::findAxes() {
  for (const std::size_t k : layout_.forest.Outwards()) {
    const auto& t = layout_.forest.Torsions()[k];
    axes_[k].at = LoadAtom(coords_.data(), t.c);
    axes_[k].omega = (1.0 / t.length) * (axes_[k].at - LoadAtom(coords_.data(), t.b));
  }
}

// ω·(T - (o - origin) x F), F = Σ g and T = Σ (x - origin) x g over the moving set.
void ScrewMap::PullGradient(const double* cartGrad, double* grad) {
  double* const sums = work_.data();
  const std::size_t slots = numTorsions() + bodies_.size();
  std::fill_n(sums, 6 * slots, 0.0);
  for (const unsigned int i : carried_) {
    const auto slot = static_cast<std::size_t>(slot_[i]);
    const Vec3 g = LoadAtom(cartGrad, i);
    AddToAtom(sums, 2 * slot, g);
    AddToAtom(sums, 2 * slot + 1, Cross(LoadAtom(coords_.data(), i) - origin_, g));
  }
  const auto& torsions = layout_.forest.Torsions();
  SumOutwards(
      layout_.forest, 6, [&](std::size_t k) { return bodySlotOf(torsions[k].b); }, sums);
  const auto torqueAbout = [&](std::size_t slot, const Vec3& at) {
    return LoadAtom(sums, 2 * slot + 1) - Cross(at - origin_, LoadAtom(sums, 2 * slot));
  };
  for (const std::size_t k : layout_.forest.Outwards()) {
    grad[axes_[k].var] += Dot(axes_[k].omega, torqueAbout(k, axes_[k].at));
  }
  for (std::size_t b = 0; b < bodies_.size(); ++b) {
    const Body& body = bodies_[b];
    const std::size_t slot = numTorsions() + b;
    const Vec3 torque = torqueAbout(slot, body.at);
    for (std::size_t k = 0; k < 4; ++k) grad[body.var + k] += Dot(body.omega[k], torque);
    AddToAtom(grad + body.var + 4, 0, LoadAtom(sums, 2 * slot));
  }
  for (std::size_t j = 0; j < freeAtoms_.size(); ++j) {
    AddToAtom(grad + freeVars_[j], 0, LoadAtom(cartGrad, freeAtoms_[j]));
  }
}

void ScrewMap::AddCurvature(const double* cartGrad, double* hess) {
  double* const sums = work_.data();  // of each slot Σ g and Σ (x - origin) ⊗ g
  const std::size_t slots = numTorsions() + bodies_.size();
  std::fill_n(sums, Motion::kDoubles * slots, 0.0);
  for (const unsigned int i : carried_) {
    const auto slot = static_cast<std::size_t>(slot_[i]);
    const Vec3 g = LoadAtom(cartGrad, i);
    const Mat3 m = Outer(LoadAtom(coords_.data(), i) - origin_, g);
    AddToAtom(sums, 4 * slot, m.row0);
    AddToAtom(sums, 4 * slot + 1, m.row1);
    AddToAtom(sums, 4 * slot + 2, m.row2);
    AddToAtom(sums, 4 * slot + 3, g);
  }
  const auto& torsions = layout_.forest.Torsions();
  const auto carrierOf = [&](std::size_t k) { return bodySlotOf(torsions[k].b); };
  SumOutwards(layout_.forest, Motion::kDoubles, carrierOf, sums);
  const auto momentsAbout = [&](std::size_t slot, const Vec3& at) {
    const Motion sum = Motion::Load(sums, slot);
    return AtomMoments{sum.r, sum.s}.About(at - origin_);
  };
  const auto add = [&](std::size_t v, std::size_t w, double value) {
    hess[v > w ? PackedIndex(v, w) : PackedIndex(w, v)] += value;
  };
  for (const std::size_t a : layout_.forest.Outwards()) {
    const Vec3 curl = momentsAbout(a, axes_[a].at).Curl(axes_[a].omega);
    for (std::size_t b = a; b < torsions.size(); b = layout_.forest.Surrounding(b)) {
      add(axes_[a].var, axes_[b].var, Dot(axes_[b].omega, curl));
    }
    const std::ptrdiff_t slot = carrierOf(a);
    if (slot < 0) continue;
    const Body& body = bodies_[static_cast<std::size_t>(slot) - numTorsions()];
    for (std::size_t k = 0; k < 4; ++k) {
      add(axes_[a].var, body.var + k, Dot(body.omega[k], curl));
    }
  }
  for (std::size_t b = 0; b < bodies_.size(); ++b) {
    const Body& body = bodies_[b];
    if (body.s == 0.0) continue;
    const AtomMoments moments = momentsAbout(numTorsions() + b, body.at);
    const Vec3 torque = moments.Torque();
    for (std::size_t k = 0; k < 4; ++k) {
      for (std::size_t j = 0; j <= k; ++j) {
        const Vec3 turned = (2.0 / body.s) * (UnitProduct(k, j) - body.q[j] * body.omega[k]);
        add(body.var + k,
            body.var + j,
            Dot(body.omega[k], moments.Curl(body.omega[j])) + Dot(turned, torque));
      }
    }
  }
}

}  // namespace QZMolPotential
