// SPDX-License-Identifier: MIT
#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace Tessaly::Benchmarks {

/// One operation of ours, beside those that a user would pick instead.
///
/// Each side is a closure that performs the row's `operationsPerCall` operations. The optimiser cannot remove its
/// result. A closure that returns a closure is a set-up. It is called before every repetition, and its result is timed
/// and then destroyed; call and destruction are not timed. If the timed closure has a member `betweenCalls()`, it is
/// called after each call. The clock stops meanwhile, so a call should take at least 50 µs.
///
/// Every side must do the same work: all of them store, allocate, wake and return the same.
///
/// Operations of a few nanoseconds are lambdas, which are inlined into the timed loop, or batches. A `std::function`
/// costs 2 ns a call.
class Row {
 public:
  /// Times one closure for the time that Google Benchmark requests.
  using Side = std::function<void(benchmark::State&)>;
  struct Peer {
    std::string name;
    Side side;
  };

  Row(std::string facility, std::string operation, std::int64_t operationsPerCall)
      : facility_(std::move(facility)), operation_(std::move(operation)), operationsPerCall_(operationsPerCall) {}

  template <typename Closure>
  Row& ours(Closure closure) {
    ours_ = sideOf(std::move(closure));
    return *this;
  }
  template <typename Closure>
  Row& peer(std::string name, Closure closure) {
    peers_.push_back({std::move(name), sideOf(std::move(closure))});
    return *this;
  }
  /// The maximum time of our side for one operation.
  Row& bar(double nanoseconds) {
    bar_ = nanoseconds;
    return *this;
  }
  /// The peer that ours must not exceed.
  Row& notSlowerThan(std::string peer) {
    peerAsBar_ = std::move(peer);
    return *this;
  }

  /// Counts the processor time of the timing thread instead of wall time. Rows on a single thread use it, because it
  /// does not depend on the load of the machine.
  Row& inProcessorTime() {
    isInProcessorTime_ = true;
    return *this;
  }

  [[nodiscard]] const std::string& facility() const { return facility_; }
  [[nodiscard]] const std::string& operation() const { return operation_; }
  [[nodiscard]] std::int64_t operationsPerCall() const { return operationsPerCall_; }
  [[nodiscard]] const Side& oursSide() const { return ours_; }
  [[nodiscard]] const std::vector<Peer>& peers() const { return peers_; }
  [[nodiscard]] std::optional<double> bar() const { return bar_; }
  [[nodiscard]] const std::string& peerAsBar() const { return peerAsBar_; }
  [[nodiscard]] bool isInProcessorTime() const { return isInProcessorTime_; }

 private:
  template <typename Closure>
  static void time(benchmark::State& state, Closure& closure) {
    // The address escapes. So everything that the closure holds counts as read and changed by others at every step.
    Closure* escaped = &closure;
    benchmark::DoNotOptimize(escaped);
    for (auto _ : state) {
      if constexpr (std::is_void_v<std::invoke_result_t<Closure&>>) {
        (*escaped)();
        benchmark::ClobberMemory();
      } else {
        auto result = (*escaped)();
        benchmark::DoNotOptimize(result);
      }
      if constexpr (requires { escaped->betweenCalls(); }) {
        state.PauseTiming();
        escaped->betweenCalls();
        state.ResumeTiming();
      }
    }
  }

  template <typename Closure>
  static Side sideOf(Closure closure) {
    return [closure = std::move(closure)](benchmark::State& state) mutable {
      if constexpr (std::is_invocable_v<std::invoke_result_t<Closure&>>) {
        auto prepared = closure();
        time(state, prepared);
      } else {
        time(state, closure);
      }
    };
  }

  std::string facility_;
  std::string operation_;
  std::int64_t operationsPerCall_;
  Side ours_;
  std::vector<Peer> peers_;
  std::optional<double> bar_;
  std::string peerAsBar_;
  bool isInProcessorTime_ = false;
};

/// The rows of one facility. A benchmark file defines one at namespace scope. Its function runs after the start of the
/// program.
///
///     const Facility mutex("Mutex", [](Facility& facility) {
///       facility.row("withLock, free")
///           .ours([guarded = std::make_shared<Mutex<int>>(0)] { return guarded->withLock(increment); })
///           .peer("std::mutex", [] { return lockAndIncrement(); })
///           .notSlowerThan("std::mutex");
///     });
class Facility {
 public:
  Facility(std::string name, void (*declareRows)(Facility&));
  Facility(const Facility&) = delete;
  Facility& operator=(const Facility&) = delete;

  /// Adds a row. The reference is valid as long as the facility.
  Row& row(std::string operation, std::int64_t operationsPerCall = 1) {
    return rows_.emplace_back(name_, std::move(operation), operationsPerCall);
  }

 private:
  friend std::vector<const Row*> declaredRows();

  std::string name_;
  void (*declareRows_)(Facility&);
  std::deque<Row> rows_;
};

/// The rows of all facilities, ordered by facility and then by declaration. Called once. Throws `std::logic_error` with
/// the name of a row that lacks a side.
std::vector<const Row*> declaredRows();

struct Options {
  /// The chosen rows: a regular expression for "<facility>/<operation>".
  std::string filter;
  int repetitions = 25;
  double secondsPerRepetition = 0.01;
  /// The quantile of the repetitions that counts. 0.5 is the median. A lower one, such as 0.1, ignores the load of a
  /// busy machine.
  double quantile = 0.5;
};

struct PeerMeasurement {
  std::string name;
  double nanoseconds;
};
struct Measurement {
  const Row* row;
  double oursNanoseconds;
  std::vector<PeerMeasurement> peers;

  /// The maximum time of our side, if any: the bar of the row, or the measured time of its peer.
  [[nodiscard]] std::optional<double> bar() const;
};

/// Times the sides of the row interleaved: ours, its peers, ours, its peers, once each in a round. The figures are
/// medians (or the chosen quantile) over all rounds. They are wall times of one operation unless the row says
/// otherwise.
Measurement measure(const Row& row, const Options& options);

enum class TableStyle { text, markdown };

/// One line for each pair of ours and a peer.
std::string table(const std::vector<Measurement>& measurements, TableStyle style);

/// The measurements as a JSON array.
std::string json(const std::vector<Measurement>& measurements);

}  // namespace Tessaly::Benchmarks
