// SPDX-License-Identifier: MIT
#include <cstdint>
#include <exception>
#include <filesystem>
#include <iostream>
#include <string>
#include <string_view>

#include "Command.hpp"
#include "FileTypes.hpp"
#include "Interruption.hpp"
#include "JSON.hpp"
#include "Options.hpp"
#include "Tessaly/Core/Foundation/URL.hpp"
#include "Tessaly/Formatting/FormattingService.hpp"
#include "Tessaly/SystemServices/FileManager+DirectoryChanges.hpp"
#include "Tessaly/SystemServices/FileManager+FileSystemEventsExtensions.hpp"
#include "Times.hpp"
#include "Values.hpp"

namespace TessalyTool {
namespace {

using Tessaly::Async;
using Tessaly::Data;
using Tessaly::DirectoryChange;
using Tessaly::FileChange;
using Tessaly::FileManager;
using Tessaly::URL;

constexpr std::string_view help = R"(Usage: tessaly watch <file> [--data | --json]
       tessaly watch <directory> [--tree] [--json]

Prints a line for each change of a file until it is interrupted: the time and the kind of change:

  written     the file was written or truncated
  replaced    another file has the name now, as after saving in an editor
  removed     no file has the name any more
  returned    a file has the name again

The file need not exist yet. No change is lost: writes in quick succession may cause one line, but the last line comes
after the last write. Changes of links and directories on the path count too. A change of the modification time alone,
as by touch(1), is a write if the kernel reports it as one.

For a directory, prints a line for each present entry, and then for each change, until the directory is removed: the
time, the kind of change, and the path of the entry relative to the directory:

  appeared, changed, disappeared
  renamed     with both names: former -> new

  --data      for a file: print its contents instead, now and after each change, with a line break at the end
  --tree      for a directory: include the entries of all its subdirectories
  --json      print a line of JSON for each change: {"time":...,"change":...}; for a directory also "path", "type",
              "size" and, for a renamed entry, "formerPath"

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
    // The file may have been removed or replaced by a directory meanwhile.
    std::cerr << "tessaly watch: " << error.what() << std::endl;
    return;
  }
  std::cout.write(contents.text().data(), static_cast<std::streamsize>(contents.size()));
  if (!contents.text().ends_with('\n')) std::cout << '\n';
  flushOutput();
}

enum class Output : std::uint8_t { lines, json, data };

std::string timeInJSON() { return Tessaly::FormattingService::Date::iso8601(Tessaly::Date::now()); }

void print(FileChange change, Output output) {
  if (output == Output::json) {
    std::cout << JSONObject().add("time", timeInJSON()).add("change", nameOf(change)).text() << '\n';
  } else {
    std::cout << timeText(Tessaly::Date::now()) << ' ' << nameOf(change) << '\n';
  }
  flushOutput();
}

void print(const DirectoryChange& change, Output output) {
  const bool isRenamed = change.kind == DirectoryChange::Kind::renamed;
  const std::string& path = change.entry.path;
  if (output == Output::json) {
    JSONObject object;
    object.add("time", timeInJSON()).add("change", description(change.kind)).add("path", path);
    object.add("type", typeName(change.entry.attributes.type)).add("size", change.entry.attributes.size);
    if (isRenamed) object.add("formerPath", change.formerPath);
    std::cout << object.text() << '\n';
  } else {
    std::cout << timeText(Tessaly::Date::now()) << ' ' << description(change.kind) << ' '
              << (isRenamed ? printedKey(change.formerPath) + " -> " : "") << printedKey(path) << '\n';
  }
}

Async<void> followFile(URL file, Output output) {
  FileManager& files = FileManager::default_();
  auto changes = fileChanges(files, file).makeAsyncIterator();
  std::cerr << "Watching " << file.path() << std::endl;
  if (output == Output::data && files.fileExists(file.path())) printContents(files, file);
  while (const auto change = co_await changes.next()) {
    if (output != Output::data) {
      print(*change, output);
    } else if (*change != FileChange::removed) {
      printContents(files, file);
    }
  }
}

Async<void> followDirectory(URL directory, Tessaly::DirectoryDepth depth, Output output) {
  auto changes = directoryChanges(FileManager::default_(), directory, {.depth = depth}).makeAsyncIterator();
  std::cerr << "Watching " << directory.path() << std::endl;
  while (const auto some = co_await changes.next()) {
    for (const DirectoryChange& change : *some) print(change, output);
    flushOutput();
  }
}

ExitCode run(Arguments arguments) {
  const CommandLine line(arguments, {"--data", "--json", "--tree"});
  const std::string& path = line.onlyWord("A file");
  const URL url = URL::fileURLWithPath(path);
  const bool isDirectory = std::filesystem::is_directory(path);
  if (line.has("--data") && (isDirectory || line.has("--json")))
    throw UsageError("--data is for files, without --json");
  if (line.has("--tree") && !isDirectory) throw UsageError("--tree is for directories");
  const Output output = line.has("--json") ? Output::json : line.has("--data") ? Output::data : Output::lines;
  const auto depth = line.has("--tree") ? Tessaly::DirectoryDepth::tree : Tessaly::DirectoryDepth::entries;
  const Interruption interruption;
  interruption.runUntilInterrupted(
      [=] { return isDirectory ? followDirectory(url, depth, output) : followFile(url, output); });
  return success;
}

}  // namespace

const Command watchCommand{
    .name = "watch", .summary = "print each change of a file or a directory", .help = help, .run = run};

}  // namespace TessalyTool
