// SPDX-License-Identifier: MIT
#include <sys/stat.h>

#include <cstring>
#include <iomanip>
#include <iostream>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Command.hpp"
#include "Tessaly/Core/Foundation/Data.hpp"
#include "Tessaly/Core/Foundation/POSIXError.hpp"
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

using Tessaly::Data;
using Tessaly::FileManager;
using Tessaly::POSIXError;
using Tessaly::ProcessInfo;
using Tessaly::URL;
using Tessaly::UTType;

constexpr std::string_view help = R"(Usage: tessaly info [--digest] [<file>...]

Without a file, prints what an application is told about the system and about itself. Of each file prints its type, by its
name and its contents, with the MIME type, the preferred extension and what the type is a special case of, and size and
time of the file.

  --digest    of files, their SHA-256 and MD5 as well

Exit codes: 0 done, 1 failed (a file that is not there, for example), 2 wrong usage.
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

void printFile(const std::string& path, bool printsDigests) {
  struct stat status{};
  const URL file = URL::fileURLWithPath(path);
  const UTType type = UTType::ofFile(file);
  if (::stat(path.c_str(), &status) != 0) throw POSIXError::last();
  // Everything that may fail comes first, so that a file is told of whole or not at all.
  std::optional<Data> contents;
  if (printsDigests && S_ISREG(status.st_mode)) contents = Data::contentsOf(file);
  std::string kinds;
  for (const std::string& kind : type.supertypeIdentifiers()) kinds += (kinds.empty() ? "" : ", ") + kind;
  std::cout << path << '\n';
  print("type", type.identifier());
  print("MIME type", mimeType(type));
  print("extension", fileExtension(type));
  print("kind of", kinds);
  print("size", Tessaly::FormattingService::Bytes::string(std::int64_t{status.st_size}));
  const double seconds = static_cast<double>(status.st_mtim.tv_sec) + static_cast<double>(status.st_mtim.tv_nsec) / 1e9;
  print("modified", timeText(Tessaly::Date::since1970(seconds)));
  if (!contents) return;
  print("SHA-256", stringEncoded(Tessaly::SHA256Digest::hash(contents->bytes())));
  print("MD5", stringEncoded(Tessaly::Insecure::MD5Digest::hash(contents->bytes())));
}

ExitCode run(Arguments arguments) {
  std::vector<std::string> files;
  bool printsDigests = false;
  bool takesOptions = true;
  for (const std::string_view argument : arguments) {
    if (takesOptions && argument == "--") {
      takesOptions = false;
    } else if (takesOptions && argument == "--digest") {
      printsDigests = true;
    } else if (takesOptions && argument.starts_with('-')) {
      throw UsageError("There is no option " + std::string(argument));
    } else {
      files.emplace_back(argument);
    }
  }
  if (files.empty() && printsDigests) throw UsageError("A file is missing");
  if (files.empty()) printSystem();
  ExitCode code = success;
  for (const std::string& file : files) {
    try {
      printFile(file, printsDigests);
    } catch (const POSIXError& error) {
      std::cout.flush();
      std::cerr << "tessaly info: " << file << ": " << std::strerror(static_cast<int>(error.code())) << '\n';
      code = failure;
    }
  }
  return code;
}

}  // namespace

const Command infoCommand{.name = "info", .summary = "tell about the system, or about files", .help = help, .run = run};

}  // namespace TessalyTool
