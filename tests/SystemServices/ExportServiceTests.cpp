// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <limits>
#include <memory>
#include <mutex>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "Tessaly/Core/Formatters/FormatStyle.hpp"
#include "Tessaly/Core/Foundation/Bundle.hpp"
#include "Tessaly/Core/Logging/LogBackend.hpp"
#include "Tessaly/Core/Logging/Logger.hpp"
#include "Tessaly/Core/Logging/OSLogStore.hpp"
#include "Tessaly/Core/Logging/OSSignposter.hpp"
#include "Tessaly/Core/Tasks/Executor.hpp"
#include "Tessaly/Core/Tasks/GlobalExecutor.hpp"
#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"
#include "Tessaly/Platform/Testing/RecordingLogBackend.hpp"
#include "Tessaly/SystemServices/ExportError.hpp"
#include "Tessaly/SystemServices/ExportService.hpp"
#include "tests/Support/Repetitions.hpp"
#include "tests/Support/TemporaryFolder.hpp"

namespace Tessaly {
namespace {

using ExportService::csv;
using ExportService::rfc4180CSV;
using ExportService::Table;
using testing::ElementsAre;
using testing::HasSubstr;

std::string text(const Data& data) { return std::string(data.text()); }

/// A simple implementation of the algorithm, as the reference.
std::string expectedCSV(const Table& table, const std::string& separator) {
  std::string result;
  for (std::size_t r = 0; r < table.size(); ++r) {
    for (std::size_t c = 0; c < table[r].size(); ++c) {
      std::string escaped;
      for (std::size_t i = 0; i < table[r][c].size();) {
        if (!separator.empty() && table[r][c].compare(i, separator.size(), separator) == 0) {
          escaped += "\\" + separator;
          i += separator.size();
        } else {
          escaped += table[r][c][i++];
        }
      }
      result += escaped;
      if (c != table[r].size() - 1) result += separator;
    }
    if (r != table.size() - 1) result += "\n";
  }
  return result;
}

Table randomTable(std::mt19937& random) {
  const std::string alphabet = ";,\"\\\n\r aä-";
  const auto below = [&](std::size_t limit) {
    return std::uniform_int_distribution<std::size_t>(0, limit - 1)(random);
  };
  Table table(below(6));
  for (auto& row : table) {
    row.resize(below(5));
    for (auto& cell : row) {
      for (std::size_t count = below(8); count > 0; --count) {
        const std::size_t index = below(alphabet.size());
        // "ä" takes two bytes, which stay together.
        if (static_cast<unsigned char>(alphabet[index]) < 0x80)
          cell += alphabet[index];
        else
          cell += "ä";
      }
    }
  }
  return table;
}

TEST(ExportServiceCSV, ErrorNamesTheFirstIllFormedCell) {
  const ExportService::Table table{{"a", "b"}, {}, {"c", "lat\xE4", "\xFF"}};
  const auto cellOf = [](auto write) {
    try {
      write();
    } catch (const ExportError& error) {
      return error.illFormedCell;
    }
    return std::optional<ExportError::Cell>();
  };
  const ExportError::Cell expected{.row = 2, .column = 1};
  EXPECT_EQ(cellOf([&] { static_cast<void>(ExportService::csv(table, ";")); }), expected);
  EXPECT_EQ(cellOf([&] { static_cast<void>(ExportService::rfc4180CSV(table)); }), expected);
  EXPECT_FALSE(ExportError("other").illFormedCell.has_value());
}

TEST(ExportServiceCSV, JoinsCellsBySeparatorsAndRowsByLineFeeds) {
  EXPECT_EQ(text(csv({{"a", "b"}, {"c", "d"}}, ";")), "a;b\nc;d");
  EXPECT_EQ(text(csv({{"a"}, {"b", "c", "d"}, {}, {"", ""}}, ";")), "a\nb;c;d\n\n;");
}

TEST(ExportServiceCSV, EmptyRowsAreEmptyLines) {
  EXPECT_TRUE(csv({}, ";").isEmpty());
  EXPECT_EQ(text(csv({{}}, ";")), "");
  EXPECT_EQ(text(csv({{}, {}, {}}, ";")), "\n\n");
}

TEST(ExportServiceCSV, EscapesOnlySeparators) {
  EXPECT_EQ(text(csv({{"a;b;;c", "d\ne\\f\"g"}}, ";")), "a\\;b\\;\\;c;d\ne\\f\"g");
}

TEST(ExportServiceCSV, LongSeparatorsAreFoundFromTheLeftWithoutOverlap) {
  EXPECT_EQ(text(csv({{"aaaaa", "b"}}, "aa")), "\\aa\\aaaaab");
  EXPECT_EQ(text(csv({{"a", "b"}}, "")), "ab");
}

TEST(ExportServiceCSV, ReportsProgressOncePerCell) {
  std::vector<double> progress;
  const auto tell = [&](double value) { progress.push_back(value); };
  static_cast<void>(csv({{"a", "b"}}, ";", tell));
  EXPECT_THAT(progress, ElementsAre(0.5, 1.0));
  progress.clear();
  static_cast<void>(csv({{"a", "b", "c"}, {}, {"d"}}, ";", tell));
  EXPECT_THAT(progress, ElementsAre((1.0 / 3 + 0) / 3, (2.0 / 3 + 0) / 3, (3.0 / 3 + 0) / 3, (1.0 / 1 + 2) / 3));
}

TEST(ExportServiceCSV, ThrowingProgressReachesTheCaller) {
  EXPECT_THROW(static_cast<void>(csv({{"a"}}, ";", [](double) { throw std::runtime_error("enough"); })),
               std::runtime_error);
}

TEST(ExportServiceCSV, IllFormedTextIsAnError) {
  try {
    static_cast<void>(csv({{"a\xFF", "b"}}, ";"));
    ADD_FAILURE();
  } catch (const ExportError& error) {
    EXPECT_EQ(error.errorDescription, "Unable to build CSV 'Data' from a\xFF;b");
  }
}

TEST(ExportServiceCSV, RandomTablesFollowTheModel) {
  std::mt19937 random(20240229);
  for (int round = 0; round < Tests::repetitions(20000); ++round) {
    const Table table = randomTable(random);
    for (const char* separator : {";", ",", ";;", "", "\\", "\n", "ä"}) {
      ASSERT_EQ(text(csv(table, separator)), expectedCSV(table, separator)) << "round " << round;
    }
  }
}

TEST(ExportServiceCSV, LargeTablesFollowTheModel) {
  // The table has lengths around the block sizes of a writer, and characters across every boundary.
  Table table;
  for (const std::size_t length : {0, 1, 3, 4, 7, 8, 9, 15, 16, 17, 4095, 16383, 16384, 16385, 70'000}) {
    std::string wide;
    for (std::size_t i = 0; i < length; ++i) wide += i % 2 == 0 ? "ä" : "€";
    table.push_back({std::string(length, 'a'), wide, std::string(length, ';'), "x" + wide});
  }
  for (int row = 0; row < 20'000; ++row) table.push_back({"ä" + std::to_string(row), ""});
  EXPECT_EQ(text(csv(table, ";")), expectedCSV(table, ";"));
  EXPECT_EQ(text(csv(table, "ä")), expectedCSV(table, "ä"));
  table.push_back({std::string(100'000, 'a') + "\xC3"});
  EXPECT_THROW(static_cast<void>(csv(table, ";")), ExportError);
  EXPECT_THROW(static_cast<void>(rfc4180CSV(table)), ExportError);
}

/// A cell of the standard form, from its grammar.
std::string expectedStandardCell(const std::string& cell, char separator) {
  if (cell.find_first_of(std::string("\"\r\n") + separator) == std::string::npos) return cell;
  std::string quoted = "\"";
  for (const char character : cell) quoted += character == '"' ? "\"\"" : std::string(1, character);
  return quoted + '"';
}

TEST(ExportServiceCSV, SpecialCharactersAreFoundAtEveryPosition) {
  for (const std::size_t length : {1, 2, 3, 4, 5, 7, 8, 9, 12, 15, 16, 17, 23, 24, 31, 32, 33, 47, 48, 49, 64, 100}) {
    for (std::size_t place = 0; place < length; ++place) {
      for (const char special : {';', '"', '\r', '\n', '\0', '\xBB', ':'}) {
        // The characters are the neighbours of the separator's code, so that an error of one is detected.
        std::string cell(length, place % 2 == 0 ? ':' : '<');
        cell[place] = special;
        // The byte is part of a character if the position allows it.
        if (special == '\xBB') {
          if (place == 0) continue;
          cell[place - 1] = '\xC2';
        }
        const Table table{{"before", cell, cell}, {cell, "after"}};
        ASSERT_EQ(text(csv(table, ";")), expectedCSV(table, ";")) << length << ' ' << place << ' ' << int{special};
        ASSERT_EQ(text(csv(table, ";:")), expectedCSV(table, ";:")) << length << ' ' << place << ' ' << int{special};
        const std::string expected = expectedStandardCell(cell, ';');
        ASSERT_EQ(text(rfc4180CSV(table, ';')),
                  "before;" + expected + ';' + expected + "\r\n" + expected + ";after\r\n")
            << length << ' ' << place << ' ' << int{special};
      }
      std::string broken(length, 'a');
      broken[place] = '\xBB';
      ASSERT_THROW(static_cast<void>(csv({{broken}}, ";")), ExportError) << length << ' ' << place;
      ASSERT_THROW(static_cast<void>(rfc4180CSV({{broken}})), ExportError) << length << ' ' << place;
    }
  }
}

TEST(ExportServiceCSV, NeedsNoMoreMemoryThanTheResult) {
  const auto unused = [](Data data) {
    return data.modify([](const Data::Bytes& bytes) { return bytes.capacity() - bytes.size(); });
  };
  const Table plain(1000, {"some", "cells without", "anything inside"});
  Table special(1000, {"a;b", "", std::string(100, ';'), "x\"y"});
  special.insert(special.begin(), plain.begin(), plain.end());
  for (const Table& table : {plain, special, Table{}, Table(10)}) {
    for (const char* separator : {";", "", ";;", "ä"}) EXPECT_LE(unused(csv(table, separator)), 1u) << separator;
  }
  EXPECT_EQ(unused(rfc4180CSV(plain)), 0u);
  EXPECT_LE(unused(rfc4180CSV(special)), 2 * 7000u);
}

TEST(ExportServiceCSV, StandardFormQuotesWhereNecessary) {
  EXPECT_EQ(text(rfc4180CSV({{"a", "b,c", "d\"e", "f\ng", ""}, {}, {""}})),
            "a,\"b,c\",\"d\"\"e\",\"f\ng\",\r\n\r\n\"\"\r\n");
  EXPECT_EQ(text(rfc4180CSV({{"a;b", "c,d"}}, ';')), "\"a;b\";c,d\r\n");
  EXPECT_TRUE(rfc4180CSV({}).isEmpty());
}

TEST(ExportServiceCSV, PythonReadsTheStandardFormBack) {
  const Tests::TemporaryFolder folder;
  std::mt19937 random(7);
  Table table;
  for (int round = 0; round < 2000; ++round) {
    for (auto& row : randomTable(random)) table.push_back(std::move(row));
  }
  rfc4180CSV(table).write(URL::fileURLWithPath(folder.path() + "/table.csv"));
  std::ofstream expected(folder.path() + "/expected", std::ios::binary);
  for (const auto& row : table) {
    for (const auto& cell : row) expected << cell.size() << ':' << cell;
    expected << '.';
  }
  expected.close();
  const std::string program = R"(
import csv, sys
text = b''
with open(sys.argv[1] + '/table.csv', newline='', encoding='utf-8') as file:
    for row in csv.reader(file):
        for cell in row:
            cell = cell.encode()
            text += str(len(cell)).encode() + b':' + cell
        text += b'.'
sys.exit(0 if text == open(sys.argv[1] + '/expected', 'rb').read() else 1)
)";
  std::ofstream(folder.path() + "/read.py") << program;
  EXPECT_EQ(std::system(("python3 " + folder.path() + "/read.py " + folder.path()).c_str()), 0);
}

TEST(ExportError, DescribesItselfAsValueAndText) {
  const ExportError error("No \"table\"\nthere");
  EXPECT_EQ(error.description(), "ExportError(errorDescription: \"No \\\"table\\\"\\nthere\")");
  EXPECT_EQ(error.localizedDescription(), "No \"table\"\nthere");
  EXPECT_EQ(error, ExportError("No \"table\"\nthere"));
}

TEST(ExportServiceLevels, LevelsAreWrittenAsNumbers) {
  using ExportService::detail::levelText;
  EXPECT_EQ(levelText(0), "❓Undefined");
  EXPECT_EQ(levelText(1), "Debug");
  EXPECT_EQ(levelText(2), "Info");
  EXPECT_EQ(levelText(3), "Info");
  EXPECT_EQ(levelText(4), "❌ Error");
  EXPECT_EQ(levelText(5), "❌ Error");
  EXPECT_EQ(levelText(6), "❓Unhandled");
  EXPECT_EQ(levelText(-1), "❓Unhandled");
}

class ExportServiceLogsOfTheProcess : public testing::Test {
 protected:
  ExportServiceLogsOfTheProcess() { Bundle::setMain({.identifier = "org.example.app"}); }

  std::shared_ptr<RecordingLogBackend> backend = std::make_shared<RecordingLogBackend>();
  LogBackendInstallation installation{backend};
};

TEST_F(ExportServiceLogsOfTheProcess, ExportsTheBundlesSubsystems) {
  Logger("org.example.app", "Main").error("one");
  Logger("org.example.app.Export", "Exporter").notice("two; %{public}s %s", "open", "secret");
  Logger("org.example.apparatus", "Near").notice("three");
  Logger("org.example", "Above").notice("four");
  Logger("com.example.app", "Other").notice("five");
  const auto lines = syncWait([] { return ExportService::Logs::extractLastLogsToStrings(60); });
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_THAT(lines[0], testing::MatchesRegex("\\[.+\\]\\[Main\\] one"));
  EXPECT_THAT(lines[1], HasSubstr("][Exporter] two; open <private>"));
  EXPECT_THAT(lines[2], HasSubstr("][Near] three"));
}

TEST_F(ExportServiceLogsOfTheProcess, ReplacesIllFormedTextOfRecords) {
  Logger("org.example.app", "Main\xFF").error("%{public}s", "\xFF");
  const auto data = syncWait([] { return ExportService::Logs::extractLastLogsToCSVData(60); });
  EXPECT_THAT(std::string(data.text()), testing::EndsWith("❌ Error;Main\uFFFD;\uFFFD"));
}

TEST_F(ExportServiceLogsOfTheProcess, RecordsAreATableOfFourColumns) {
  Logger("org.example.app", "Main").fault("a;b");
  Logger("org.example.app", "Main").notice("c");
  const std::string table = text(syncWait([] { return ExportService::Logs::extractLastOneHourLogsToCSVData(); }));
  EXPECT_THAT(table, HasSubstr(";❌ Error;Main;a\\;b\n"));
  EXPECT_TRUE(table.ends_with(";Info;Main;c")) << table;
}

TEST_F(ExportServiceLogsOfTheProcess, DatesUseTheLocalesDigits) {
  Logger("org.example.app", "Main").error("one");
  const auto entries = OSLogStore::currentProcess().entries();
  ASSERT_EQ(entries.size(), 1u);
  const auto second = std::chrono::floor<std::chrono::seconds>(entries[0].date).time_since_epoch();
  const std::string date =
      Date::FormatStyle::numericDateStandardTime().format(Date::since1970(static_cast<double>(second.count())));
  EXPECT_THAT(syncWait([] { return ExportService::Logs::extractLastLogsToStrings(60); }),
              ElementsAre("[" + date + "][Main] one"));
  EXPECT_EQ(text(syncWait([] { return ExportService::Logs::extractLastLogsToCSVData(60); })),
            date + ";❌ Error;Main;one");
}

TEST_F(ExportServiceLogsOfTheProcess, SignpostsAreNotExported) {
  const OSSignposter signposter{Logger("org.example.app", "Main")};
  signposter.emitEvent("drawn");
  EXPECT_FALSE(OSLogStore::currentProcess().entries().empty());
  EXPECT_THAT(syncWait([] { return ExportService::Logs::extractLastLogsToStrings(60); }), testing::IsEmpty());
}

/// Runs each job on a thread of its own, and records its priority.
class RecordingExecutor final : public Executor {
 public:
  void enqueue(Job& job) noexcept override {
    {
      const std::lock_guard guard(mutex_);
      priorities_.push_back(job.priority());
    }
    std::thread([&job] { job.run(); }).detach();
  }
  [[nodiscard]] std::vector<TaskPriority> priorities() const {
    const std::lock_guard guard(mutex_);
    return priorities_;
  }

 private:
  mutable std::mutex mutex_;
  std::vector<TaskPriority> priorities_;
};

TEST_F(ExportServiceLogsOfTheProcess, BackgroundTaskCollectsRecords) {
  static RecordingExecutor& executor = *new RecordingExecutor;
  GlobalExecutor::install(executor);
  Logger("org.example.app", "Main").error("one");
  EXPECT_EQ(syncWait([] { return ExportService::Logs::extractLastLogsToStrings(60); }).size(), 1u);
  EXPECT_THAT(executor.priorities(), ElementsAre(TaskPriority::background));
}

TEST_F(ExportServiceLogsOfTheProcess, InvalidTimeGivesNoRecords) {
  Logger("org.example.app", "Main").error("one");
  for (const double seconds : {-60.0, -1e300, std::numeric_limits<double>::quiet_NaN()}) {
    EXPECT_TRUE(syncWait([=] { return ExportService::Logs::extractLastLogsToStrings(seconds); }).empty()) << seconds;
  }
  for (const double seconds : {1e300, std::numeric_limits<double>::infinity()}) {
    EXPECT_EQ(syncWait([=] { return ExportService::Logs::extractLastLogsToStrings(seconds); }).size(), 1u) << seconds;
  }
}

TEST_F(ExportServiceLogsOfTheProcess, CancelledCallerGetsTheCancellation) {
  Logger("org.example.app", "Main").error("one");
  syncWait([]() -> Async<void> {
    Task<> task([]() -> Async<void> {
      while (!Task<>::isCurrentCancelled()) co_await Task<>::yield();
      EXPECT_THROW(co_await ExportService::Logs::extractLastLogsToStrings(60), CancellationError);
    });
    task.cancel();
    co_await task.value();
  });
}

TEST_F(ExportServiceLogsOfTheProcess, CancellationMidwayGivesAllOrNothing) {
  constexpr std::size_t count = 2000;
  const Logger logger("org.example.app", "Main");
  for (std::size_t i = 0; i < count; ++i) logger.error("record");
  int cancelled = 0;
  for (int round = 0; round < Tests::repetitions(60); ++round) {
    syncWait([&]() -> Async<void> {
      Task<std::size_t> task([]() -> Async<std::size_t> {
        co_return (co_await ExportService::Logs::extractLastLogsToStrings(60)).size();
      });
      for (int turn = 0; turn < 100 * round && !task.isFinished(); ++turn) co_await Task<>::yield();
      task.cancel();
      try {
        EXPECT_EQ(co_await task.value(), count);
      } catch (const CancellationError&) {
        ++cancelled;
      }
    });
  }
  EXPECT_GT(cancelled, 0);
  EXPECT_EQ(syncWait([] { return ExportService::Logs::extractLastLogsToStrings(60); }).size(), count);
}

TEST(ExportServiceLogsWithout, MissingBundleIdentifierIsAnError) {
  try {
    static_cast<void>(syncWait([] { return ExportService::Logs::extractLastLogsToStrings(60); }));
    ADD_FAILURE();
  } catch (const ExportError& error) {
    EXPECT_EQ(error.errorDescription, "Unable to get 'Bundle.main.bundleIdentifier'");
  }
}

TEST(ExportServiceLogsWithout, MissingStoreIsAnError) {
  Bundle::setMain({.identifier = "org.example.app"});
  const LogBackendInstallation installation(
      std::make_shared<RecordingLogBackend>(RecordingLogBackend::Store::unavailable));
  try {
    static_cast<void>(syncWait([] { return ExportService::Logs::extractLastLogsToCSVData(60); }));
    ADD_FAILURE();
  } catch (const ExportError& error) {
    EXPECT_EQ(error.errorDescription, "Unable to get the log store for the current process identifier");
  }
}

}  // namespace
}  // namespace Tessaly
