// SPDX-License-Identifier: MIT
#include "Tessaly/SystemServices/ExportService.hpp"

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <optional>
#include <utility>

#include "Tessaly/Platform/Foundation/Bundle.hpp"
#include "Tessaly/Platform/Foundation/Date.hpp"
#include "Tessaly/Platform/Foundation/detail/HugePages.hpp"
#include "Tessaly/Platform/Logging/OSLogStore.hpp"
#include "Tessaly/Platform/Tasks/Cancellation.hpp"
#include "Tessaly/Platform/Tasks/Task.hpp"
#include "Tessaly/Platform/Text/FormatStyle.hpp"
#include "Tessaly/Platform/Text/UTF8.hpp"

namespace Tessaly::inline v1::ExportService {
namespace {

constexpr double oneHour = 3600;

std::size_t roomFor(const Table& table, std::size_t perCell, std::size_t perRow) noexcept {
  std::size_t room = 0;
  for (const auto& row : table) {
    room += perRow;
    for (const std::string& cell : row) room += cell.size() + perCell;
  }
  return room;
}

/// Whether a text holds nothing beyond ASCII.
bool isASCII(std::string_view text) noexcept {
  constexpr std::uint64_t highBits = 0x8080808080808080;
  std::uint64_t seen = 0;
  std::size_t offset = 0;
  for (; offset + sizeof(seen) <= text.size(); offset += sizeof(seen)) {
    std::uint64_t eight = 0;
    std::memcpy(&eight, text.data() + offset, sizeof(eight));
    seen |= eight;
  }
  for (; offset < text.size(); ++offset) seen |= static_cast<std::uint8_t>(text[offset]);
  return (seen & highBits) == 0;
}

/// Puts a text together. Short pieces are gathered in a block that stays in the processor's cache, and are looked at
/// there, so that the text goes through the memory only once.
class TextWriter {
 public:
  explicit TextWriter(std::size_t room) {
    bytes_.reserve(room);
    ::Tessaly::detail::adviseHugePages(bytes_.data(), room);
  }

  void append(std::string_view text) {
    if (text.size() > block_.size() - count_) {
      flush();
      if (text.size() > block_.size()) return take(text);
    }
    copy(text, block_.data() + count_);
    count_ += text.size();
  }
  void append(char character) {
    if (count_ == block_.size()) flush();
    block_[count_++] = character;
  }

  /// The text. Throws `ExportError` if it is not UTF-8.
  Data finish() {
    flush();
    Data data(std::move(bytes_));
    if (!Text::isWellFormed(data.text().substr(std::min(asciiCount_, data.size())))) {
      throw ExportError(std::string("Unable to build CSV 'Data' from ").append(data.text()));
    }
    return data;
  }

 private:
  /// As most cells are short, their copies are not worth a call.
  static void copy(std::string_view text, char* to) noexcept {
    const std::size_t size = text.size();
    const auto copyEnds = [&](std::size_t half) {
      char ends[16];
      std::memcpy(ends, text.data(), half);
      std::memcpy(ends + half, text.data() + size - half, half);
      std::memcpy(to, ends, half);
      std::memcpy(to + size - half, ends + half, half);
    };
    if (size > 16) {
      std::memcpy(to, text.data(), size);
    } else if (size >= 8) {
      copyEnds(8);
    } else if (size >= 4) {
      copyEnds(4);
    } else {
      for (std::size_t i = 0; i < size; ++i) to[i] = text[i];
    }
  }

  void flush() {
    take({block_.data(), count_});
    count_ = 0;
  }
  void take(std::string_view text) {
    if (asciiCount_ == bytes_.size() && isASCII(text)) asciiCount_ += text.size();
    bytes_.insert(bytes_.end(), text.begin(), text.end());
  }

  Data::Bytes bytes_;
  /// How much at the beginning is ASCII for certain.
  std::size_t asciiCount_ = 0;
  std::size_t count_ = 0;
  std::array<char, std::size_t{16} * 1024> block_;
};

void appendEscaped(TextWriter& writer, std::string_view cell, std::string_view separator) {
  if (!separator.empty()) {
    for (std::size_t found = 0; (found = cell.find(separator)) != std::string_view::npos;) {
      writer.append(cell.substr(0, found));
      writer.append('\\');
      writer.append(separator);
      cell.remove_prefix(found + separator.size());
    }
  }
  writer.append(cell);
}

struct Records {
  std::vector<LogEntry> entries;
  std::string identifier;
  LogTime start;

  /// Calls the body for each record that counts, with its date as text.
  template <typename Body>
  void forEach(Body body) const {
    const auto style = Date::FormatStyle::numericDateStandardTime();
    std::string date;
    std::optional<std::chrono::sys_seconds> written;
    for (const LogEntry& entry : entries) {
      if (entry.signpost || !entry.subsystem().starts_with(identifier)) continue;
      Task<>::checkCancellation();
      if (entry.date <= start) continue;
      // Many records are of one second, which is as much as is written.
      if (const auto second = std::chrono::floor<std::chrono::seconds>(entry.date); second != written) {
        date = style.format(Date::since1970(static_cast<double>(second.time_since_epoch().count())));
        written = second;
      }
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
  // A caller that is cancelled already has a task that is so before it begins: the handler might come after its end.
  const Task<Result> task = Task<Result>::detached(
      {.priority = TaskPriority::background}, [work = std::move(work), isCancelled = Task<>::isCurrentCancelled()] {
        if (isCancelled) ::Tessaly::detail::threadState.task->cancel();
        return work();
      });
  co_return co_await withTaskCancellationHandler([&task] { return task.value(); }, [&task] { task.cancel(); });
}

}  // namespace

Data csv(const Table& from, std::string_view separator, const std::function<void(double)>& onProgress) {
  TextWriter writer(roomFor(from, separator.size(), 1));
  const auto rows = static_cast<double>(from.size());
  for (std::size_t row = 0; row < from.size(); ++row) {
    const auto& cells = from[row];
    for (std::size_t cell = 0; cell < cells.size(); ++cell) {
      if (onProgress) {
        const double part = static_cast<double>(cell + 1) / static_cast<double>(cells.size());
        onProgress((part + static_cast<double>(row)) / rows);
      }
      appendEscaped(writer, cells[cell], separator);
      if (cell + 1 == cells.size()) continue;
      if (separator.size() == 1) {
        writer.append(separator.front());
      } else {
        writer.append(separator);
      }
    }
    if (row + 1 < from.size()) writer.append('\n');
  }
  return writer.finish();
}

Data rfc4180CSV(const Table& from, char separator) {
  constexpr std::string_view lineEnd = "\r\n";
  const std::string special{separator, '"', '\r', '\n'};
  TextWriter writer(roomFor(from, 1, lineEnd.size()));
  for (const auto& row : from) {
    for (std::size_t index = 0; index < row.size(); ++index) {
      if (index > 0) writer.append(separator);
      std::string_view cell = row[index];
      const bool isOnlyEmptyCell = row.size() == 1 && cell.empty();
      if (!isOnlyEmptyCell && cell.find_first_of(special) == std::string_view::npos) {
        writer.append(cell);
        continue;
      }
      writer.append('"');
      for (std::size_t quote = 0; (quote = cell.find('"')) != std::string_view::npos; cell.remove_prefix(quote + 1)) {
        writer.append(cell.substr(0, quote + 1));
        writer.append('"');
      }
      writer.append(cell);
      writer.append('"');
    }
    writer.append(lineEnd);
  }
  return writer.finish();
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
