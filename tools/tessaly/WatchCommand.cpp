// SPDX-License-Identifier: MIT
#include <algorithm>
#include <exception>
#include <iostream>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Command.hpp"
#include "Interruption.hpp"
#include "Tessaly/Core/Foundation/URL.hpp"
#include "Tessaly/SystemServices/FileManager+FileSystemEventsExtensions.hpp"
#include "Times.hpp"

namespace TessalyTool {
namespace {

using Tessaly::Async;
using Tessaly::Data;
using Tessaly::FileChange;
using Tessaly::FileManager;
using Tessaly::URL;

constexpr std::string_view help = R"(Usage: tessaly watch <file> [--data]

Prints a line for each write of a file until it is interrupted: the time, and what became of the file:

  written     its contents were written or cut
  replaced    another file took its name, as editors do when they save
  removed     there is no such file any more
  returned    there is one again

The file need not be there yet. Nothing is missed: writes that follow one another closely may be one line, but the last
line comes after the last write. Links and folders on the way are followed as well.

  --data      print the contents instead, now and whenever they changed, each ended by a line break

Exit codes: 0 interrupted, 1 failed, 2 wrong usage.
)";

std::string_view nameOf(FileChange change) {
  switch (change) {
    case FileChange::contents:
      return "written";
    case FileChange::replaced:
      return "replaced";
    case FileChange::removed:
      return "removed";
    case FileChange::returned:
      return "returned";
  }
  return "changed";
}

void printContents(const FileManager& files, const URL& file) {
  Data contents;
  try {
    contents = files.contents(file);
  } catch (const std::exception& error) {
    // It may be gone again, or a folder by now.
    std::cerr << "tessaly watch: " << error.what() << std::endl;
    return;
  }
  std::cout.write(contents.text().data(), static_cast<std::streamsize>(contents.size()));
  if (!contents.text().ends_with('\n')) std::cout << '\n';
  flushOutput();
}

Async<void> follow(URL file, bool printsData) {
  FileManager& files = FileManager::default_();
  auto changes = fileChanges(files, file).makeAsyncIterator();
  std::cerr << "Watching " << file.path() << std::endl;
  if (printsData && files.fileExists(file.path())) printContents(files, file);
  while (const auto change = co_await changes.next()) {
    if (!printsData) {
      std::cout << timeText(Tessaly::Date::now()) << ' ' << nameOf(*change) << '\n';
      flushOutput();
    } else if (*change != FileChange::removed) {
      printContents(files, file);
    }
  }
}

ExitCode run(Arguments arguments) {
  std::vector<std::string_view> words(arguments.begin(), arguments.end());
  const bool printsData = std::erase(words, "--data") > 0;
  if (words.empty()) throw UsageError("A file is missing");
  if (words.size() > 1) throw UsageError("\"" + std::string(words[1]) + "\" is too much");
  if (words[0].starts_with("--")) throw UsageError("There is no option " + std::string(words[0]));
  const Interruption interruption;
  interruption.runUntilInterrupted(
      [file = URL::fileURLWithPath(words[0]), printsData] { return follow(file, printsData); });
  return success;
}

}  // namespace

const Command watchCommand{.name = "watch", .summary = "tell of each write of a file", .help = help, .run = run};

}  // namespace TessalyTool
