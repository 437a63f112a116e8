// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <string>

namespace QZChem {

/// While an object of this class exists, it collects the errors that RDKit logs on this thread; the
/// SMILES and SMARTS parsers give their reasons only there. Objects must not be nested. Nothing is
/// collected when the program has set up RDKit's logs itself.
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
/// The same for users of this library: atoms are counted from 1, and internal details of the other
/// library are removed.
std::string InUsersWords(const std::string& text);

}  // namespace QZChem
