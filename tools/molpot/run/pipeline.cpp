// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "run/pipeline.h"

#include <oneapi/tbb/global_control.h>
#include <oneapi/tbb/parallel_pipeline.h>

#include <memory>

#include "run/interrupt.h"
#include "run/record.h"

namespace Molpot {

bool RunAll(const Task& task,
            Input& input,
            unsigned int threads,
            const std::function<void(Outcome&)>& consume) {
  namespace tbb = oneapi::tbb;
  const tbb::global_control limit(tbb::global_control::max_allowed_parallelism, threads);
  using Item = std::shared_ptr<std::vector<Outcome>>;

  const auto read = [&input](tbb::flow_control& control) -> Item {
    Outcome outcome;
    if (IsInterrupted() || !input.Next(outcome)) {
      control.stop();
      return nullptr;
    }
    auto records = std::make_shared<std::vector<Outcome>>();
    records->push_back(std::move(outcome));
    return records;
  };
  const auto run = [&task](const Item& records) -> Item {
    if (IsInterrupted()) return Item();  // read, not begun
    *records = Run(task, std::move(records->front()));
    return records;
  };
  const auto write = [&consume](const Item& records) {
    if (records == nullptr) return;
    for (Outcome& outcome : *records) consume(outcome);
  };

  tbb::parallel_pipeline(
      2 * threads,
      tbb::make_filter<void, Item>(tbb::filter_mode::serial_in_order, read) &
          tbb::make_filter<Item, Item>(tbb::filter_mode::parallel, run) &
          tbb::make_filter<Item, void>(tbb::filter_mode::serial_in_order, write));
  return IsInterrupted();
}

}  // namespace Molpot
