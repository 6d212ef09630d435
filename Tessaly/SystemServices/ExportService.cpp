// SPDX-License-Identifier: MIT
#include "Tessaly/SystemServices/ExportService.hpp"

#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <optional>
#include <utility>

#include "Tessaly/Platform/Foundation/Bundle.hpp"
#include "Tessaly/Platform/Foundation/Date.hpp"
#include "Tessaly/Platform/Logging/OSLogStore.hpp"
#include "Tessaly/Platform/Tasks/Cancellation.hpp"
#include "Tessaly/Platform/Tasks/Task.hpp"
#include "Tessaly/Platform/Text/UTF8.hpp"
#include "Tessaly/Platform/Text/detail/SkeletonDateFormat.hpp"

namespace Tessaly::inline v1::ExportService {
namespace {

/// Numeric date, standard time.
constexpr std::string_view dateAndTime = "yMdjmmss";
constexpr double oneHour = 3600;

std::size_t roomFor(const Table& table, std::size_t perCell, std::size_t perRow) noexcept {
  std::size_t room = 0;
  for (const auto& row : table) {
    room += perRow;
    for (const std::string& cell : row) room += cell.size() + perCell;
  }
  return room;
}

void append(Data::Bytes& bytes, std::string_view text) { bytes.insert(bytes.end(), text.begin(), text.end()); }

void appendEscaped(Data::Bytes& bytes, std::string_view cell, std::string_view separator) {
  if (!separator.empty()) {
    for (std::size_t found = 0; (found = cell.find(separator)) != std::string_view::npos;) {
      append(bytes, cell.substr(0, found));
      bytes.push_back('\\');
      append(bytes, separator);
      cell.remove_prefix(found + separator.size());
    }
  }
  append(bytes, cell);
}

bool isUTF8(std::string_view text) noexcept {
  constexpr std::uint64_t highBits = 0x8080808080808080;
  for (std::size_t offset = 0; offset < text.size();) {
    std::uint64_t eight = 0;
    while (offset + sizeof(eight) <= text.size()) {
      std::memcpy(&eight, text.data() + offset, sizeof(eight));
      if ((eight & highBits) != 0) break;
      offset += sizeof(eight);
    }
    if (offset == text.size()) break;
    const auto scalar = Text::decodeScalar(text, offset);
    if (!scalar.isWellFormed) return false;
    offset += scalar.length;
  }
  return true;
}

Data checked(Data::Bytes bytes) {
  Data data(std::move(bytes));
  if (!isUTF8(data.text())) {
    throw ExportError(std::string("Unable to build CSV 'Data' from ").append(data.text()));
  }
  return data;
}

struct Records {
  std::vector<LogEntry> entries;
  std::string identifier;
  LogTime start;

  /// Calls the body for each record that counts, with its date as text.
  template <typename Body>
  void forEach(Body body) const {
    const Tessaly::detail::SkeletonDateFormat format(dateAndTime);
    std::string date;
    for (const LogEntry& entry : entries) {
      if (entry.signpost || !entry.subsystem().starts_with(identifier)) continue;
      Task<>::checkCancellation();
      if (entry.date <= start) continue;
      date.clear();
      format.append(date, std::chrono::duration<double>(entry.date.time_since_epoch()).count());
      body(date, entry);
    }
  }
};

/// So many seconds ago, as far as records can be dated; nothing when that is no moment.
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

/// Runs the work in a task of background priority, which is cancelled with the caller.
template <typename Result>
Async<Result> inBackground(std::function<Result()> work) {
  const Task<Result> task = Task<Result>::detached({.priority = TaskPriority::background}, std::move(work));
  co_return co_await withTaskCancellationHandler([&task] { return task.value(); }, [&task] { task.cancel(); });
}

}  // namespace

Data csv(const Table& from, std::string_view separator, const std::function<void(double)>& onProgress) {
  Data::Bytes bytes;
  bytes.reserve(roomFor(from, separator.size(), 1));
  const auto rows = static_cast<double>(from.size());
  for (std::size_t row = 0; row < from.size(); ++row) {
    const auto& cells = from[row];
    for (std::size_t cell = 0; cell < cells.size(); ++cell) {
      if (onProgress) {
        const double part = static_cast<double>(cell + 1) / static_cast<double>(cells.size());
        onProgress((part + static_cast<double>(row)) / rows);
      }
      appendEscaped(bytes, cells[cell], separator);
      if (cell + 1 < cells.size()) append(bytes, separator);
    }
    if (row + 1 < from.size()) bytes.push_back('\n');
  }
  return checked(std::move(bytes));
}

Data rfc4180CSV(const Table& from, char separator) {
  constexpr std::string_view lineEnd = "\r\n";
  const std::string special{separator, '"', '\r', '\n'};
  Data::Bytes bytes;
  bytes.reserve(roomFor(from, 1, lineEnd.size()));
  for (const auto& row : from) {
    for (std::size_t index = 0; index < row.size(); ++index) {
      if (index > 0) bytes.push_back(static_cast<std::uint8_t>(separator));
      std::string_view cell = row[index];
      const bool isOnlyEmptyCell = row.size() == 1 && cell.empty();
      if (!isOnlyEmptyCell && cell.find_first_of(special) == std::string_view::npos) {
        append(bytes, cell);
        continue;
      }
      bytes.push_back('"');
      for (std::size_t quote = 0; (quote = cell.find('"')) != std::string_view::npos; cell.remove_prefix(quote + 1)) {
        append(bytes, cell.substr(0, quote + 1));
        bytes.push_back('"');
      }
      append(bytes, cell);
      bytes.push_back('"');
    }
    append(bytes, lineEnd);
  }
  return checked(std::move(bytes));
}

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
