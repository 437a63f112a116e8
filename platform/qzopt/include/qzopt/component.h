// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <string>

#include "qzplatform/export.h"

namespace QZOpt {

/// A named energy term of a function.
class QZ_API QZFComponent {
 public:
  QZFComponent(const char* name, double value) : name_(name), value_(value) {}
  const char* GetName() const { return name_.c_str(); }
  double GetValue() const { return value_; }

 private:
  std::string name_;
  double value_;
};

}  // namespace QZOpt
