// SPDX-License-Identifier: MIT
#include <spdlog/logger.h>
#include <spdlog/sinks/ringbuffer_sink.h>

#include <cstdint>
#include <memory>
#include <string>

#include "Harness.hpp"
#include "Tessaly/Core/Logging/LogBackend.hpp"
#include "Tessaly/Core/Logging/Logger.hpp"
#include "Tessaly/Core/Logging/ProcessLogStore.hpp"
#include "TwoThreads.hpp"

// Both sides take the time, compose a text and a number, and record the thread and the place of the call. Both keep
// about the same number of recent records in memory. A backend is installed only while its row runs, because rows of
// other facilities install theirs.

namespace Tessaly::Benchmarks {
namespace {

constexpr int contendedCalls = 5'000;
constexpr std::size_t keptRecords = 5'000;

/// A backend without the journal, which a benchmark should not fill.
class StoreBackend final : public LogBackend {
 public:
  void write(const LogRecord& record) noexcept override { store_.append(record); }
  const ProcessLogStore* store() const noexcept override { return &store_; }

 private:
  ProcessLogStore store_;
};

struct Ours {
  static std::shared_ptr<const void> installed() {
    static const auto backend = std::make_shared<StoreBackend>();
    return std::make_shared<LogBackendInstallation>(backend);
  }
  void error(std::int64_t number) { logger.error("Cannot write %{public}s: %d", fileName, number); }
  void debug(std::int64_t number) { logger.debug("Cannot write %{public}s: %d", fileName, number); }

  Logger logger{"app.identifier.Export", "Exporter"};
  std::string fileName = "/home/user/Documents/table.csv";
};

struct Spdlog {
  Spdlog() : logger("app.identifier.Export", std::make_shared<spdlog::sinks::ringbuffer_sink_mt>(keptRecords)) {
    logger.set_level(spdlog::level::err);
  }
  static std::shared_ptr<const void> installed() { return nullptr; }
  void error(std::int64_t number) {
    logger.log({__FILE__, __LINE__, __func__}, spdlog::level::err, "Cannot write {}: {}", fileName, number);
  }
  void debug(std::int64_t number) {
    logger.log({__FILE__, __LINE__, __func__}, spdlog::level::debug, "Cannot write {}: {}", fileName, number);
  }

  spdlog::logger logger;
  std::string fileName = "/home/user/Documents/table.csv";
};

template <typename Log>
auto disabled() {
  return [log = std::make_shared<Log>()] {
    return [log, backend = Log::installed(), number = std::int64_t(0)] { log->debug(number); };
  };
}

template <typename Log>
auto enabled() {
  return [log = std::make_shared<Log>()] {
    return [log, backend = Log::installed(), number = std::int64_t(0)]() mutable { log->error(++number); };
  };
}

/// One operation is one call. The figure is the time between two calls of either thread.
template <typename Log>
auto contended() {
  return [log = std::make_shared<Log>()] {
    return [log, backend = Log::installed(), threads = std::make_shared<TwoThreads>()] {
      threads->run([&] {
        for (int number = 0; number < contendedCalls; ++number) log->error(number);
      });
    };
  };
}

const Facility logging("Logging", [](Facility& facility) {
  facility.row("call, disabled").ours(disabled<Ours>()).peer("spdlog", disabled<Spdlog>()).bar(1);
  facility.row("call, kept in memory").ours(enabled<Ours>()).peer("spdlog ring buffer", enabled<Spdlog>()).bar(150);
  facility.row("call, kept in memory, 2 threads", 2 * contendedCalls)
      .ours(contended<Ours>())
      .peer("spdlog ring buffer", contended<Spdlog>());
});

}  // namespace
}  // namespace Tessaly::Benchmarks
