// SPDX-License-Identifier: MIT
#include <sys/stat.h>

#include <cstring>
#include <iomanip>
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

#include "Command.hpp"
#include "JSON.hpp"
#include "Options.hpp"
#include "Tessaly/Core/Foundation/POSIXError.hpp"
#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/Core/Text/Locale.hpp"
#include "Tessaly/Formatting/FormattingService.hpp"
#include "Tessaly/FoundationExtensions/Digest+Extensions.hpp"
#include "Tessaly/FoundationExtensions/ProcessInfo+Extensions.hpp"
#include "Tessaly/FoundationExtensions/UTType+Extensions.hpp"
#include "Tessaly/Platform/Files/FileManager.hpp"
#include "Tessaly/SystemServices/DeviceService.hpp"
#include "Tessaly/SystemServices/FileManager+FileSystemEventsExtensions.hpp"
#include "Times.hpp"

namespace TessalyTool {
namespace {

using Tessaly::FileManager;
using Tessaly::POSIXError;
using Tessaly::ProcessInfo;
using Tessaly::URL;
using Tessaly::UTType;

constexpr std::string_view help = R"(Usage: tessaly info [--digest] [--json] [<file>...]

Without a file, prints the facts about the system and the application that an application can query. For each file,
prints its type (by its name and contents), the MIME type, the preferred extension, the more general types, and the
size and time of the file.

  --digest    also print the SHA-256 and MD5 of each file
  --json      print a line of JSON for each file: {"file":...,"type":...,"MIMEType":...,"extension":...,"size":...,
              "modified":...}; a type without an extension has no such member. Without a file, print one line with the
              facts about the system, sizes in bytes

Exit codes: 0 done, 1 failed (a file that does not exist, for example), 2 wrong usage.
)";

void print(std::string_view name, std::string_view value) {
  std::cout << "  " << std::left << std::setw(13) << name << value << '\n';
}

std::string_view yesOrNo(bool value) { return value ? "yes" : "no"; }

/// The facts that an application can query.
struct SystemFacts {
  const ProcessInfo& process = ProcessInfo::processInfo();
  FileManager& files = FileManager::default_();
  std::string device = Tessaly::DeviceService::deviceName();
  std::int64_t memory = static_cast<std::int64_t>(process.physicalMemory());
  std::int64_t freeDisk = static_cast<std::int64_t>(availableDiskMemoryBytes(files).value());
  std::string language = Tessaly::Locale::current().identifier();
  std::string home = files.homeDirectoryForCurrentUser().path();
  std::string temporary = files.temporaryDirectory().path();
  std::string data = files.applicationSupportDirectories().front().path();
};

void printSystem(const SystemFacts& facts) {
  std::cout << "system\n";
  print("version", osVersionString(facts.process));
  print("device", facts.device.empty() ? "unknown" : facts.device);
  print("host", facts.process.hostName());
  print("processors", std::to_string(facts.process.activeProcessorCount()));
  print("memory", Tessaly::FormattingService::Bytes::string(facts.memory));
  print("free disk", Tessaly::FormattingService::Bytes::string(facts.freeDisk));
  std::cout << "application\n";
  print("language", facts.language);
  print("home", facts.home);
  print("temporary", facts.temporary);
  print("data", facts.data);
  print("sandboxed", yesOrNo(isSandboxed(facts.process)));
  print("under test", yesOrNo(isRunningTests(facts.process)));
}

void printSystemJSON(const SystemFacts& facts) {
  JSONObject object;
  object.add("version", osVersionString(facts.process));
  if (!facts.device.empty()) object.add("device", facts.device);
  object.add("host", facts.process.hostName()).add("processors", facts.process.activeProcessorCount());
  object.add("memory", facts.memory).add("freeDisk", facts.freeDisk).add("language", facts.language);
  object.add("home", facts.home).add("temporary", facts.temporary).add("data", facts.data);
  object.add("isSandboxed", isSandboxed(facts.process)).add("isUnderTest", isRunningTests(facts.process));
  std::cout << object.text() << '\n';
}

/// The preferred extension of a type, or an empty text.
std::string extensionOf(const UTType& type) { return type.preferredFilenameExtension().value_or(""); }

/// The printed line of a file. Everything that may fail comes first, so that no part of a line is printed on failure.
struct FileFacts {
  explicit FileFacts(const std::string& file, bool hasDigests) : path(file), type(UTType::ofFile(url())) {
    if (::stat(path.c_str(), &status) != 0) throw POSIXError::last();
    if (!hasDigests || !S_ISREG(status.st_mode)) return;
    sha256 = stringEncoded(Tessaly::syncWait([this] { return Tessaly::digestOfFile<Tessaly::SHA256Digest>(url()); }));
    md5 =
        stringEncoded(Tessaly::syncWait([this] { return Tessaly::digestOfFile<Tessaly::Insecure::MD5Digest>(url()); }));
  }

  [[nodiscard]] URL url() const { return URL::fileURLWithPath(path); }
  [[nodiscard]] Tessaly::Date modified() const {
    return Tessaly::Date::since1970(static_cast<double>(status.st_mtim.tv_sec) +
                                    static_cast<double>(status.st_mtim.tv_nsec) / 1e9);
  }

  std::string path;
  UTType type;
  struct stat status{};
  std::string sha256;
  std::string md5;
};

void printFile(const FileFacts& file) {
  const std::string extension = extensionOf(file.type);
  std::string kinds;
  for (const std::string& kind : file.type.supertypeIdentifiers()) kinds += (kinds.empty() ? "" : ", ") + kind;
  std::cout << file.path << '\n';
  print("type", file.type.identifier());
  print("MIME type", mimeType(file.type));
  print("extension", extension.empty() ? "none" : extension);
  print("kind of", kinds);
  print("size", Tessaly::FormattingService::Bytes::string(std::int64_t{file.status.st_size}));
  print("modified", timeText(file.modified()));
  if (file.sha256.empty()) return;
  print("SHA-256", file.sha256);
  print("MD5", file.md5);
}

void printJSON(const FileFacts& file) {
  JSONObject object;
  object.add("file", file.path).add("type", file.type.identifier()).add("MIMEType", mimeType(file.type));
  if (const std::string extension = extensionOf(file.type); !extension.empty()) object.add("extension", extension);
  object.add("size", std::int64_t{file.status.st_size});
  object.add("modified", Tessaly::FormattingService::Date::iso8601(file.modified()));
  if (!file.sha256.empty()) object.add("SHA256", file.sha256).add("MD5", file.md5);
  std::cout << object.text() << '\n';
}

ExitCode run(Arguments arguments) {
  const CommandLine line(arguments, {"--digest", "--json"});
  const std::vector<std::string>& files = line.words();
  if (files.empty() && line.has("--digest")) throw UsageError("A file is missing");
  if (files.empty()) line.has("--json") ? printSystemJSON({}) : printSystem({});
  ExitCode code = success;
  for (const std::string& file : files) {
    try {
      const FileFacts facts(file, line.has("--digest"));
      line.has("--json") ? printJSON(facts) : printFile(facts);
    } catch (const POSIXError& error) {
      std::cout.flush();
      std::cerr << "tessaly info: " << file << ": " << std::strerror(static_cast<int>(error.code())) << '\n';
      code = failure;
    }
  }
  return code;
}

}  // namespace

const Command infoCommand{
    .name = "info", .summary = "print facts about the system, or about files", .help = help, .run = run};

}  // namespace TessalyTool
