// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <map>
#include <memory>
#include <mutex>

#include "qzchem/perceived.h"

namespace QZChem {

/// What has been derived from one topology, by tag; safe from several threads.
class PerceivedByTag {
 public:
  /// Keeps what is known before anyone asks.
  void Put(unsigned int tag, QZPerceived value);
  QZPerceived Get(unsigned int tag, const std::function<QZPerceived()>& make);

 private:
  struct Entry {
    std::once_flag once;
    QZPerceived value;
  };
  std::mutex mutex_;
  std::map<unsigned int, std::shared_ptr<Entry>> entries_;
};

}  // namespace QZChem
