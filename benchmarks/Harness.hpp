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

/// One operation, ours beside what a user would pick instead.
///
/// Each side is a closure that performs the row's `operationsPerCall` operations. What it returns is kept from the
/// optimiser. A closure that returns a closure is a set-up: it is called before every repetition, untimed, and what it
/// returned is timed and then destroyed, untimed too. If the closure that is timed has a member `betweenCalls()`, that
/// is called after each call, untimed; the clock is stopped and started for it, so a call should take 50 us or more.
///
/// Every side must do the same work: whatever one of them stores, allocates, wakes or hands back, the others do as
/// well.
///
/// Operations that take only nanoseconds are given as lambdas (they are inlined into the timed loop) or in batches;
/// a `std::function` costs two nanoseconds a call.
class Row {
 public:
  /// Times one closure for as long as Google Benchmark asks.
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
  /// The time of one operation that ours must not exceed.
  Row& bar(double nanoseconds) {
    bar_ = nanoseconds;
    return *this;
  }
  /// The peer than which ours must not be slower.
  Row& notSlowerThan(std::string peer) {
    peerAsBar_ = std::move(peer);
    return *this;
  }

  /// Counts the processor time of the timing thread instead of wall time: for what runs on that thread alone, and so
  /// costs the same however busy the machine is.
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
    // The address escapes, so that whatever the closure holds counts as seen and changed by others at every step.
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

/// The rows of one facility. A benchmark file defines one at namespace scope; its function runs when the program has
/// started.
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

  /// Adds a row. The reference stays good as long as the facility.
  Row& row(std::string operation, std::int64_t operationsPerCall = 1) {
    return rows_.emplace_back(name_, std::move(operation), operationsPerCall);
  }

 private:
  friend std::vector<const Row*> declaredRows();

  std::string name_;
  void (*declareRows_)(Facility&);
  std::deque<Row> rows_;
};

/// The rows of all facilities, ordered by facility, each facility's in the order of their declaration. Called once.
/// Throws `std::logic_error` naming a row that lacks a side.
std::vector<const Row*> declaredRows();

struct Options {
  /// Which rows: a regular expression that is looked for in "<facility>/<operation>".
  std::string filter;
  int repetitions = 25;
  double secondsPerRepetition = 0.01;
  /// Which of the repetitions' figures counts: 0.5 is the median. A lower one, 0.1 say, sees through a machine that has
  /// other things to do.
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

  /// The time that ours must not exceed, if any: the row's own, or its peer's as measured beside it.
  [[nodiscard]] std::optional<double> bar() const;
};

/// Times the row's sides interleaved: ours, its peers, ours, its peers, and so on, once each a round. The figures are
/// medians (or the chosen quantile) over all rounds, in wall time of one operation unless the row says otherwise.
Measurement measure(const Row& row, const Options& options);

enum class TableStyle { text, markdown };

/// One line for each pair of ours and a peer.
std::string table(const std::vector<Measurement>& measurements, TableStyle style);

/// The same as a JSON array.
std::string json(const std::vector<Measurement>& measurements);

}  // namespace Tessaly::Benchmarks
