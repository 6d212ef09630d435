// SPDX-License-Identifier: MIT
#pragma once

#include <vector>

#include "Tessaly/Core/Tasks/GlobalExecutor.hpp"

namespace Tessaly::Tests {

/// Queues jobs until the test runs them, and records the priority at which each one starts.
class StepByStep final : public Executor {
 public:
  static StepByStep& install() {
    static auto* const executor = [] {
      auto* made = new StepByStep;
      GlobalExecutor::install(*made);
      return made;
    }();
    return *executor;
  }
  void enqueue(Job& job) noexcept override { jobs_.append(job); }
  bool runOne() {
    Job* job = jobs_.popFirst();
    if (job == nullptr) return false;
    priorities.push_back(job->priority());
    job->run();
    return true;
  }
  std::vector<TaskPriority> priorities;

 private:
  JobList jobs_;
};

}  // namespace Tessaly::Tests
