// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <string>

namespace QZChem {

/// Collects what RDKit logs as errors on this thread while it lives: its SMILES and SMARTS parsers
/// give their reasons nowhere else. Not nested. Nothing is collected when the program has set up
/// RDKit's logs for itself.
class RDKitErrorText {
 public:
  RDKitErrorText();
  RDKitErrorText(const RDKitErrorText&) = delete;
  RDKitErrorText& operator=(const RDKitErrorText&) = delete;
  ~RDKitErrorText();

  /// The text in one line, without time stamps; `fallback` when there is none.
  std::string Get(const std::string& fallback) const;

 private:
  std::string text_;
};

/// A third party's message in one line.
std::string OneLine(const std::string& text);
/// The same in the words of this library's users: atoms counted from 1, nothing of the other
/// library's insides.
std::string InUsersWords(const std::string& text);

}  // namespace QZChem
