// SPDX-License-Identifier: MIT
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "Command.hpp"
#include "Options.hpp"
#include "Tessaly/Core/Foundation/POSIXError.hpp"
#include "Tessaly/Core/Foundation/UUID.hpp"
#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/FoundationExtensions/NSFileCoordinator+Extensions.hpp"
#include "Tessaly/Platform/Files/FileManager.hpp"

namespace TessalyTool {
namespace {

using Tessaly::Data;
using Tessaly::POSIXError;
using Tessaly::URL;

constexpr std::string_view help = R"(Usage: tessaly zip [--force] <archive> <file>...

Writes a zip archive of copies of files, links and directories, each under its own name, in one directory with a random
name. Two files of the same name are an error. Names are in UTF-8. Times and modes are kept. The archive "-" is
standard output.

  --force     replace an existing archive after the new one is complete

Exit codes: 0 done, 1 failed (a file that does not exist, for example), 2 wrong usage.
)";

struct Request {
  std::string archive;
  std::vector<std::string> files;
  bool replaces = false;
};

Request parsed(Arguments arguments) {
  const CommandLine line(arguments, {"--force"});
  const std::vector<std::string>& words = line.words();
  Request request;
  request.replaces = line.has("--force");
  if (words.empty()) throw UsageError("An archive is missing");
  if (words.size() == 1) throw UsageError("A file is missing");
  request.archive = words.front();
  request.files.assign(words.begin() + 1, words.end());
  return request;
}

CommandError failed(const std::string& file, int code) { return CommandError(file + ": " + std::strerror(code)); }

std::vector<URL> urlsOf(const std::vector<std::string>& files) {
  std::vector<URL> urls;
  std::vector<std::string> names;
  for (const std::string& file : files) {
    std::error_code code;
    if (!std::filesystem::exists(std::filesystem::symlink_status(file, code))) {
      throw failed(file, code ? code.value() : ENOENT);
    }
    urls.push_back(URL::fileURLWithPath(file));
    const std::string name = urls.back().lastPathComponent();
    if (std::ranges::find(names, name) != names.end()) {
      throw CommandError(file + ": There is another file of the name \"" + name + "\"");
    }
    names.push_back(name);
  }
  return urls;
}

/// Writes a temporary file beside the archive and renames it, so that no program finds an incomplete archive.
void store(const Data& data, const Request& request) {
  const std::string part = request.archive + "." + Tessaly::UUID::random().uuidString() + ".part";
  try {
    data.write(URL::fileURLWithPath(part));
    if (request.replaces) {
      std::filesystem::rename(part, request.archive);
    } else {
      Tessaly::FileManager::default_().moveItem(URL::fileURLWithPath(part), URL::fileURLWithPath(request.archive));
    }
  } catch (const POSIXError& error) {
    ::unlink(part.c_str());
    throw failed(request.archive, static_cast<int>(error.code()));
  } catch (const std::filesystem::filesystem_error& error) {
    ::unlink(part.c_str());
    throw failed(request.archive, error.code().value());
  }
}

ExitCode run(Arguments arguments) {
  const Request request = parsed(arguments);
  const bool toOutput = request.archive == "-";
  if (!toOutput && !request.replaces && std::filesystem::exists(std::filesystem::symlink_status(request.archive))) {
    throw CommandError(request.archive + " is there already; --force replaces it");
  }
  const std::vector<URL> urls = urlsOf(request.files);
  Data data;
  try {
    data = Tessaly::syncWait([&] { return zipFiles(Tessaly::NSFileCoordinator(), urls); });
  } catch (const POSIXError& error) {
    throw CommandError(std::strerror(static_cast<int>(error.code())));
  }
  if (toOutput) {
    std::cout.write(data.text().data(), static_cast<std::streamsize>(data.size()));
  } else {
    store(data, request);
  }
  return success;
}

}  // namespace

const Command zipCommand{.name = "zip", .summary = "write a zip archive of files", .help = help, .run = run};

}  // namespace TessalyTool
