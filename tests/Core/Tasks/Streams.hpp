// SPDX-License-Identifier: MIT
#pragma once

#include <exception>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "Tessaly/Core/Tasks/AsyncStream.hpp"
#include "Tessaly/Core/Tasks/AsyncThrowingStream.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"
#include "Tessaly/Platform/Testing/SeededScheduler.hpp"

// What tests of streams and sequences share. They run their tasks on the seeded scheduler: after `settle()` every task
// has ended or waits, whatever the machine does.

namespace Tessaly::Tests {

/// Runs all tasks until each has ended or waits.
inline void settle() { SeededScheduler::install().runUntilIdle(); }

/// Starts a task that inherits nothing.
template <typename Operation>
auto start(TaskOptions options, Operation operation) {
  SeededScheduler::install();
  return Task<detail::AsyncInvokeResult<Operation&>>::detached(std::move(options), std::move(operation));
}
template <typename Operation>
auto start(Operation operation) {
  return start({}, std::move(operation));
}

inline std::string textOf(int number) { return std::to_string(number); }
inline std::string textOf(std::string text) { return text; }
inline std::string textOf(const std::unique_ptr<int>& number) { return std::to_string(*number); }

inline std::string textOf(const std::exception_ptr& error) {
  try {
    std::rethrow_exception(error);
  } catch (const std::exception& caught) {
    return caught.what();
  }
}

/// "enqueued 3" (so many remain), "dropped 7" (this element), "terminated".
template <typename Element>
std::string textOf(const YieldResult<Element>& result) {
  switch (result.kind) {
    case YieldResultKind::enqueued:
      return "enqueued " + std::to_string(result.remaining) + (result.element ? " and an element" : "");
    case YieldResultKind::dropped:
      return "dropped " + textOf(*result.element) + (result.remaining != 0 ? " and a count" : "");
    case YieldResultKind::terminated:
      return result.element || result.remaining != 0 ? "terminated and more" : "terminated";
  }
  return "no result";
}

/// "cancelled", "finished" or "finished: " and the error.
inline std::string textOf(const StreamTermination& termination) {
  const std::string text = termination.kind == StreamTermination::Kind::finished ? "finished" : "cancelled";
  return termination.error ? text + ": " + textOf(termination.error) : text;
}

/// What a sequence of a certain element gives next: its text, "end", or "error: " and the error's text.
template <typename Iterator>
Async<std::string> nextText(Iterator* iterator) {
  try {
    auto element = co_await iterator->next();
    co_return element ? textOf(std::move(*element)) : "end";
  } catch (const std::exception& error) {
    co_return std::string("error: ") + error.what();
  }
}

/// One task that calls an iterator's `next()` once. It is cancelled and waited for at the end of the scope.
template <typename Iterator>
class Request {
 public:
  explicit Request(Iterator iterator)
      : state_(std::make_shared<State>(std::move(iterator))),
        task_(start([state = state_]() -> Async<void> { state->answer = co_await nextText(&state->iterator); })) {}
  Request(const Request&) = delete;
  Request& operator=(const Request&) = delete;
  ~Request() {
    task_.cancel();
    settle();
  }

  /// What it got so far, without running any task.
  [[nodiscard]] std::string answerSoFar() const { return state_->answer; }
  /// What it gets once all is settled; "waiting" if it waits.
  [[nodiscard]] std::string answer() const {
    settle();
    return state_->answer;
  }
  void cancel() { task_.cancel(); }

 private:
  struct State {
    explicit State(Iterator iterator) : iterator(std::move(iterator)) {}
    Iterator iterator;
    std::string answer = "waiting";
  };

  std::shared_ptr<State> state_;
  Task<> task_;
};

/// Calls `next()` once, in a task of its own, on an iterator that stays.
template <typename Iterator>
std::string answerOf(Iterator& iterator) {
  std::string answer = "waiting";
  const auto task = start([&]() -> Async<void> { answer = co_await nextText(&iterator); });
  settle();
  std::string result = answer;
  task.cancel();  // Whoever still waits must not outlive this call.
  settle();
  return result;
}

/// Calls `next()` until the end, an error, or a wait: the answers with spaces between them.
template <typename Iterator>
std::string answersOf(Iterator& iterator) {
  std::string answers = answerOf(iterator);
  for (std::string last = answers; last != "end" && last != "waiting" && !last.starts_with("error");) {
    last = answerOf(iterator);
    answers += " " + last;
  }
  return answers;
}

/// A stream of these elements, which has ended.
template <typename Element = int>
AsyncStream<Element> streamOf(std::vector<Element> elements) {
  return AsyncStream<Element>([&](auto continuation) {
    for (auto& element : elements) continuation.yield(std::move(element));
    continuation.finish();
  });
}

/// A stream of these elements, which has failed with a `std::runtime_error` of this text.
inline AsyncThrowingStream<int> failingStreamOf(const std::vector<int>& elements, const char* error) {
  return AsyncThrowingStream<int>([&](auto continuation) {
    for (const int element : elements) continuation.yield(element);
    continuation.finish(std::runtime_error(error));
  });
}

}  // namespace Tessaly::Tests
