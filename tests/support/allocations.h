// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

namespace TestSupport {

/// How often the program has taken memory from the heap so far, under sanitizers by `new` only.
/// Only a program that asks counts.
long Allocations();

/// How often calling `f` takes memory.
long AllocationsOf(auto&& f) {
  const long before = Allocations();
  f();
  return Allocations() - before;
}

}  // namespace TestSupport
