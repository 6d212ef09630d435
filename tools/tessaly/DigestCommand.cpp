// SPDX-License-Identifier: MIT
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iostream>
#include <string>
#include <string_view>

#include "Command.hpp"
#include "Interruption.hpp"
#include "JSON.hpp"
#include "Options.hpp"
#include "Tessaly/Core/Foundation/Digests.hpp"
#include "Tessaly/Core/Foundation/POSIXError.hpp"
#include "Tessaly/Core/Foundation/URL.hpp"
#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/FoundationExtensions/Digest+Extensions.hpp"

namespace TessalyTool {
namespace {

using Tessaly::Async;
using Tessaly::POSIXError;
using Tessaly::URL;

constexpr std::string_view help = R"(Usage: tessaly digest [--sha256 | --sha512 | --md5] [--json] [--] <file>...

Prints the digest and the name of each file. Without an option, the digest is SHA-256. Files may have any size, because
they are read in pieces. Lines have the form of sha256sum(1). A line for a name with a line break or a backslash begins
with a backslash, and the name has "\n", "\r" and "\\" instead of these characters. The file "-" is standard input.

  --json      a line of JSON for each file: {"file":...,"method":...,"digest":...}

Exit codes: 0 done, 1 failed (a file that cannot be read, for example), 2 wrong usage.
)";

constexpr std::string_view standardInput = "-";

/// Blocks. The command has nothing else to do meanwhile.
template <typename Digest>
Digest digestOfStandardInput() {
  Tessaly::DigestHasher<Digest> hasher;
  std::array<std::uint8_t, 65'536> block;
  for (;;) {
    const ssize_t length = ::read(STDIN_FILENO, block.data(), block.size());
    if (length == 0) return hasher.finalize();
    if (length > 0) {
      hasher.update({block.data(), static_cast<std::size_t>(length)});
    } else if (errno != EINTR) {
      throw POSIXError::last();
    }
  }
}

template <typename Digest>
Async<std::string> textOf(std::string file) {
  if (file == standardInput) co_return stringEncoded(digestOfStandardInput<Digest>());
  const Digest digest = co_await Tessaly::digestOfFile<Digest>(URL::fileURLWithPath(file));
  co_return stringEncoded(digest);
}

Async<std::string> digestOf(std::string file, std::string_view method) {
  if (method == "sha512") return textOf<Tessaly::SHA512Digest>(std::move(file));
  if (method == "md5") return textOf<Tessaly::Insecure::MD5Digest>(std::move(file));
  return textOf<Tessaly::SHA256Digest>(std::move(file));
}

/// A line as `sha256sum` writes it. One name cannot look like several lines.
std::string lineOf(const std::string& digest, std::string_view file) {
  std::string name;
  for (const char unit : file) {
    if (unit == '\n') {
      name += "\\n";
    } else if (unit == '\r') {
      name += "\\r";
    } else {
      name.append(unit == '\\' ? "\\" : "").append(1, unit);
    }
  }
  return (name == file ? "" : "\\") + digest + "  " + name + '\n';
}

std::string_view methodOf(const CommandLine& line) {
  std::string_view method;
  for (const std::string_view option : {"--sha256", "--sha512", "--md5"}) {
    if (!line.has(option)) continue;
    if (!method.empty()) throw UsageError("Only one method at a time");
    method = option.substr(2);
  }
  return method.empty() ? "sha256" : method;
}

Async<void> printAll(const CommandLine& line, std::string_view method, ExitCode& code) {
  for (const std::string& file : line.words()) {
    try {
      const std::string digest = co_await digestOf(file, method);
      if (line.has("--json")) {
        std::cout << JSONObject().add("file", file).add("method", method).add("digest", digest).text() << '\n';
      } else {
        std::cout << lineOf(digest, file);
      }
      flushOutput();
    } catch (const POSIXError& error) {
      std::cerr << "tessaly digest: " << file << ": " << std::strerror(static_cast<int>(error.code())) << '\n';
      code = failure;
    }
  }
}

ExitCode run(Arguments arguments) {
  const CommandLine line(arguments, {"--sha256", "--sha512", "--md5", "--json"});
  const std::string_view method = methodOf(line);
  if (line.words().empty()) throw UsageError("A file is missing");
  ExitCode code = success;
  const auto work = [&] { return printAll(line, method, code); };
  if (std::ranges::find(line.words(), standardInput) != line.words().end()) {
    Tessaly::syncWait(work);  // A read of standard input may never return, so a signal ends the process itself.
  } else {
    const Interruption interruption;
    interruption.runUntilInterrupted(work);
  }
  return code;
}

}  // namespace

const Command digestCommand{.name = "digest", .summary = "print digests of files", .help = help, .run = run};

}  // namespace TessalyTool
