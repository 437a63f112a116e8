// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "molpotential/constraint.h"

#include <cmath>
#include <utility>

#include "constr/dihedral_atoms.h"
#include "constr/distance.h"
#include "kernels/angle.h"
#include "qzchem/geometry.h"
#include "qzchem/mol.h"
#include "qzsystem/error.h"

namespace QZMolPotential {
namespace {

using QZConstr::AtomIndices;

// What all constraints hold: the atoms, and a target that is given or measured.
template <std::size_t N>
struct Target {
  AtomIndices<N> atoms;
  bool measureAtSetup;
  double target;

  // False when the molecule lacks one of the atoms; `what` names the coordinate in the message.
  // `measure` is called with the molecule and the N atoms.
  template <class Measure>
  bool SetUp(const QZChem::QZMolBase& mol, const char* what, Measure measure) {
    if (N > 2 && mol.AtomIndexBound() < N) {
      QZSystem::QZThrow.Warning("Input molecules need to have at least %d atoms",
                                static_cast<int>(N));
      return false;
    }
    if (!QZConstr::Occurs(mol, atoms, what)) return false;
    if (measureAtSetup) {
      target = [&]<std::size_t... K>(std::index_sequence<K...>) {
        return measure(mol, mol.GetAtom(atoms[K])...);
      }
      (std::make_index_sequence<N>());
    }
    return true;
  }
};

template <std::size_t N>
struct CosineTarget : Target<N> {
  double cosTarget = std::cos(this->target);

  template <class Measure>
  bool SetUp(const QZChem::QZMolBase& mol, const char* what, Measure measure) {
    if (!Target<N>::SetUp(mol, what, measure)) return false;
    cosTarget = std::cos(this->target);
    return true;
  }
};

VectorCosine AngleAt(const double* x, const AtomIndices<3>& atoms) {
  const Vec3 apex = LoadAtom(x, atoms[1]);
  return {LoadAtom(x, atoms[0]) - apex, LoadAtom(x, atoms[2]) - apex};
}

}  // namespace

struct QZDistanceConstr::Data : Target<2> {};
struct QZAngleConstr::Data : CosineTarget<3> {};
struct QZDihedralConstr::Data : CosineTarget<4> {};

QZDistanceConstr::QZDistanceConstr(const QZChem::QZAtomBase& a, const QZChem::QZAtomBase& b)
    : data_(Data{{{a.GetIndex(), b.GetIndex()}, /*measureAtSetup=*/true, 0.0}}) {}
QZDistanceConstr::QZDistanceConstr(const QZChem::QZAtomBase& a,
                                   const QZChem::QZAtomBase& b,
                                   double distance)
    : data_(Data{{{a.GetIndex(), b.GetIndex()}, /*measureAtSetup=*/false, distance}}) {}
QZDistanceConstr::QZDistanceConstr(const QZDistanceConstr&) = default;
QZDistanceConstr& QZDistanceConstr::operator=(const QZDistanceConstr&) = default;
QZDistanceConstr::~QZDistanceConstr() = default;

double QZDistanceConstr::GetDistance() const {
  return data_->target;
}

bool QZDistanceConstr::Setup(const QZChem::QZMolBase& mol) {
  return data_->SetUp(mol, "Requested interatomic distance", QZChem::QZGetDistance);
}

unsigned int QZDistanceConstr::NumVar() const {
  return 6;
}

double QZDistanceConstr::operator()(const double* x) {
  return QZConstr::PairDistance(x, data_->atoms).r - data_->target;
}

double QZDistanceConstr::operator()(const double* x, double* grad) {
  const QZConstr::PairDistance pair(x, data_->atoms);
  AddToAtom(grad, data_->atoms[0], pair.delta);
  AddToAtom(grad, data_->atoms[1], -pair.delta);
  return pair.r - data_->target;
}

QZAngleConstr::QZAngleConstr(const QZChem::QZAtomBase& a,
                             const QZChem::QZAtomBase& b,
                             const QZChem::QZAtomBase& c)
    : data_(Data{{{{a.GetIndex(), b.GetIndex(), c.GetIndex()}, /*measureAtSetup=*/true, 0.0}}}) {}
QZAngleConstr::QZAngleConstr(const QZChem::QZAtomBase& a,
                             const QZChem::QZAtomBase& b,
                             const QZChem::QZAtomBase& c,
                             double angle)
    : data_(Data{{{{a.GetIndex(), b.GetIndex(), c.GetIndex()}, /*measureAtSetup=*/false, angle}}}) {
}
QZAngleConstr::QZAngleConstr(const QZAngleConstr&) = default;
QZAngleConstr& QZAngleConstr::operator=(const QZAngleConstr&) = default;
QZAngleConstr::~QZAngleConstr() = default;

double QZAngleConstr::GetAngle() const {
  return data_->target;
}

bool QZAngleConstr::Setup(const QZChem::QZMolBase& mol) {
  return data_->SetUp(mol, "Requested angle", QZChem::QZGetAngle);
}

unsigned int QZAngleConstr::NumVar() const {
  return 9;
}

double QZAngleConstr::operator()(const double* x) {
  return AngleAt(x, data_->atoms).cosine - data_->cosTarget;
}

double QZAngleConstr::operator()(const double* x, double* grad) {
  const VectorCosine angle = AngleAt(x, data_->atoms);
  AddAngleGradient(grad, data_->atoms, angle.Gradient(1.0));
  return angle.cosine - data_->cosTarget;
}

QZDihedralConstr::QZDihedralConstr(const QZChem::QZAtomBase& a,
                                   const QZChem::QZAtomBase& b,
                                   const QZChem::QZAtomBase& c,
                                   const QZChem::QZAtomBase& d)
    : data_(Data{{{{a.GetIndex(), b.GetIndex(), c.GetIndex(), d.GetIndex()},
                   /*measureAtSetup=*/true,
                   0.0}}}) {}
QZDihedralConstr::QZDihedralConstr(const QZChem::QZAtomBase& a,
                                   const QZChem::QZAtomBase& b,
                                   const QZChem::QZAtomBase& c,
                                   const QZChem::QZAtomBase& d,
                                   double angle)
    : data_(Data{{{{a.GetIndex(), b.GetIndex(), c.GetIndex(), d.GetIndex()},
                   /*measureAtSetup=*/false,
                   angle}}}) {}
QZDihedralConstr::QZDihedralConstr(const QZDihedralConstr&) = default;
QZDihedralConstr& QZDihedralConstr::operator=(const QZDihedralConstr&) = default;
QZDihedralConstr::~QZDihedralConstr() = default;

double QZDihedralConstr::GetDihedralAngle() const {
  return data_->target;
}

bool QZDihedralConstr::Setup(const QZChem::QZMolBase& mol) {
  return data_->SetUp(mol, "Requested dihedral", QZChem::QZGetTorsion);
}

unsigned int QZDihedralConstr::NumVar() const {
  return 12;
}

double QZDihedralConstr::operator()(const double* x) {
  return QZConstr::CosineAt(x, data_->atoms).cosine - data_->cosTarget;
}

double QZDihedralConstr::operator()(const double* x, double* grad) {
  const auto dihedral = QZConstr::CosineAt(x, data_->atoms);
  QZConstr::AddBlocks(grad, data_->atoms, 1.0, dihedral.Gradient());
  return dihedral.cosine - data_->cosTarget;
}

}  // namespace QZMolPotential
