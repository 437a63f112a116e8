// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "qzplatform/export.h"

namespace QZChem {

/// A guard against locales: while an object of this class exists, this thread reads and writes
/// numbers with a decimal point and without grouping, whatever `setlocale` and
/// `std::locale::global` say. Everything in this library that reads or writes numbers creates such
/// a guard; callers need it only around code of other libraries. The C++ global locale exists once
/// in a process: if the program has replaced it by one that writes numbers otherwise, the classic
/// locale takes its place, for all threads, while any guard exists. Cost: some ten nanoseconds when
/// the program's locale is the classic one.
class QZ_API QZClassicNumbers {
 public:
  QZClassicNumbers();
  QZClassicNumbers(const QZClassicNumbers&) = delete;
  QZClassicNumbers& operator=(const QZClassicNumbers&) = delete;
  ~QZClassicNumbers();

 private:
  void* threadLocale_ = nullptr;  // the thread's locale before the guard; null: unchanged
  bool holdsGlobal_ = false;
};

}  // namespace QZChem
