// SPDX-License-Identifier: MIT
#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "Chapters.hpp"
#include "Commands.hpp"
#include "Tessaly/Core/Foundation/POSIXError.hpp"
#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/FoundationExtensions/Logger+Extensions.hpp"
#include "Tessaly/SettingsAndObservation/Default.hpp"
#include "Tessaly/SystemServices/ExportService.hpp"
#include "Tessaly/SystemServices/FileManager+FileSystemEventsExtensions.hpp"
#include "Tessaly/ValueRecords/URLBookmark.hpp"

namespace Tour {
namespace {

using namespace Tessaly;

/// A directory for the files of the chapter, removed at its end.
class Reports {
 public:
  Reports() {
    std::string name = std::filesystem::temp_directory_path() / "tessaly-tour-XXXXXX";
    if (::mkdtemp(name.data()) == nullptr) throw POSIXError::last();
    path_ = std::filesystem::canonical(name);
  }
  Reports(const Reports&) = delete;
  Reports& operator=(const Reports&) = delete;
  ~Reports() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

  [[nodiscard]] URL url(const std::string& name) const { return URL::fileURLWithPath((path_ / name).native()); }

 private:
  std::filesystem::path path_;
};

void tellOfTheDisk(Narrator& narrator) {
  FileManager& files = FileManager::default_();
  const auto available = availableDiskMemoryBytes(files);
  const std::filesystem::path home = files.homeDirectoryForCurrentUser().path();
  std::error_code ignored;
  const auto space = std::filesystem::space(home, ignored);
  const std::string root = rootDirectory(files).path();
  narrator.say(text("The application's files belong into ", root, "; ",
                    gigabytes(static_cast<std::uint64_t>(available.value())), " are left"));
  narrator.check(available.value() >= 0 && available.value() <= static_cast<double>(space.capacity) &&
                     root.ends_with("/org.example.tour"),
                 "Not more is left than the volume holds, and the folder is named by the application's identifier");
}

/// The answer of Python, a program that knows such tables, to a file. Absent without Python.
std::optional<CommandResult> askPython(Narrator& narrator, const std::string& program, const URL& file) {
  if (runCommand({"python3", "-c", ""}).status != 0) {
    narrator.say("There is no python3 here that could read the table");
    return std::nullopt;
  }
  return runCommand({"python3", "-c", program, file.path()});
}

void tellOfTheLog(Narrator& narrator, const Reports& reports) {
  const auto logger = Logger::make("Tour", "Report");
  noticePublic(logger, "Two columns; one row");
  errorPublic(logger, "Größe unbekannt");
  logger.notice("Saved %s", "/home/me/secret");
  const auto lines = syncWait([] { return ExportService::Logs::extractLastLogsToStrings(3600); });
  const Data table = syncWait([] { return ExportService::Logs::extractLastOneHourLogsToCSVData(); });
  const auto mine = std::ranges::count_if(
      lines, [](const std::string& line) { return line.find("][Report] ") != std::string::npos; });
  narrator.say(text("This process has written ", lines.size(), " records, the last of them:"));
  narrator.say("  " + lines.back());
  narrator.check(mine == 3 && lines.back().ends_with("][Report] Saved <private>"),
                 "The log that is exported has the latest records, and nothing in it that is private");

  const URL file = reports.url("support/2023/log.csv");
  writeData(FileManager::default_(), table, file, true);
  narrator.check(FileManager::default_().isExcludedFromBackup(file.deletingLastPathComponent()),
                 "It is written into a folder that was made for it and is left out of backups");
  const auto python = askPython(narrator,
                                "import csv, sys\n"
                                "rows = csv.reader(open(sys.argv[1], encoding='utf-8', newline=''), delimiter=';',\n"
                                "                  quoting=csv.QUOTE_NONE, escapechar='\\\\')\n"
                                "mine = [row[1:] for row in rows if len(row) == 4 and row[2] == 'Report']\n"
                                "wanted = [['Info', 'Report', 'Two columns; one row'],\n"
                                "          ['❌ Error', 'Report', 'Größe unbekannt'],\n"
                                "          ['Info', 'Report', 'Saved <private>']]\n"
                                "sys.exit(0 if mine == wanted else 1)",
                                file);
  if (python) narrator.check(python->status == 0, "Python reads the same three rows from the table");
}

void tellOfTables(Narrator& narrator, const Reports& reports) {
  ExportService::Table table(20'000, {"plain", "with, a comma", "with \"quotation marks\"", "on two\nlines", ""});
  const auto start = std::chrono::steady_clock::now();
  const Data standard = ExportService::rfc4180CSV(table);
  narrator.say(text("A table of ", grouped(table.size()), " rows, ",
                    megabytes(static_cast<std::uint64_t>(standard.count())), ", took ",
                    seconds(std::chrono::steady_clock::now() - start)));
  const URL file = reports.url("table.csv");
  standard.write(file);
  const auto python =
      askPython(narrator,
                "import csv, sys\n"
                "wanted = ['plain', 'with, a comma', 'with \"quotation marks\"', 'on two\\nlines', '']\n"
                "rows = list(csv.reader(open(sys.argv[1], newline='')))\n"
                "sys.exit(0 if rows == [wanted] * 20000 else 1)",
                file);
  if (python) narrator.check(python->status == 0, "Python reads it back as it was");

  std::vector<double> progress;
  const Data own =
      ExportService::csv({{"Name", "Size"}, {"a;b", "3"}}, ";", [&](double part) { progress.push_back(part); });
  narrator.check(own.text() == "Name;Size\na\\;b;3" && progress == std::vector{0.25, 0.5, 0.75, 1.0},
                 "A table tells how far it is, once for each cell");
}

void tellOfBookmarks(Narrator& narrator, const Reports& reports) {
  FileManager& files = FileManager::default_();
  constexpr const char* key = "last-document";
  const URL first = reports.url("letters/draft.txt");
  const URL second = reports.url("letters/sent/letter.txt");
  writeData(files, Data(std::string_view("Dear reader")), first, false);
  const auto bookmark = URLBookmark::from(first);
  narrator.check(bookmark && bookmark->url() == first,
                 text("A bookmark is made: ", bookmark ? bookmark->description() : "-"));
  if (!bookmark) return;
  using Documents = std::vector<URLBookmark>;
  const Default<Documents>::Key documents{key, {}};
  Default<Documents>::setValue(documents, {*bookmark});

  files.createDirectory(second.deletingLastPathComponent(), IntermediateDirectories::created);
  files.moveItem(first, second);
  writeData(files, Data(std::string_view("Another letter")), first, false);
  const Documents found = Default<Documents>::value(documents);
  narrator.check(
      found.size() == 1 && found.front().url() == second && files.contents(found.front().url()).text() == "Dear reader",
      "The setting leads to the file that was renamed and moved, and not to the new one of its old name");
  files.removeItem(second);
  narrator.check(Default<Documents>::value(documents).empty(), "Once the file is removed, it leads nowhere");
}

}  // namespace

void tellOfReports(Narrator& narrator) {
  const Reports reports;
  tellOfTheDisk(narrator);
  tellOfTheLog(narrator, reports);
  tellOfTables(narrator, reports);
  tellOfBookmarks(narrator, reports);
}

}  // namespace Tour
