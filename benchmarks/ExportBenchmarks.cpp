// SPDX-License-Identifier: MIT
#include <fmt/chrono.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <ctime>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "Harness.hpp"
#include "Tessaly/Core/Foundation/Bundle.hpp"
#include "Tessaly/Core/Logging/LogBackend.hpp"
#include "Tessaly/Core/Logging/Logger.hpp"
#include "Tessaly/Core/Logging/OSLogStore.hpp"
#include "Tessaly/Core/Logging/ProcessLogStore.hpp"
#include "Tessaly/Core/Tasks/SyncWait.hpp"
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

/// Code that a user writes by hand: the same text without a check for UTF-8.
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

/// `loop` for the form of RFC 4180.
std::string standardLoop(const Table& table) {
  std::size_t room = 0;
  for (const auto& row : table) {
    for (const auto& cell : row) room += cell.size() + 1;
    ++room;
  }
  std::string text;
  text.reserve(room);
  for (const auto& row : table) {
    for (std::size_t column = 0; column < row.size(); ++column) {
      const std::string& cell = row[column];
      if (column > 0) text += ',';
      if (cell.find_first_of(",\"\r\n") == std::string::npos) {
        text += cell;
      } else {
        text += '"';
        for (const char character : cell) {
          if (character == '"') text += '"';
          text += character;
        }
        text += '"';
      }
    }
    text += "\r\n";
  }
  return text;
}

/// Python's writer, which is in C, in a process of its own with the same table. The figure includes the signal to
/// begin, about 50 µs.
class PythonWriter {
 public:
  PythonWriter(std::size_t cellLength, std::size_t expectedSize) : expectedSize_(expectedSize) {
    constexpr const char* program = R"(
import csv, io, os, sys
rows, columns, length = map(int, sys.argv[1:])
table = [[chr(97 + (row + column) % 26) * length for column in range(columns)] for row in range(rows)]
while os.read(0, 1):
    text = io.StringIO(newline='')
    csv.writer(text).writerows(table)
    os.write(0, len(text.getvalue().encode()).to_bytes(8, sys.byteorder))
)";
    std::array<int, 2> ends{};
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) throw std::runtime_error("No sockets");
    end_ = ends[0];
    std::vector<std::string> words{
        "python3", "-c", program, std::to_string(rows), std::to_string(columns), std::to_string(cellLength)};
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string& word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_adddup2(&actions, ends[1], 0);
    const int error = ::posix_spawnp(&process_, "python3", &actions, nullptr, arguments.data(), environ);
    ::posix_spawn_file_actions_destroy(&actions);
    ::close(ends[1]);
    if (error != 0) {
      ::close(end_);
      throw std::runtime_error("Cannot run python3");
    }
    write();
  }
  PythonWriter(const PythonWriter&) = delete;
  PythonWriter& operator=(const PythonWriter&) = delete;
  ~PythonWriter() {
    ::close(end_);
    ::waitpid(process_, nullptr, 0);
  }

  void write() const {
    std::uint64_t size = 0;
    if (::write(end_, "w", 1) != 1 || ::recv(end_, &size, sizeof(size), MSG_WAITALL) != ssize_t{sizeof(size)} ||
        size != expectedSize_) {
      throw std::runtime_error("Python does not write the same");
    }
  }

 private:
  std::size_t expectedSize_;
  int end_ = -1;
  pid_t process_ = -1;
};

void addTable(Facility& facility, const char* operation, std::size_t cellLength) {
  facility.row(operation, rows)
      .ours([cellLength] { return [cells = table(cellLength)] { return ExportService::csv(*cells, ";"); }; })
      .peer("a loop over std::string",
            [cellLength] { return [cells = table(cellLength)] { return loop(*cells, ';'); }; })
      .inProcessorTime();
}

void addStandardTable(Facility& facility, const char* operation, std::size_t cellLength) {
  facility.row(operation, rows)
      .ours([cellLength] { return [cells = table(cellLength)] { return ExportService::rfc4180CSV(*cells); }; })
      .peer("a loop over std::string",
            [cellLength] { return [cells = table(cellLength)] { return standardLoop(*cells); }; })
      .peer("Python's csv, in C", [cellLength] {
        // The writers are reused, because Python takes long to make its table.
        static std::map<std::size_t, std::unique_ptr<PythonWriter>> writers;
        auto& writer = writers[cellLength];
        if (writer == nullptr) {
          writer = std::make_unique<PythonWriter>(cellLength, ExportService::rfc4180CSV(*table(cellLength)).size());
        }
        return [&writer = *writer] { writer.write(); };
      });
}

/// A backend with room for one million records and without the journal, which a benchmark should not fill.
class LargeStore final : public LogBackend {
 public:
  void write(const LogRecord& record) noexcept override { store_.append(record); }
  const ProcessLogStore* store() const noexcept override { return &store_; }

 private:
  ProcessLogStore store_{std::size_t{512} << 20};
};

/// Installs a store with one million records until the result is destroyed.
std::shared_ptr<const void> fullLog() {
  static const auto backend = std::make_shared<LargeStore>();
  auto installation = std::make_shared<const LogBackendInstallation>(backend);
  static const bool isFull = [] {
    const Logger logger(identifier, "Bench");
    for (std::int64_t i = 0; i < records; ++i) logger.notice("Cannot write %{public}s: %d", "/home/user/table.csv", i);
    if (static_cast<std::int64_t>(OSLogStore::currentProcess().entries().size()) < records) {
      throw std::runtime_error("The store does not hold a million records");
    }
    return true;
  }();
  static_cast<void>(isFull);
  return installation;
}

/// Exports the same records, read in the same way. fmt writes their dates in one locale.
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
  // The main bundle must be set before its first use.
  Bundle::setMain({.identifier = identifier});
  addTable(facility, "csv, a row of four cells of 8 characters", 8);
  addTable(facility, "csv, a row of four cells of 24 characters", 24);
  addTable(facility, "csv, a row of four cells of 200 characters", 200);
  addStandardTable(facility, "csv of RFC 4180, a row of four cells of 8 characters", 8);
  addStandardTable(facility, "csv of RFC 4180, a row of four cells of 24 characters", 24);
  facility.row("a million records of the log, each", records)
      .ours([] {
        return [log = fullLog()] {
          return syncWait([] { return ExportService::Logs::extractLastLogsToCSVData(86'400); });
        };
      })
      .peer("fmt over the same records", [] { return [log = fullLog()] { return exportByHand(); }; });
});

}  // namespace
}  // namespace Tessaly::Benchmarks
