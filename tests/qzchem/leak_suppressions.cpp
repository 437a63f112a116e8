// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause

// RDKit's parsers lose the molecule they were building when a record turns out bad.
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions() {
  return "leak:libRDKitFileParsers\n";
}
