// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "qzplatform/export.h"

namespace QZChem {

/// While one lives, numbers are read and written with a decimal point and without grouping on this
/// thread, whatever `setlocale` and `std::locale::global` say. Everything in this library that
/// reads or writes numbers holds one. Callers need it around code of other libraries that does. The
/// C++ global locale exists once a process: where the program has replaced it by one that writes
/// numbers otherwise, the classic one stands in while any guard of any thread lives. Cost: some ten
/// nanoseconds where the program's locale is the classic one.
class QZ_API QZClassicNumbers {
 public:
  QZClassicNumbers();
  QZClassicNumbers(const QZClassicNumbers&) = delete;
  QZClassicNumbers& operator=(const QZClassicNumbers&) = delete;
  ~QZClassicNumbers();

 private:
  void* threadLocale_ = nullptr;  // that of the thread before; null: unchanged
  bool holdsGlobal_ = false;
};

}  // namespace QZChem
