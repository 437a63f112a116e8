// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
// Compiled once for each instruction set.
#include "pairs/loops.h"

#include <hwy/detect_targets.h>

// Sets between these bring nothing to arithmetic on doubles; vectors without a fixed size cannot be
// members of a struct.
#undef HWY_DISABLED_TARGETS
#define HWY_DISABLED_TARGETS \
  (HWY_SSE4 | HWY_AVX3_DL | HWY_SVE | HWY_SVE2 | HWY_SVE_256 | HWY_SVE2_128 | HWY_RVV)
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "pairs/loops.cpp"
#include <hwy/foreach_target.h>

#include "kernels/simd.h"

HWY_BEFORE_NAMESPACE();
namespace QZMolPotential {
namespace HWY_NAMESPACE {

using D = hn::CappedTag<double, kClusterSize>;
using V = hn::Vec<D>;
using M = hn::Mask<D>;

// Squared distances below this count as this: nothing overflows where a pair that is left out has
// two atoms at one place.
constexpr double kLeastSquare = 1e-36;
constexpr double kBuffer = 0.05;  // Å, of the buffered Coulomb law
// Halgren's buffering constants.
constexpr double kDelta = 0.07;
constexpr double kGamma = 0.12;

/// What one loop computes, known when it is compiled.
template <bool kVdwOn, bool kEleOn, int kLevelOf, bool kSwitchOn, bool kTwelveSixOn>
struct Kind {
  static constexpr bool kVdw = kVdwOn;
  static constexpr bool kEle = kEleOn;
  static constexpr int kLevel = kLevelOf;  // 0 energy, 1 gradient, 2 second derivatives
  static constexpr bool kSwitch = kSwitchOn;
  static constexpr bool kTwelveSix = kTwelveSixOn;
};

/// Energy of a pair and its first two derivatives by the distance; for 12-6 E'/r and E'' instead.
struct Terms {
  V energy;
  V first;
  V second;
};

template <class K>
class Rows {
 public:
  explicit HWY_INLINE Rows(const PairView& view)
      : view_(view),
        vdwSum_(hn::Zero(D())),
        eleSum_(hn::Zero(D())),
        exponent_(hn::Set(D(), view.distanceDependent ? 2.0 : 1.0)),
        isSquared_(hn::Gt(exponent_, hn::Set(D(), 1.5))) {}

  HWY_INLINE void Start(std::size_t i) {
    const D d;
    row_ = view_.tableRow[i];
    x_ = hn::Set(d, view_.x[i]);
    y_ = hn::Set(d, view_.y[i]);
    z_ = hn::Set(d, view_.z[i]);
    if constexpr (K::kEle) charge_ = hn::Set(d, view_.coulomb * view_.chargeOf[i]);
    gx_ = gy_ = gz_ = hn::Zero(d);
    closest_ = hn::Set(d, 1.0);
  }

  HWY_INLINE void Run(std::size_t begin, std::size_t end) {
    const D d;
    std::size_t j = begin;
    for (; j + hn::Lanes(d) <= end; j += hn::Lanes(d)) Step</*kPartial=*/false>(j, 0);
    if (j < end) Step</*kPartial=*/true>(j, end - j);
  }

  /// True when an atom of the row may be at the place of another.
  HWY_INLINE bool Finish(std::size_t i) {
    const D d;
    if constexpr (K::kLevel > 0) {
      view_.gx[i] += Sum(gx_);
      view_.gy[i] += Sum(gy_);
      view_.gz[i] += Sum(gz_);
    }
    return !hn::AllFalse(d, hn::Eq(closest_, hn::Zero(d)));
  }

  PairEnergies Energies() const { return {Sum(vdwSum_), Sum(eleSum_)}; }

 private:
  static HWY_INLINE double Sum(V v) { return hn::GetLane(hn::SumOfLanes(D(), v)); }

  // MMFF94: with q = r/R*, t = 1.07/(q + 0.07), s = q^7 + 0.12: E = eps t^7 (1.12/s - 2).
  HWY_INLINE Terms Buffered(V r, V inverseStar, V depth) const {
    const D d;
    const V q = hn::Mul(r, inverseStar);
    const V q2 = hn::Mul(q, q);
    const V q3 = hn::Mul(q2, q);
    const V q6 = hn::Mul(q3, q3);
    const V shifted = hn::Add(q, hn::Set(d, kDelta));
    const V s = hn::MulAdd(q6, q, hn::Set(d, kGamma));
    const V inverse = hn::Div(hn::Set(d, 1.0), hn::Mul(shifted, s));
    const V u = hn::Mul(inverse, s);  // 1/(q + 0.07)
    const V inverseS = hn::Mul(inverse, shifted);
    const V t = hn::Mul(hn::Set(d, 1.0 + kDelta), u);
    const V t2 = hn::Mul(t, t);
    const V t4 = hn::Mul(t2, t2);
    const V a = hn::Mul(hn::Mul(depth, t4), hn::Mul(t2, t));
    const V b = hn::MulAdd(hn::Set(d, 1.0 + kGamma), inverseS, hn::Set(d, -2.0));
    Terms e;
    e.energy = hn::Mul(a, b);
    if constexpr (K::kLevel > 0) {
      const V k = hn::Set(d, 7.0 * (1.0 + kGamma));
      const V w = hn::Mul(k, hn::Mul(q6, hn::Mul(inverseS, inverseS)));  // -dB/dq
      const V seven = hn::Set(d, 7.0);
      const V ub = hn::Mul(u, b);
      const V scaled = hn::Mul(a, inverseStar);
      e.first = hn::Neg(hn::Mul(scaled, hn::MulAdd(seven, ub, w)));
      if constexpr (K::kLevel > 1) {
        // B'' = -7.84 q^5 (6 - 14 q^7/s)/s^2;  A'' = 56 A u^2,  2 A'B' = 14 A u w
        const V q5 = hn::Mul(q2, q3);
        const V kq5 = hn::Mul(hn::Mul(k, q5), hn::Mul(inverseS, inverseS));
        const V bend =
            hn::NegMulAdd(hn::Mul(hn::Mul(hn::Set(d, 14.0), q6), q), inverseS, hn::Set(d, 6.0));
        const V mixed = hn::MulAdd(hn::Set(d, 56.0), ub, hn::Mul(hn::Set(d, 14.0), w));
        e.second =
            hn::Mul(hn::Mul(scaled, inverseStar), hn::NegMulAdd(kq5, bend, hn::Mul(u, mixed)));
      }
    }
    return e;
  }

  // UFF: with s = (x/r)^6: E = D s (s - 2), E'/r = 12 D s (1 - s)/r^2, E'' = 12 D s (13 s - 7)/r^2.
  HWY_INLINE Terms TwelveSix(V inverseSquare, V square, V depth, M apart) const {
    const D d;
    const V ratio = hn::Mul(square, inverseSquare);
    const V s = hn::IfThenZeroElse(apart, hn::Mul(hn::Mul(ratio, ratio), ratio));
    const V ds = hn::Mul(depth, s);
    Terms e;
    e.energy = hn::Mul(ds, hn::Sub(s, hn::Set(d, 2.0)));
    if constexpr (K::kLevel > 0) {
      const V scale = hn::Mul(hn::Set(d, 12.0), hn::Mul(ds, inverseSquare));
      e.first = hn::NegMulAdd(scale, s, scale);
      if constexpr (K::kLevel > 1) {
        e.second = hn::Mul(scale, hn::MulAdd(hn::Set(d, 13.0), s, hn::Set(d, -7.0)));
      }
    }
    return e;
  }

  HWY_INLINE Terms Coulomb(V inverse, V charge) const {
    const D d;
    const V power = hn::IfThenElse(isSquared_, hn::Mul(inverse, inverse), inverse);
    Terms e;
    e.energy = hn::Mul(hn::Mul(charge_, charge), power);
    if constexpr (K::kLevel > 0) {
      e.first = hn::Neg(hn::Mul(exponent_, hn::Mul(e.energy, inverse)));
      if constexpr (K::kLevel > 1) {
        const V next = hn::Add(exponent_, hn::Set(d, 1.0));
        e.second = hn::Neg(hn::Mul(next, hn::Mul(e.first, inverse)));
      }
    }
    return e;
  }

  // A term times S = 1 - t^3 (10 - 15 t + 6 t^2), t in [0, 1] between `on` and the cutoff.
  HWY_INLINE Terms Fade(const Terms& e, V r, double on) const {
    const D d;
    const V one = hn::Set(d, 1.0);
    const V inverseWidth = hn::Set(d, 1.0 / (view_.switchOff - on));
    const V along = hn::Mul(hn::Sub(r, hn::Set(d, on)), inverseWidth);
    const V t = hn::Min(hn::Max(along, hn::Zero(d)), one);
    const V t2 = hn::Mul(t, t);
    const V rest = hn::Sub(one, t);
    const V poly =
        hn::MulAdd(hn::MulAdd(hn::Set(d, 6.0), t, hn::Set(d, -15.0)), t, hn::Set(d, 10.0));
    const V s = hn::NegMulAdd(hn::Mul(t2, t), poly, one);
    Terms faded;
    faded.energy = hn::Mul(e.energy, s);
    if constexpr (K::kLevel > 0) {
      const V slope = hn::Mul(hn::Set(d, -30.0), inverseWidth);
      const V first = hn::Mul(slope, hn::Mul(t2, hn::Mul(rest, rest)));
      faded.first = hn::MulAdd(e.first, s, hn::Mul(e.energy, first));
      if constexpr (K::kLevel > 1) {
        const V bend = hn::Mul(hn::Mul(t, rest), hn::NegMulAdd(hn::Set(d, 2.0), t, one));
        const V second = hn::Mul(hn::Mul(hn::Set(d, 2.0), hn::Mul(slope, inverseWidth)), bend);
        faded.second = hn::MulAdd(hn::Mul(hn::Set(d, 2.0), e.first),
                                  first,
                                  hn::MulAdd(e.second, s, hn::Mul(e.energy, second)));
      }
    }
    return faded;
  }

  template <bool kPartial>
  HWY_INLINE void Step(std::size_t j, std::size_t count) {
    const D d;
    const V one = hn::Set(d, 1.0);
    const V zero = hn::Zero(d);
    const V dx = hn::Sub(x_, hn::LoadU(d, view_.x + j));
    const V dy = hn::Sub(y_, hn::LoadU(d, view_.y + j));
    const V dz = hn::Sub(z_, hn::LoadU(d, view_.z + j));
    V square = hn::MulAdd(dx, dx, hn::MulAdd(dy, dy, hn::Mul(dz, dz)));
    M inside = hn::FirstN(d, count);
    if constexpr (kPartial) square = hn::IfThenElse(inside, square, one);
    if constexpr (K::kSwitch) {
      if (hn::AllTrue(d, hn::Ge(square, hn::Set(d, view_.switchOff * view_.switchOff)))) {
        if constexpr (K::kLevel > 1) {
          hn::StoreU(zero, d, view_.first + j);
          hn::StoreU(zero, d, view_.second + j);
        }
        return;
      }
    }
    if constexpr (K::kLevel > 0) closest_ = hn::Min(closest_, square);
    const M together = hn::Eq(square, zero);
    const V least = hn::Set(d, kLeastSquare);
    square = hn::IfThenElse(hn::Lt(square, least), least, square);

    V r = zero;
    V inverseR = zero;
    V inverseSquare = zero;
    V vdwEnergy = zero;
    V eleEnergy = zero;
    V first = zero;   // E'
    V second = zero;  // E''
    if constexpr (!K::kTwelveSix || K::kSwitch) r = hn::Sqrt(square);
    if constexpr (K::kTwelveSix) {
      inverseSquare = hn::Div(one, square);
      if constexpr (K::kSwitch) inverseR = hn::Mul(inverseSquare, r);
    }
    if constexpr (K::kEle) {
      const V buffered = hn::Add(r, hn::Set(d, kBuffer));
      V inverse;
      if constexpr (K::kLevel > 0) {
        // One division for two quotients.
        const V both = hn::Div(one, hn::Mul(r, buffered));
        inverseR = hn::Mul(both, buffered);
        inverse = hn::Mul(both, r);
      } else {
        inverse = hn::Div(one, buffered);
      }
      V charge = hn::LoadU(d, view_.charge + j);
      if constexpr (kPartial) charge = hn::IfThenElseZero(inside, charge);
      Terms e = Coulomb(inverse, charge);
      if constexpr (K::kSwitch) e = Fade(e, r, 0.0);
      eleEnergy = e.energy;
      if constexpr (K::kLevel > 0) first = e.first;
      if constexpr (K::kLevel > 1) second = e.second;
    } else if constexpr (!K::kTwelveSix && K::kLevel > 0) {
      inverseR = hn::Div(one, r);
    }
    if constexpr (K::kVdw) {
      V depth = hn::LoadU(d, view_.depth + row_ + j);
      if constexpr (kPartial) depth = hn::IfThenElseZero(inside, depth);
      const V scale = hn::LoadU(d, view_.scale + row_ + j);
      Terms e;
      if constexpr (K::kTwelveSix) {
        e = TwelveSix(inverseSquare, scale, depth, together);
        if constexpr (K::kLevel > 0 && K::kSwitch) e.first = hn::Mul(e.first, r);
      } else {
        e = Buffered(r, scale, depth);
      }
      if constexpr (K::kSwitch) e = Fade(e, r, view_.switchOn);
      vdwEnergy = e.energy;
      if constexpr (K::kLevel > 0) first = hn::Add(first, e.first);
      if constexpr (K::kLevel > 1) second = hn::Add(second, e.second);
    }
    if constexpr (K::kVdw) vdwSum_ = hn::Add(vdwSum_, vdwEnergy);
    if constexpr (K::kEle) eleSum_ = hn::Add(eleSum_, eleEnergy);
    if constexpr (K::kLevel > 0) {
      V byR = first;  // E'/r
      if constexpr (!K::kTwelveSix || K::kSwitch) byR = hn::Mul(first, inverseR);
      Push(j, byR, dx, dy, dz);
      if constexpr (K::kLevel > 1) {
        if constexpr (!K::kTwelveSix) inverseSquare = hn::Mul(inverseR, inverseR);
        hn::StoreU(hn::IfThenZeroElse(together, byR), d, view_.first + j);
        hn::StoreU(hn::IfThenZeroElse(together, hn::Mul(hn::Sub(second, byR), inverseSquare)),
                   d,
                   view_.second + j);
      }
    }
  }

  HWY_INLINE void Push(std::size_t j, V byR, V dx, V dy, V dz) {
    const D d;
    gx_ = hn::MulAdd(byR, dx, gx_);
    gy_ = hn::MulAdd(byR, dy, gy_);
    gz_ = hn::MulAdd(byR, dz, gz_);
    hn::StoreU(hn::NegMulAdd(byR, dx, hn::LoadU(d, view_.gx + j)), d, view_.gx + j);
    hn::StoreU(hn::NegMulAdd(byR, dy, hn::LoadU(d, view_.gy + j)), d, view_.gy + j);
    hn::StoreU(hn::NegMulAdd(byR, dz, hn::LoadU(d, view_.gz + j)), d, view_.gz + j);
  }

  const PairView& view_;
  V vdwSum_;
  V eleSum_;
  V exponent_;
  M isSquared_;
  std::size_t row_ = 0;
  V x_, y_, z_, charge_;
  V gx_, gy_, gz_;
  V closest_;
};

void Mark(const PairView& view, std::size_t i) {
  for (std::size_t k = view.specialBegin[i]; k < view.specialBegin[i + 1]; ++k) {
    const std::uint32_t j = view.special[k] & ~kOneFourBit;
    if ((view.special[k] & kOneFourBit) != 0) {
      view.charge[j] *= 0.75;
    } else {
      view.charge[j] = 0.0;
      view.depth[view.tableRow[i] + j] = 0.0;
    }
  }
}

void Unmark(const PairView& view, std::size_t i) {
  const PairParameters* const parameters = view.byType + view.type[i] * view.numTypes;
  for (std::size_t k = view.specialBegin[i]; k < view.specialBegin[i + 1]; ++k) {
    const std::uint32_t j = view.special[k] & ~kOneFourBit;
    view.charge[j] = view.chargeOf[j];
    view.depth[view.tableRow[i] + j] = parameters[view.type[j]].depth;
  }
}

// The gradient of pairs at one place has no direction; it pushes the atom of the smaller number
// along (1, 1, 1) and the other one back.
void Separate(const PairView& view, std::size_t i, PairTerms terms) {
  const PairParameters* const parameters = view.byType + view.type[i] * view.numTypes;
  const bool twelveSix = view.potential == PairPotential::LennardJones;
  view.ForEachRun(i, [&](std::size_t begin, std::size_t end) {
    for (std::size_t j = begin; j < end; ++j) {
      if (view.x[j] != view.x[i] || view.y[j] != view.y[i] || view.z[j] != view.z[i]) continue;
      double push = 0.0;
      if (terms.vanDerWaals && view.depth[view.tableRow[i] + j] != 0.0) {
        push += twelveSix ? 100.0 : 0.01 * parameters[view.type[j]].distance;
      }
      if (terms.electrostatics && view.charge[j] * view.chargeOf[i] != 0.0) push += 0.02;
      if (view.number[i] > view.number[j]) push = -push;
      for (double* g : {view.gx, view.gy, view.gz}) {
        g[i] += push;
        g[j] -= push;
      }
    }
  });
}

template <class K>
PairEnergies RunKind(const PairView& view) {
  Rows<K> rows(view);
  for (std::size_t i = 0; i < view.numRows; ++i) {
    if (view.number[i] == kNoAtom) continue;
    Mark(view, i);
    rows.Start(i);
    if (view.near == nullptr) {
      rows.Run(view.firstColumn > i ? view.firstColumn : i + 1, view.numSlots);
    } else {
      if (view.firstColumn <= i) rows.Run(i + 1, i - i % kClusterSize + kClusterSize);
      for (std::size_t k = view.nearBegin[i]; k < view.nearBegin[i + 1]; ++k) {
        rows.Run(view.near[k], view.near[k] + kClusterSize);
      }
    }
    if (rows.Finish(i) && K::kLevel > 0) Separate(view, i, {K::kVdw, K::kEle});
    Unmark(view, i);
    if constexpr (K::kLevel > 1) view.rowDone(view.context, i);
  }
  return rows.Energies();
}

template <bool kVdw, bool kEle, bool kSwitch, bool kTwelveSix>
PairEnergies RunLevel(const PairView& view, int level) {
  if (level == 0) return RunKind<Kind<kVdw, kEle, 0, kSwitch, kTwelveSix>>(view);
  if (level == 1) return RunKind<Kind<kVdw, kEle, 1, kSwitch, kTwelveSix>>(view);
  return RunKind<Kind<kVdw, kEle, 2, kSwitch, kTwelveSix>>(view);
}

template <bool kSwitch>
PairEnergies RunTerms(const PairView& view, bool vdw, bool ele, int level) {
  if (view.potential == PairPotential::LennardJones) {
    return vdw ? RunLevel<true, false, kSwitch, true>(view, level) : PairEnergies();
  }
  if (vdw && ele) return RunLevel<true, true, kSwitch, false>(view, level);
  if (vdw) return RunLevel<true, false, kSwitch, false>(view, level);
  if (ele) return RunLevel<false, true, kSwitch, false>(view, level);
  return {};
}

PairEnergies RunOnTarget(const PairView& view, bool vdw, bool ele, int level) {
  return view.switchOff > 0.0 ? RunTerms<true>(view, vdw, ele, level)
                              : RunTerms<false>(view, vdw, ele, level);
}

bool AllWithinOnTarget(const double* a, const double* b, std::size_t n, double limit) {
  const D d;
  const V bound = hn::Set(d, limit);
  M within = hn::FirstN(d, hn::Lanes(d));
  std::size_t k = 0;
  for (; k + hn::Lanes(d) <= n; k += hn::Lanes(d)) {
    const V difference = hn::Abs(hn::Sub(hn::LoadU(d, a + k), hn::LoadU(d, b + k)));
    within = hn::And(within, hn::Le(difference, bound));
  }
  bool all = hn::AllTrue(d, within);
  for (; k < n; ++k) {
    const double difference = a[k] - b[k];
    all = all && difference <= limit && difference >= -limit;
  }
  return all;
}

}  // namespace HWY_NAMESPACE
}  // namespace QZMolPotential
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace QZMolPotential {

HWY_EXPORT(RunOnTarget);
HWY_EXPORT(AllWithinOnTarget);

PairEnergies RunPairs(const PairView& view, PairTerms terms, bool withGradient) {
  const int level = view.rowDone != nullptr ? 2 : withGradient ? 1 : 0;
  return HWY_DYNAMIC_DISPATCH(RunOnTarget)(view, terms.vanDerWaals, terms.electrostatics, level);
}

bool AllWithin(const double* a, const double* b, std::size_t n, double limit) {
  return HWY_DYNAMIC_DISPATCH(AllWithinOnTarget)(a, b, n, limit);
}

}  // namespace QZMolPotential
#endif
