// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause

// Would an object cache gain anything? Blocks of the sizes of the library's small objects from the
// heap and from each kind of pool, alone and on two threads, beside what their owners cost at all.
#include <benchmark/benchmark.h>

#include <cstdlib>

#include "free_list.h"
#include "molpotential/interaction.h"

namespace {

constexpr std::size_t kSize =
    64;  // an empty iterator; an interaction has 8 bytes and a record of 64

void Heap(benchmark::State& state) {
  for (auto _ : state) {
    void* block = std::malloc(kSize);
    benchmark::DoNotOptimize(block);
    std::free(block);
  }
}

template <unsigned int kMode>
void Pool(benchmark::State& state) {
  static QZSystem::PooledStorage<kSize> pool(kMode);
  for (auto _ : state) {
    void* block = pool.Pop();
    benchmark::DoNotOptimize(block);
    pool.Push(block);
  }
}

void Interaction(benchmark::State& state) {
  const double values[2] = {1.0, 2.0};
  const std::vector<QZChem::QZAtomBase*> atoms(4);
  for (auto _ : state) {
    QZMolPotential::QZInteraction interaction(
        *new QZMolPotential::QZInteractImpl("Torsion", 1.0, 2, values, atoms));
    benchmark::DoNotOptimize(interaction.NumAtoms());
  }
}

void VectorIterator(benchmark::State& state) {
  for (auto _ : state) {
    const QZSystem::QZVectorIter<int> it({1, 2, 3});
    benchmark::DoNotOptimize(it.IsValid());
  }
}

BENCHMARK(Heap)->ThreadRange(1, 2);
BENCHMARK(Pool<QZSystem::QZMemPoolThreadLocal>)->Name("Pool a thread")->ThreadRange(1, 2);
BENCHMARK(Pool<QZSystem::QZMemPoolMutex>)->Name("Pool, mutex")->ThreadRange(1, 2);
BENCHMARK(Pool<QZSystem::QZMemPoolSpinLock>)->Name("Pool, spin lock")->ThreadRange(1, 2);
BENCHMARK(Interaction);
BENCHMARK(VectorIterator);

}  // namespace
