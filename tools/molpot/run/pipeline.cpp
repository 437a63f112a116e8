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
            QZChem::qzmolistream& input,
            unsigned int threads,
            const std::function<void(Outcome&)>& consume) {
  namespace tbb = oneapi::tbb;
  const tbb::global_control limit(tbb::global_control::max_allowed_parallelism, threads);
  using Item = std::shared_ptr<Outcome>;

  const auto read = [&input](tbb::flow_control& control) -> Item {
    auto outcome = std::make_shared<Outcome>();
    QZChem::QZRecordInfo info;
    if (IsInterrupted() || !QZChem::QZNextRecord(input, outcome->mol, info)) {
      control.stop();
      return nullptr;
    }
    outcome->record = info.number;
    outcome->raw = std::move(info.raw);
    outcome->error = std::move(info.error);
    return outcome;
  };
  const auto run = [&task](Item outcome) -> Item {
    if (IsInterrupted()) return Item();  // read, not begun
    Run(task, *outcome);
    return outcome;
  };
  const auto write = [&consume](const Item& outcome) {
    if (outcome != nullptr) consume(*outcome);
  };

  tbb::parallel_pipeline(
      2 * threads,
      tbb::make_filter<void, Item>(tbb::filter_mode::serial_in_order, read) &
          tbb::make_filter<Item, Item>(tbb::filter_mode::parallel, run) &
          tbb::make_filter<Item, void>(tbb::filter_mode::serial_in_order, write));
  return IsInterrupted();
}

}  // namespace Molpot
