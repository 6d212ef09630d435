// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "Tessaly/Core/Observation/ObservationRegistrar.hpp"
#include "Tessaly/Core/Tasks/Async.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"

namespace Tessaly::Tests {

/// A number whose change takes several steps of a task.
class SlowCounter {
 public:
  int value() const {
    registrar_.access(*this, keyPath<&SlowCounter::value>);
    return value_;
  }
  Async<void> increment() {
    registrar_.willSet(*this, keyPath<&SlowCounter::value>);
    co_await Task<>::yield();
    ++value_;
    co_await Task<>::yield();
    registrar_.didSet(*this, keyPath<&SlowCounter::value>);
    co_await Task<>::yield();
  }

 private:
  int value_ = 0;
  ObservationRegistrar registrar_;
};

inline Async<void> incrementThrice(std::shared_ptr<SlowCounter> counter) {
  for (int i = 0; i < 3; ++i) co_await counter->increment();
}

}  // namespace Tessaly::Tests
