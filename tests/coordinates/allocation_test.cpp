// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "coordinates/cartesian/adaptor_support.h"
#include "coordinates/exact.h"
#include "molpotential/coordinateconstr.h"
#include "molpotential/geomconstr.h"
#include "molpotential/interadaptor.h"
#include "molpotential/toradaptor.h"
#include "support/allocations.h"

namespace {

using namespace TestSupport;

TEST(Allocation, EvaluationAllocatesNothing) {
  const auto mol = WaterDimer();
  const auto x = Coords(mol);
  for (const auto& kind : AdaptorKinds()) {
    SCOPED_TRACE(kind.name);
    FieldFunc field(1.0, 0.0);
    const auto adaptor = kind.make(field, false);
    ASSERT_TRUE(adaptor->Setup(mol));
    std::vector<double> vars(adaptor->NumVar());
    std::vector<double> grad(vars.size());
    std::vector<double> back(x.size());
    const long before = Allocations();
    adaptor->GetVar(vars.data(), x.data());
    (*adaptor)(vars.data());
    (*adaptor)(vars.data(), grad.data());
    adaptor->AdaptVar(back.data(), vars.data());
    EXPECT_EQ(Allocations(), before);
    EXPECT_GT(before, 0);  // the counter works
  }
}

void ExpectNothingTaken(QZMolPotential::QZMappedFunc& f,
                        const QZChem::QZGraphMol& mol,
                        bool afterOneHessian = false) {
  const auto x = Coords(mol);
  ASSERT_TRUE(f.Setup(mol) && f.SetupConf(x.data()));
  std::vector<double> vars = VarsOf(f, x);
  std::vector<double> grad(vars.size());
  std::vector<double> hess(vars.size() * (vars.size() + 1) / 2);
  std::vector<double> back(x.size());
  if (afterOneHessian) f(vars.data(), hess.data(), grad.data());
  const long before = Allocations();
  f.GetVar(vars.data(), x.data());
  f(vars.data());
  f(vars.data(), grad.data());
  f(vars.data(), hess.data(), grad.data());
  f.AdaptVar(back.data(), vars.data());
  f.AdaptGrad(grad.data(), x.data(), vars.data());
  EXPECT_EQ(Allocations(), before);
}

// In systems with a way behind them looking is done elsewhere than evaluating.
TEST(Allocation, NoneByLookingAtARunAndByConstraintsOfIt) {
  using QZMolPotential::QZCoordinates;
  const auto mol = Butane();
  const auto x = Coords(mol);
  for (const QZCoordinates kind :
       {QZCoordinates::ZMatrix, QZCoordinates::Redundant, QZCoordinates::Internal}) {
    SCOPED_TRACE(QZGetCoordinatesName(kind));
    FieldedProbe probe(0.1);
    QZMolPotential::QZCoordinateFunc f(probe, /*own=*/false, kind);
    QZMolPotential::QZDihedralAngleConstr dihedral(0, 1, 2, 3);
    ASSERT_TRUE(f.Setup(mol) && f.SetupConf(x.data()) && dihedral.Setup(mol));
    QZMolPotential::QZCoordinateConstr constraint(dihedral, f);
    std::vector<double> vars = VarsOf(f, x);
    std::vector<double> grad(vars.size());
    std::vector<double> back(x.size());
    constraint(vars.data(), grad.data());
    f(vars.data(), grad.data());
    const long before = Allocations();
    for (int k = 0; k < 12; ++k) {
      for (double& v : vars) v += 2e-3;
      constraint(vars.data());
      constraint(vars.data(), grad.data());
      f(vars.data(), grad.data());
      EXPECT_TRUE(f.AdaptVar(back.data(), vars.data()));
      EXPECT_FALSE(f.IsRevisionDue(vars.data()));
    }
    EXPECT_EQ(Allocations(), before);
  }
}

TEST(Allocation, MappedFunctionsAllocateOnlyWhenTheyStart) {
  using QZMolPotential::QZCoordinates;
  for (const QZCoordinates kind : {QZCoordinates::Cartesian,
                                   QZCoordinates::DegFree,
                                   QZCoordinates::RigidBody,
                                   QZCoordinates::Cluster,
                                   QZCoordinates::Redundant,
                                   QZCoordinates::Internal,
                                   QZCoordinates::ZMatrix,
                                   QZCoordinates::Torsion,
                                   QZCoordinates::TorsionRigid}) {
    SCOPED_TRACE(QZGetCoordinatesName(kind));
    const bool makesWork = kind == QZCoordinates::Redundant || kind == QZCoordinates::Internal;
    for (const char* name : {"butane", "imatinib"}) {
      if (kind == QZCoordinates::Internal && name == std::string("imatinib")) continue;
      FieldedProbe probe(0.1);
      QZMolPotential::QZCoordinateFunc f(probe, /*own=*/false, kind);
      ExpectNothingTaken(f, DataMolecule(name), makesWork);
    }
  }
}

TEST(Allocation, FlexibleAdaptorsAllocateOnlyWhenTheyStart) {
  FieldedProbe probe(0.1);
  QZMolPotential::QZTorAdaptor torsions(probe, /*own=*/false);
  ExpectNothingTaken(torsions, Butane());
  QZMolPotential::QZTorQuatAdaptor placed(probe, /*own=*/false);
  ExpectNothingTaken(placed, Butane());
  const auto pair = WaterDimer();
  for (const auto flexibility :
       {QZMolPotential::QZFlexibility::Torsion, QZMolPotential::QZFlexibility::Full}) {
    QZMolPotential::QZInterAdaptor molecules(probe, /*own=*/false);
    molecules.SetFlexibility(1, flexibility);
    ExpectNothingTaken(molecules, pair);
  }
}

// The optimiser-variable adaptors, through the function that presents them.
template <class Adaptor>
void ExpectNoAllocation(const QZChem::QZGraphMol& mol) {
  ProbeFunc probe;
  Adaptor adaptor;
  ASSERT_TRUE(probe.Setup(mol) && adaptor.Setup(mol));
  QZMolPotential::QZOptVarFunc f(probe, adaptor);
  std::vector<double> vars(f.NumVar());
  adaptor.FuncVarToOptVar(Coords(mol).data(), vars.data());
  std::vector<double> grad(vars.size(), 0.0);
  f(vars.data(), grad.data());
  const long before = Allocations();
  f(vars.data());
  f(vars.data(), grad.data());
  EXPECT_EQ(Allocations(), before);
}

TEST(Allocation, OptimiserVariablesAllocateNothingAfterTheFirstEvaluation) {
  const auto mol = Butane();
  ExpectNoAllocation<QZMolPotential::QZZmatAdaptor>(mol);
  ExpectNoAllocation<QZMolPotential::QZTorsionAdaptor>(mol);
  ExpectNoAllocation<QZMolPotential::QZRigidAdaptor>(mol);
}

}  // namespace
