// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
// The same restraint as a custom force of OpenMM on its Reference platform; lengths in nm there.
#include <OpenMM.h>

#include "restrained.h"

namespace {

using Bench::kStrength;
using Bench::kWidth;

void BM_PositionOpenMM(benchmark::State& state) {
  const Bench::Restrained r(static_cast<std::size_t>(state.range(0)));
  OpenMM::System system;
  auto* force = new OpenMM::CustomExternalForce(  // owned by the system
      "k*max(0, d-width)^2; d=sqrt((x-x0)^2+(y-y0)^2+(z-z0)^2)");
  force->addGlobalParameter("k", kStrength);
  force->addGlobalParameter("width", kWidth);
  for (const char* name : {"x0", "y0", "z0"}) force->addPerParticleParameter(name);
  std::vector<OpenMM::Vec3> positions;
  for (std::size_t i = 0; i < r.NumAtoms(); ++i) {
    const double* p = &r.reference[3 * i];
    system.addParticle(1.0);
    force->addParticle(static_cast<int>(i), {p[0], p[1], p[2]});
    positions.emplace_back(r.x[3 * i], r.x[3 * i + 1], r.x[3 * i + 2]);
  }
  system.addForce(force);
  OpenMM::VerletIntegrator integrator(0.001);
  OpenMM::Context context(system, integrator, OpenMM::Platform::getPlatformByName("Reference"));
  context.setPositions(positions);
  for (auto _ : state) {
    const auto at = context.getState(OpenMM::State::Energy | OpenMM::State::Forces);
    benchmark::DoNotOptimize(at.getPotentialEnergy());
  }
  Bench::ReportPerItem(state, "per_atom", r.NumAtoms());
}
BENCHMARK(BM_PositionOpenMM)->Arg(1000)->Arg(100000);

}  // namespace
