// SPDX-License-Identifier: MIT
#include <fmt/chrono.h>

#include <chrono>
#include <ctime>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "Harness.hpp"
#include "Tessaly/Platform/Foundation/Bundle.hpp"
#include "Tessaly/Platform/Logging/LogBackend.hpp"
#include "Tessaly/Platform/Logging/Logger.hpp"
#include "Tessaly/Platform/Logging/OSLogStore.hpp"
#include "Tessaly/Platform/Logging/ProcessLogStore.hpp"
#include "Tessaly/Platform/Tasks/SyncWait.hpp"
#include "Tessaly/SystemServices/ExportService.hpp"

namespace Tessaly::Benchmarks {
namespace {

using ExportService::Table;

constexpr std::size_t rows = 100'000;
constexpr std::size_t columns = 4;
constexpr std::int64_t records = 1'000'000;
constexpr const char* identifier = "org.example.bench";

std::shared_ptr<const Table> table(std::size_t cellLength) {
  auto result = std::make_shared<Table>(rows);
  for (std::size_t row = 0; row < rows; ++row) {
    for (std::size_t column = 0; column < columns; ++column) {
      (*result)[row].push_back(std::string(cellLength, static_cast<char>('a' + (row + column) % 26)));
    }
  }
  return result;
}

/// What one writes by hand: the same text, but that nobody looks whether it is UTF-8.
std::string loop(const Table& table, char separator) {
  std::size_t room = 0;
  for (const auto& row : table) {
    for (const auto& cell : row) room += cell.size() + 1;
  }
  std::string text;
  text.reserve(room);
  for (std::size_t row = 0; row < table.size(); ++row) {
    for (std::size_t column = 0; column < table[row].size(); ++column) {
      const std::string& cell = table[row][column];
      if (cell.find(separator) == std::string::npos) {
        text += cell;
      } else {
        for (const char character : cell) {
          if (character == separator) text += '\\';
          text += character;
        }
      }
      if (column + 1 < table[row].size()) text += separator;
    }
    if (row + 1 < table.size()) text += '\n';
  }
  return text;
}

void addTable(Facility& facility, const char* operation, std::size_t cellLength) {
  facility.row(operation, rows)
      .ours([cellLength] { return [cells = table(cellLength)] { return ExportService::csv(*cells, ";"); }; })
      .peer("a loop over std::string",
            [cellLength] { return [cells = table(cellLength)] { return loop(*cells, ';'); }; });
}

/// Without the journal, which a benchmark should not fill, and with room for a million records.
class LargeStore final : public LogBackend {
 public:
  void write(const LogRecord& record) noexcept override { store_.append(record); }
  const ProcessLogStore* store() const noexcept override { return &store_; }

 private:
  ProcessLogStore store_{std::size_t{512} << 20};
};

void fillLog() {
  static const bool isFull = [] {
    static const LogBackendInstallation installation(std::make_shared<LargeStore>());
    const Logger logger(identifier, "Bench");
    for (std::int64_t i = 0; i < records; ++i) logger.notice("Cannot write %{public}s: %d", "/home/user/table.csv", i);
    if (static_cast<std::int64_t>(OSLogStore::currentProcess().entries().size()) < records) {
      throw std::runtime_error("The store does not hold a million records");
    }
    return true;
  }();
  static_cast<void>(isFull);
}

/// The same records, read in the same way, with dates of one locale by fmt.
std::string exportByHand() {
  const auto entries = OSLogStore::currentProcess().entries();
  std::string text;
  for (const LogEntry& entry : entries) {
    const std::time_t second = std::chrono::duration_cast<std::chrono::seconds>(entry.date.time_since_epoch()).count();
    std::tm local{};
    ::localtime_r(&second, &local);
    fmt::format_to(std::back_inserter(text), "{:%m/%d/%Y, %I:%M:%S %p};Info;{};{}\n", local, entry.category(),
                   entry.composedMessage);
  }
  return text;
}

const Facility exports("Export", [](Facility& facility) {
  // Before anybody asks for it.
  Bundle::setMain({.identifier = identifier});
  addTable(facility, "csv, a row of four cells of 8 characters", 8);
  addTable(facility, "csv, a row of four cells of 24 characters", 24);
  addTable(facility, "csv, a row of four cells of 200 characters", 200);
  facility.row("a million records of the log, each", records)
      .ours([] {
        fillLog();
        return [] { return syncWait([] { return ExportService::Logs::extractLastLogsToCSVData(86'400); }); };
      })
      .peer("fmt over the same records", [] {
        fillLog();
        return [] { return exportByHand(); };
      });
});

}  // namespace
}  // namespace Tessaly::Benchmarks
