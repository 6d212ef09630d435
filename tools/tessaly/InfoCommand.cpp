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
              "modified":...}; a type without an extension has no such member

Exit codes: 0 done, 1 failed (a file that does not exist, for example), 2 wrong usage.
)";

void print(std::string_view name, std::string_view value) {
  std::cout << "  " << std::left << std::setw(13) << name << value << '\n';
}

std::string_view yesOrNo(bool value) { return value ? "yes" : "no"; }

void printSystem() {
  const ProcessInfo& process = ProcessInfo::processInfo();
  FileManager& files = FileManager::default_();
  const std::string device = Tessaly::DeviceService::deviceName();
  const auto room = static_cast<std::int64_t>(availableDiskMemoryBytes(files).value());
  std::cout << "system\n";
  print("version", osVersionString(process));
  print("device", device.empty() ? "unknown" : device);
  print("host", process.hostName());
  print("processors", std::to_string(process.activeProcessorCount()));
  print("memory", Tessaly::FormattingService::Bytes::string(static_cast<std::int64_t>(process.physicalMemory())));
  print("free disk", Tessaly::FormattingService::Bytes::string(room));
  std::cout << "application\n";
  print("language", Tessaly::Locale::current().identifier());
  print("home", files.homeDirectoryForCurrentUser().path());
  print("temporary", files.temporaryDirectory().path());
  print("data", files.applicationSupportDirectories().front().path());
  print("sandboxed", yesOrNo(isSandboxed(process)));
  print("under test", yesOrNo(isRunningTests(process)));
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
  if (files.empty() && (line.has("--digest") || line.has("--json"))) throw UsageError("A file is missing");
  if (files.empty()) printSystem();
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
