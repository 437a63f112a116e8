// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <vector>

#include "qzopt/checkpoint.h"
#include "qzopt/hints.h"

namespace QZOpt {

/// A fall-back's iterations as those of the function that fell back, without its gradient.
class ReturningCheckpoint final : public QZCheckpoint1 {
 public:
  ReturningCheckpoint(QZRestartable& func, std::size_t numVar, QZCheckpoint1& checkpoint)
      : func_(func), checkpoint_(checkpoint), x_(numVar) {}
  bool operator()(unsigned int iteration,
                  unsigned int,
                  double energy,
                  const double* x,
                  unsigned int state) override {
    func_.ReturnFrom(x, x_.data());
    return checkpoint_(iteration, static_cast<unsigned int>(x_.size()), energy, x_.data(), state);
  }
  bool operator()(unsigned int iteration,
                  unsigned int,
                  double energy,
                  double gradientNorm,
                  const double* x,
                  const double*,
                  unsigned int state) override {
    func_.ReturnFrom(x, x_.data());
    return checkpoint_(iteration,
                       static_cast<unsigned int>(x_.size()),
                       energy,
                       gradientNorm,
                       x_.data(),
                       nullptr,
                       state);
  }

 private:
  QZRestartable& func_;
  QZCheckpoint1& checkpoint_;
  std::vector<double> x_;
};

}  // namespace QZOpt
