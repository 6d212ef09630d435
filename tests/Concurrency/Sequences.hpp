// SPDX-License-Identifier: MIT
#pragma once

#include <vector>

#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "tests/Core/Tasks/Streams.hpp"

namespace Tessaly::Tests {

/// Waits for the result of an `Async` on the seeded scheduler.
template <typename T>
T resultOf(Async<T> async) {
  std::optional<T> result;
  std::exception_ptr error;
  const auto task = start([&]() -> Async<void> {
    try {
      result.emplace(co_await std::move(async));
    } catch (...) {
      error = std::current_exception();
    }
  });
  settle();
  if (error) std::rethrow_exception(error);
  if (!result) throw std::logic_error("still waiting");
  return std::move(*result);
}

/// The same for an `Async` that fails. Returns the error's text.
template <typename T>
std::string failureOf(Async<T> async) {
  try {
    static_cast<void>(resultOf(std::move(async)));
    return "no failure";
  } catch (const std::exception& error) {
    return error.what();
  }
}

}  // namespace Tessaly::Tests
