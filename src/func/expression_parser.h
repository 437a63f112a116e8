// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <array>
#include <cstddef>
#include <map>
#include <string>
#include <vector>

namespace QZMolPotential {

/// A power whose exponent does not depend on the geometry is a separate operation.
enum class ExpressionOp {
  Number,
  Distance,
  Angle,
  Dihedral,
  Coordinate,  // push
  Negate,
  Sqrt,
  Exp,
  Log,
  Sin,
  Cos,
  Tan,
  Abs,  // of the top
  Add,
  Subtract,
  Multiply,
  Divide,
  Power,
  FixedPower,
  Min,
  Max  // of the top two
};

struct ExpressionStep {
  ExpressionOp op = ExpressionOp::Number;
  double number = 0.0;
  /// Of geometry: places in `ExpressionProgram::atoms`; of a coordinate the axis stands second.
  std::array<unsigned int, 4> atoms{};
};

/// An expression in reverse Polish order.
struct ExpressionProgram {
  std::vector<ExpressionStep> steps;
  std::vector<unsigned int> atoms;  // those involved, by index, each once
  std::size_t depth = 0;            // of the stack
  bool usesPlaces = false;          // x, y or z
  std::string error;                // empty when it could be read
};

ExpressionProgram ParseExpression(const std::string& text,
                                  const std::map<std::string, double>& constants,
                                  unsigned int atomsFrom);

}  // namespace QZMolPotential
