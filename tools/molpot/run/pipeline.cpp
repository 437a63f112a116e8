// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "run/pipeline.h"

#include <oneapi/tbb/global_control.h>
#include <oneapi/tbb/parallel_pipeline.h>

#include <atomic>
#include <csignal>
#include <memory>

#include "run/record.h"

namespace Molpot {
namespace {

std::atomic<bool> interrupted{false};
static_assert(std::atomic<bool>::is_always_lock_free);

// Turns the first SIGINT into a flag; a second one ends the program as usual.
class InterruptGuard {
 public:
  InterruptGuard() {
    interrupted = false;
    struct sigaction action {};
    action.sa_handler = [](int) { interrupted = true; };
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    sigaction(SIGINT, &action, &previous_);
  }
  InterruptGuard(const InterruptGuard&) = delete;
  InterruptGuard& operator=(const InterruptGuard&) = delete;
  ~InterruptGuard() { sigaction(SIGINT, &previous_, nullptr); }

 private:
  struct sigaction previous_ {};
};

}  // namespace

bool RunAll(const Task& task,
            QZChem::qzmolistream& input,
            unsigned int threads,
            const std::function<void(Outcome&)>& consume) {
  namespace tbb = oneapi::tbb;
  const InterruptGuard guard;
  const tbb::global_control limit(tbb::global_control::max_allowed_parallelism, threads);
  using Item = std::shared_ptr<Outcome>;

  const auto read = [&input](tbb::flow_control& control) -> Item {
    auto outcome = std::make_shared<Outcome>();
    QZChem::QZRecordInfo info;
    if (interrupted || !QZChem::QZNextRecord(input, outcome->mol, info)) {
      control.stop();
      return nullptr;
    }
    outcome->record = info.number;
    outcome->raw = std::move(info.raw);
    outcome->error = std::move(info.error);
    return outcome;
  };
  const auto run = [&task](Item outcome) {
    Run(task, *outcome);
    return outcome;
  };
  const auto write = [&consume](const Item& outcome) { consume(*outcome); };

  tbb::parallel_pipeline(
      2 * threads,
      tbb::make_filter<void, Item>(tbb::filter_mode::serial_in_order, read) &
          tbb::make_filter<Item, Item>(tbb::filter_mode::parallel, run) &
          tbb::make_filter<Item, void>(tbb::filter_mode::serial_in_order, write));
  return interrupted;
}

}  // namespace Molpot
