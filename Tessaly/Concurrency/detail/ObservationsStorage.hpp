// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <utility>

#include "Tessaly/Concurrency/Mutex.hpp"
#include "Tessaly/Core/Observation/ObservationTracking.hpp"
#include "Tessaly/Core/Observation/detail/AccessList.hpp"
#include "Tessaly/Core/Tasks/Cancellation.hpp"
#include "Tessaly/Core/Tasks/CheckedContinuation.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"

namespace Tessaly::inline v1::detail {

/// The state of an iterator of `Observations`: the task that waits for the next change, and the handle that resumes
/// this task.
///
/// A round is one wait for a change, and has a number. The task and the change handler of a round know the round's
/// number. So a late handler cannot end the next round, and a task that suspends late cannot wait in the next round. If
/// the change precedes the task's suspension, `Cell` records the change, and the task continues at once.
///
/// Thread contract: thread-safe.
class ObservationsStorage : public std::enable_shared_from_this<ObservationsStorage> {
 public:
  [[nodiscard]] static std::shared_ptr<ObservationsStorage> make() { return std::make_shared<ObservationsStorage>(); }

  ObservationsStorage() = default;
  ObservationsStorage(const ObservationsStorage&) = delete;
  ObservationsStorage& operator=(const ObservationsStorage&) = delete;
  ~ObservationsStorage() {
    const Waiting waiting = task_.withLock([](Waiting& waiting) { return std::exchange(waiting, {}); });
    if (waiting.tracking) waiting.tracking->cancel();
    if (waiting.task) waiting.task->cancel();
  }

  /// The task that waits for a change, after which the next element can be made. Absent before the first element and
  /// after the change.
  [[nodiscard]] std::optional<Task<>> waitingTask() {
    return task_.withLock([](const Waiting& waiting) { return waiting.task; });
  }

  /// Tracks the points in the list until one of them changes. Starts a task that waits for the change, unless a task is
  /// waiting already.
  void follow(AccessList& accesses) {
    const std::uint64_t round = task_.withLock([&](Waiting& waiting) {
      // Another consumer of the same iterator may have begun the round, or a cancellation may have ended the previous
      // round.
      if (!waiting.task || cell_->isOver()) {
        waiting.round = cell_->beginRound();
        waiting.task = Task<>::detached([cell = cell_, round = waiting.round] { return wait(cell, round); });
      }
      return waiting.round;
    });
    auto tracking = installCancellableTracking(accesses, [cell = cell_, storage = weak_from_this(), round] {
      cell->endRound(round);
      if (const auto self = storage.lock()) self->clearTask(round);
    });
    task_.withLock([&](Waiting& waiting) { std::swap(waiting.tracking, tracking); });
    if (tracking) tracking->cancel();
  }

 private:
  /// The handle that resumes the waiting task, and whether the wait is over.
  class Cell {
   public:
    Cell() = default;
    Cell(const Cell&) = delete;
    Cell& operator=(const Cell&) = delete;
    ~Cell() {
      contents_.withLock([](Contents& contents) { contents = {}; });
    }

    [[nodiscard]] bool isOver() {
      return contents_.withLock([](const Contents& contents) { return contents.isOver; });
    }
    /// Begins the next round and returns its number. The previous round must be over.
    [[nodiscard]] std::uint64_t beginRound() {
      return contents_.withLock([](Contents& contents) {
        contents.isOver = false;
        return ++contents.round;
      });
    }
    void endRound(std::uint64_t round) {
      std::optional<CheckedContinuation<>> handle;
      contents_.withLock([&](Contents& contents) {
        if (contents.round != round) return;
        contents.isOver = true;
        handle = std::exchange(contents.handle, std::nullopt);
      });
      if (handle) handle->resume();
    }
    void keep(CheckedContinuation<> handle, std::uint64_t round) {
      const bool isKept = contents_.withLock([&](Contents& contents) {
        if (contents.round != round || contents.isOver) return false;
        contents.handle = handle;
        return true;
      });
      if (!isKept) handle.resume();
    }

   private:
    struct Contents {
      std::uint64_t round = 0;
      bool isOver = false;
      std::optional<CheckedContinuation<>> handle;
    };
    Mutex<Contents> contents_{Contents{}};
  };

  struct Waiting {
    std::optional<Task<>> task;
    std::uint64_t round = 0;
    Retained<Tracking> tracking;
  };

  static Async<void> wait(std::shared_ptr<Cell> cell, std::uint64_t round) {
    co_await withTaskCancellationHandler(
        [&] {
          return withCheckedContinuation([&](CheckedContinuation<> handle) { cell->keep(std::move(handle), round); },
                                         "Observations.next()");
        },
        [&] { cell->endRound(round); });
  }

  void clearTask(std::uint64_t round) {
    std::optional<Task<>> task;
    task_.withLock([&](Waiting& waiting) {
      if (waiting.round == round) task = std::exchange(waiting.task, std::nullopt);
    });
  }

  Mutex<Waiting> task_{Waiting{}};
  const std::shared_ptr<Cell> cell_ = std::make_shared<Cell>();
};

}  // namespace Tessaly::inline v1::detail
