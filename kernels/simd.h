// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause

// The one way to vector instructions: Highway, compiled for several instruction sets, of which the
// best that the processor has is chosen at run time. A source file with vector loops reads
//
//   #undef HWY_TARGET_INCLUDE
//   #define HWY_TARGET_INCLUDE "room/file.cpp"   // itself, as seen from an include path
//   #include <hwy/foreach_target.h>              // compiles the file once for each set
//   #include "kernels/simd.h"                    // after it
//   HWY_BEFORE_NAMESPACE();
//   namespace QZMolPotential::HWY_NAMESPACE {
//   void Loop(...) { const Doubles d; ... }      // and everything that it must inline
//   }
//   HWY_AFTER_NAMESPACE();
//   #if HWY_ONCE
//   namespace QZMolPotential {
//   HWY_EXPORT(Loop);
//   void Public(...) { HWY_DYNAMIC_DISPATCH(Loop)(...); }   // one indirect call
//   }
//   #endif
//
// Functions from elsewhere stay code for the baseline: what a loop calls is either so small that it
// is inlined or written between the two macros as well. Processors without any of the sets take
// scalar code.

// No #pragma once: read again for each set.
#if defined(MOLPOTENTIAL_KERNELS_SIMD_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef MOLPOTENTIAL_KERNELS_SIMD_H_
#undef MOLPOTENTIAL_KERNELS_SIMD_H_
#else
#define MOLPOTENTIAL_KERNELS_SIMD_H_
#endif

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace QZMolPotential::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;
/// As many doubles as a register holds.
using Doubles = hn::ScalableTag<double>;

}  // namespace QZMolPotential::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
