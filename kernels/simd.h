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
// Code in HWY_NAMESPACE must not call inline functions from elsewhere in its loops: the compiler
// could keep one copy of such a function, built for a set that the processor lacks. Templates and
// `constexpr` arithmetic of the standard library count among these; `std::sqrt` and the like, which
// become one instruction, do not. Processors without any of the sets take the scalar one.

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
