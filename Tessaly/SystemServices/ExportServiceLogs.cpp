// SPDX-License-Identifier: MIT
#include <chrono>
#include <cmath>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Tessaly/Core/Formatters/FormatStyle.hpp"
#include "Tessaly/Core/Foundation/Bundle.hpp"
#include "Tessaly/Core/Foundation/Date.hpp"
#include "Tessaly/Core/Logging/OSLogStore.hpp"
#include "Tessaly/Core/Tasks/Cancellation.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"
#include "Tessaly/SystemServices/ExportService.hpp"

namespace Tessaly::inline v1::ExportService {
namespace {

constexpr double oneHour = 3600;

struct Records {
  std::vector<LogEntry> entries;
  std::string identifier;
  LogTime start;

  /// Calls the body for each record of the application after `start`, with the record's date as text.
  template <typename Body>
  void forEach(Body body) const {
    const auto style = Date::FormatStyle::numericDateStandardTime();
    std::string date;
    std::optional<std::chrono::sys_seconds> written;
    for (const LogEntry& entry : entries) {
      if (entry.signpost || !entry.subsystem().starts_with(identifier)) continue;
      Task<>::checkCancellation();
      if (entry.date <= start) continue;
      // Many records have the same second, and the text has no smaller unit.
      if (const auto second = std::chrono::floor<std::chrono::seconds>(entry.date); second != written) {
        date = style.format(Date::since1970(static_cast<double>(second.time_since_epoch().count())));
        written = second;
      }
      body(date, entry);
    }
  }
};

/// The time `seconds` ago, within the range of record dates. Absent for an invalid number.
std::optional<LogTime> momentAgo(double seconds) noexcept {
  const double moment = (Date::now() - seconds).timeIntervalSince1970();
  if (std::isnan(moment)) return std::nullopt;
  constexpr double limit = 9.2e9;
  if (moment <= -limit) return LogTime::min();
  if (moment >= limit) return LogTime::max();
  return LogTime(std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::duration<double>(moment)));
}

Records collect(double seconds) {
  const auto& identifier = Bundle::main().bundleIdentifier();
  if (!identifier) throw ExportError("Unable to get 'Bundle.main.bundleIdentifier'");
  try {
    const auto store = OSLogStore::currentProcess();
    const auto start = momentAgo(seconds);
    if (!start) return {};
    return {store.entries(*start), *identifier, *start};
  } catch (const LogStoreUnavailableError&) {
    throw ExportError("Unable to get the log store for the current process identifier");
  }
}

/// Runs the work in a task of background priority. The task is cancelled with the caller.
template <typename Result>
Async<Result> inBackground(std::function<Result()> work) {
  // If the caller is already cancelled, the task cancels itself before the work. The cancellation handler alone might
  // run after the task's end.
  const Task<Result> task = Task<Result>::detached(
      {.priority = TaskPriority::background}, [work = std::move(work), isCancelled = Task<>::isCurrentCancelled()] {
        if (isCancelled) ::Tessaly::detail::threadState.task->cancel();
        return work();
      });
  co_return co_await withTaskCancellationHandler([&task] { return task.value(); }, [&task] { task.cancel(); });
}

}  // namespace

namespace Logs {

Async<std::vector<std::string>> extractLastLogsToStrings(double forSeconds) {
  return inBackground<std::vector<std::string>>([forSeconds] {
    std::vector<std::string> lines;
    collect(forSeconds).forEach([&](const std::string& date, const LogEntry& entry) {
      lines.push_back("[" + date + "][" + entry.category() + "] " + entry.composedMessage);
    });
    return lines;
  });
}

Async<Data> extractLastLogsToCSVData(double forSeconds) {
  return inBackground<Data>([forSeconds] {
    Table table;
    collect(forSeconds).forEach([&](const std::string& date, const LogEntry& entry) {
      table.push_back({date, std::string(detail::levelText(static_cast<int>(entry.level()))), entry.category(),
                       entry.composedMessage});
    });
    return csv(table, ";");
  });
}

Async<Data> extractLastOneHourLogsToCSVData() { return extractLastLogsToCSVData(oneHour); }

}  // namespace Logs

std::string_view detail::levelText(int level) noexcept {
  switch (level) {
    case 0:
      return "❓Undefined";
    case 1:
      return "Debug";
    case 2:
    case 3:
      return "Info";
    case 4:
    case 5:
      return "❌ Error";
    default:
      return "❓Unhandled";
  }
}

}  // namespace Tessaly::inline v1::ExportService
