// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cstring>
#include <iomanip>
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

#include "Command.hpp"
#include "FileTypes.hpp"
#include "JSON.hpp"
#include "Options.hpp"
#include "Tessaly/Core/Foundation/POSIXError.hpp"
#include "Tessaly/Core/Foundation/URL.hpp"
#include "Tessaly/Formatting/FormattingService.hpp"
#include "Tessaly/Platform/Files/FileManager.hpp"
#include "Times.hpp"
#include "Values.hpp"

namespace TessalyTool {
namespace {

using Tessaly::DirectoryEntry;
using Tessaly::FileManager;
using Tessaly::POSIXError;
using Tessaly::URL;

constexpr std::string_view help = R"(Usage: tessaly list [--json] [--] [directory]

Prints the entries of a directory, or of the current one, by name: type, size, time of the last change, name.

  --json      a line of JSON for each entry: {"name":...,"type":...,"size":...,"modified":...}, with the size in bytes,
              the time as in "2023-01-02T15:04:05Z", and U+FFFD for ill-formed UTF-8 in a name

Exit codes: 0 done, 1 failed (no such directory, for example), 2 wrong usage.
)";

void print(const DirectoryEntry& entry) {
  const auto& attributes = entry.attributes;
  std::cout << std::left << std::setw(10) << typeName(attributes.type) << std::right << std::setw(9)
            << Tessaly::FormattingService::Bytes::string(attributes.size) << "  " << timeText(attributes.modified)
            << "  " << printedKey(entry.path) << '\n';
}

void printJSON(const DirectoryEntry& entry) {
  std::cout << JSONObject()
                   .add("name", entry.path)
                   .add("type", typeName(entry.attributes.type))
                   .add("size", entry.attributes.size)
                   .add("modified", Tessaly::FormattingService::Date::iso8601(entry.attributes.modified))
                   .text()
            << '\n';
}

ExitCode run(Arguments arguments) {
  const CommandLine line(arguments, {"--json"});
  line.refuseMoreThan(1);
  const std::string directory = line.words().empty() ? "." : line.words().front();
  std::vector<DirectoryEntry> entries;
  try {
    entries = FileManager::default_().contentsOfDirectory(URL::fileURLWithPath(directory));
  } catch (const POSIXError& error) {
    throw CommandError(directory + ": " + std::strerror(static_cast<int>(error.code())));
  }
  std::ranges::sort(entries, {}, &DirectoryEntry::path);
  for (const DirectoryEntry& entry : entries) line.has("--json") ? printJSON(entry) : print(entry);
  return success;
}

}  // namespace

const Command listCommand{.name = "list", .summary = "print the entries of a directory", .help = help, .run = run};

}  // namespace TessalyTool
