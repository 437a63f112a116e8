// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "pairs/layout.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace QZMolPotential {
namespace {

// RDKit computes no electrostatics of a charge below this.
constexpr double kLeastCharge = 1e-10;
// Where empty slots stand: away from every atom, so that no quotient overflows.
constexpr double kNowhere = 1e6;
// kcal Å/(mol e²), as RDKit and MMFF94 have it.
constexpr double kCoulomb = 332.0716;
// Slots are put in order again when clusters have grown by this factor.
constexpr double kWorstSpread = 1.5;

double ChargeOf(const PairInput& input, std::size_t number) {
  if (input.charges.empty()) return 0.0;
  const double charge = input.charges[number];
  return std::abs(charge) < kLeastCharge ? 0.0 : charge;
}

std::size_t RoundUp(std::size_t n) {
  return (n + kClusterSize - 1) / kClusterSize * kClusterSize;
}

}  // namespace

PairLayout::PairLayout(const PairInput& input) : isCut_(input.cutoff.distance > 0.0) {
  active_.assign(input.NumAtoms(), 1);
  collectSpecials(input);
  if (input.accepts) rejectPairs(input);
  countPairs(input);
  place(input);
}

bool PairLayout::visits(const PairInput& input, std::size_t i, std::size_t j) const {
  const bool first = isMobile(input, i);
  const bool second = isMobile(input, j);
  return input.withinMobile ? first || second : first != second;
}

void PairLayout::collectSpecials(const PairInput& input) {
  const auto add = [&](const PairInput::AtomPair& pair, bool oneFour) {
    const auto [low, high] = std::minmax(pair[0], pair[1]);
    if (low != high && visits(input, low, high)) specials_.push_back({low, high, oneFour});
  };
  for (const auto& pair : input.excluded) add(pair, /*oneFour=*/false);
  for (const auto& pair : input.oneFour) add(pair, /*oneFour=*/true);
}

void PairLayout::rejectPairs(const PairInput& input) {
  const auto n = static_cast<std::uint32_t>(input.NumAtoms());
  std::ranges::fill(active_, 0);
  for (std::uint32_t i = 0; i < n; ++i) {
    for (std::uint32_t j = i + 1; j < n; ++j) {
      if (!visits(input, i, j)) continue;
      if (input.accepts(i, j)) {
        active_[i] = active_[j] = 1;
      } else {
        specials_.push_back({i, j, false});
      }
    }
  }
  std::erase_if(specials_, [&](const Special& s) { return !active_[s.low] || !active_[s.high]; });
}

void PairLayout::countPairs(const PairInput& input) {
  // Of the entries of one pair the one that excludes it comes first and stays.
  std::ranges::sort(specials_);
  const auto repeats =
      std::unique(specials_.begin(), specials_.end(), [](const Special& a, const Special& b) {
        return a.low == b.low && a.high == b.high;
      });
  specials_.erase(repeats, specials_.end());
  const auto count = [&](auto counts) {
    std::size_t mobile = 0;
    std::size_t others = 0;
    for (std::size_t i = 0; i < input.NumAtoms(); ++i) {
      if (active_[i] != 0 && counts(i)) ++(isMobile(input, i) ? mobile : others);
    }
    std::size_t pairs = mobile * others;
    if (input.withinMobile && mobile > 1) pairs += mobile * (mobile - 1) / 2;
    for (const Special& s : specials_) {
      if (!s.oneFour && counts(s.low) && counts(s.high)) --pairs;
    }
    return pairs;
  };
  numPairs_ = count([](std::size_t) { return true; });
  numChargedPairs_ = count([&](std::size_t i) { return ChargeOf(input, i) != 0.0; });
}

// Gives every active atom a slot: mobile ones first, by type, so that rows of one type share what
// they read.
void PairLayout::place(const PairInput& input) {
  std::vector<std::uint32_t> mobile;
  std::vector<std::uint32_t> others;
  for (std::uint32_t i = 0; i < input.NumAtoms(); ++i) {
    if (active_[i] != 0) (isMobile(input, i) ? mobile : others).push_back(i);
  }
  std::ranges::sort(mobile, [&](std::uint32_t i, std::uint32_t j) {
    return std::pair(input.types[i], i) < std::pair(input.types[j], j);
  });
  const auto rounded = [&](std::size_t n) { return isCut_ ? RoundUp(n) : n; };
  numMobileSlots_ = rounded(mobile.size());
  numSlots_ = numMobileSlots_ + rounded(others.size());
  const std::size_t room = RoundUp(numSlots_) + kClusterSize;
  number_.assign(room, kNoAtom);
  std::ranges::copy(mobile, number_.begin());
  std::ranges::copy(others, number_.begin() + static_cast<std::ptrdiff_t>(numMobileSlots_));
  for (auto* values : {&x_, &y_, &z_}) values->assign(room, kNowhere);
  for (auto* values : {&gx_, &gy_, &gz_, &chargeOf_, &charge_}) values->assign(room, 0.0);
  type_.assign(room, 0);
  tableRow_.assign(numMobileSlots_, 0);
  if (!isCut_) {
    fillTables(input);
    fillSpecials(input);
  }
}

void PairLayout::order(const PairInput& input, const double* x) {
  const auto run = [&](std::size_t begin, std::size_t end) {
    // Empty slots, wherever they are, end up last.
    const auto first = number_.begin() + static_cast<std::ptrdiff_t>(begin);
    const auto last = number_.begin() + static_cast<std::ptrdiff_t>(end);
    const auto atoms = std::remove(first, last, kNoAtom);
    std::fill(atoms, last, kNoAtom);
    OrderInSpace({first, atoms}, x, input.atoms.data());
  };
  run(0, numMobileSlots_);
  run(numMobileSlots_, numSlots_);
  fillTables(input);
  fillSpecials(input);
}

void PairLayout::fillTables(const PairInput& input) {
  const std::size_t stride = number_.size();
  const bool squared = input.potential == PairPotential::LennardJones;
  std::vector<std::size_t> rowOfType(input.numTypes, SIZE_MAX);
  std::vector<std::uint16_t> rowTypes;
  for (std::size_t s = 0; s < numSlots_; ++s) {
    if (number_[s] == kNoAtom) {
      chargeOf_[s] = 0.0;
      type_[s] = 0;
      continue;
    }
    const std::uint16_t type = input.types[number_[s]];
    type_[s] = type;
    chargeOf_[s] = ChargeOf(input, number_[s]);
    if (s < numMobileSlots_) {
      if (rowOfType[type] == SIZE_MAX) {
        rowOfType[type] = rowTypes.size() * stride;
        rowTypes.push_back(type);
      }
      tableRow_[s] = rowOfType[type];
    }
  }
  charge_ = chargeOf_;
  scale_.assign(rowTypes.size() * stride, 1.0);
  depth_.assign(rowTypes.size() * stride, 0.0);
  for (std::size_t r = 0; r < rowTypes.size(); ++r) {
    const PairParameters* const parameters = input.table.data() + rowTypes[r] * input.numTypes;
    for (std::size_t s = 0; s < numSlots_; ++s) {
      if (number_[s] == kNoAtom) continue;
      const PairParameters& pair = parameters[type_[s]];
      scale_[r * stride + s] = squared ? pair.distance * pair.distance : 1.0 / pair.distance;
      depth_[r * stride + s] = pair.depth;
    }
  }
}

void PairLayout::fillSpecials(const PairInput& input) {
  std::vector<std::uint32_t> slotOf(input.NumAtoms(), kNoAtom);
  for (std::size_t s = 0; s < numSlots_; ++s) {
    if (number_[s] != kNoAtom) slotOf[number_[s]] = static_cast<std::uint32_t>(s);
  }
  specialBegin_.assign(numMobileSlots_ + 1, 0);
  special_.resize(specials_.size());
  const auto row = [&](const Special& s) { return std::min(slotOf[s.low], slotOf[s.high]); };
  for (const Special& s : specials_) ++specialBegin_[row(s) + 1];
  for (std::size_t i = 0; i < numMobileSlots_; ++i) specialBegin_[i + 1] += specialBegin_[i];
  std::vector<std::size_t> next(specialBegin_.begin(), specialBegin_.end());
  for (const Special& s : specials_) {
    const std::uint32_t other = std::max(slotOf[s.low], slotOf[s.high]);
    special_[next[row(s)]++] = other | (s.oneFour ? kOneFourBit : 0u);
  }
}

// A list serves as long as no two atoms can have come closer by more than the skin.
bool PairLayout::isListed(const PairInput& input, const double* x) const {
  if (numListings_ == 0) return false;
  const double half = 0.5 * input.cutoff.skin;
  if (AllWithin(x, reference_.data(), reference_.size(), half / std::sqrt(3.0))) return true;
  double mobile = 0.0;
  double others = 0.0;
  for (std::size_t i = 0; i < input.NumAtoms(); ++i) {
    const std::size_t at = 3 * std::size_t{input.atoms[i]};
    double square = 0.0;
    for (std::size_t k = 0; k < 3; ++k) {
      const double moved = x[at + k] - reference_[at + k];
      square += moved * moved;
    }
    if (!std::isfinite(square)) return false;
    double& largest = isMobile(input, i) ? mobile : others;
    largest = std::max(largest, square);
  }
  mobile = std::sqrt(mobile);
  others = std::sqrt(others);
  return mobile + (input.withinMobile ? std::max(mobile, others) : others) <= input.cutoff.skin;
}

bool PairLayout::list(const PairInput& input, const double* x) {
  for (const unsigned int atom : input.atoms) {
    for (std::size_t k = 0; k < 3; ++k) {
      if (!std::isfinite(x[3 * std::size_t{atom} + k])) return false;
    }
  }
  const double reach = input.cutoff.distance + input.cutoff.skin;
  const auto build = [&] {
    for (std::size_t s = 0; s < numSlots_; ++s) {
      if (number_[s] == kNoAtom) {
        x_[s] = y_[s] = z_[s] = kNowhere;
        continue;
      }
      const double* const from = x + 3 * std::size_t{input.atoms[number_[s]]};
      x_[s] = from[0];
      y_[s] = from[1];
      z_[s] = from[2];
    }
    near_.Build({x_.data(),
                 y_.data(),
                 z_.data(),
                 number_.data(),
                 numMobileSlots_,
                 numSlots_,
                 input.withinMobile},
                reach);
  };
  const double spread = spreadAtOrder_;
  if (numListings_ > 0) build();
  if (numListings_ == 0 || near_.Spread() > kWorstSpread * spread) {
    order(input, x);
    build();
    spreadAtOrder_ = near_.Spread();
  }
  reference_.assign(x, x + 3 * std::size_t{input.indexBound});
  ++numListings_;
  return true;
}

void PairLayout::gather(const PairInput& input, const double* x) {
  ForEachUsedSlot([&](std::size_t s) {
    const double* const from = x + 3 * std::size_t{input.atoms[number_[s]]};
    x_[s] = from[0];
    y_[s] = from[1];
    z_[s] = from[2];
  });
}

bool PairLayout::Load(const PairInput& input, const double* x) {
  if (isCut_ && !isListed(input, x) && !list(input, x)) return false;
  gather(input, x);
  return true;
}

void PairLayout::ClearGradient() {
  if (!isCut_) {
    for (auto* values : {&gx_, &gy_, &gz_}) std::ranges::fill(*values, 0.0);
    return;
  }
  for (const std::uint32_t begin : near_.Used()) {
    for (auto* values : {&gx_, &gy_, &gz_}) std::fill_n(values->data() + begin, kClusterSize, 0.0);
  }
}

void PairLayout::AddGradient(const PairInput& input, double* grad) const {
  ForEachUsedSlot([&](std::size_t s) {
    double* const to = grad + 3 * std::size_t{input.atoms[number_[s]]};
    to[0] += gx_[s];
    to[1] += gy_[s];
    to[2] += gz_[s];
  });
}

std::vector<double>& PairLayout::Diagonal() {
  first_.resize(number_.size());
  second_.resize(number_.size());
  diagonal_.assign(6 * number_.size(), 0.0);
  return diagonal_;
}

PairView PairLayout::View(const PairInput& input) {
  PairView view;
  view.numRows = numMobileSlots_;
  view.numSlots = numSlots_;
  view.firstColumn = input.withinMobile ? 0 : numMobileSlots_;
  view.x = x_.data();
  view.y = y_.data();
  view.z = z_.data();
  view.gx = gx_.data();
  view.gy = gy_.data();
  view.gz = gz_.data();
  view.chargeOf = chargeOf_.data();
  view.charge = charge_.data();
  view.type = type_.data();
  view.number = number_.data();
  view.tableRow = tableRow_.data();
  view.scale = scale_.data();
  view.depth = depth_.data();
  view.byType = input.table.data();
  view.numTypes = input.numTypes;
  view.specialBegin = specialBegin_.data();
  view.special = special_.data();
  view.coulomb = kCoulomb / input.dielectric;
  view.distanceDependent = input.distanceDependent;
  view.potential = input.potential;
  if (isCut_) {
    view.nearBegin = near_.Begin();
    view.near = near_.Entries();
    view.switchOff = input.cutoff.distance;
    view.switchOn = std::max(input.cutoff.distance - input.cutoff.width, 0.0);
  }
  view.first = first_.data();
  view.second = second_.data();
  return view;
}

}  // namespace QZMolPotential
