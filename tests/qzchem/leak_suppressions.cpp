// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause

// RDKit's parsers lose the molecule they were building when a record turns out bad, and its pattern
// search some bytes when a search is ended at its limit.
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions() {
  return "leak:libRDKitFileParsers\nleak:vf2_all\n";
}
