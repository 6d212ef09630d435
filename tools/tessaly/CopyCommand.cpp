// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <iostream>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Command.hpp"
#include "Options.hpp"
#include "Tessaly/Core/Foundation/URL.hpp"
#include "Tessaly/Platform/Linux/DisplayPasteboard.hpp"
#include "Tessaly/SystemServices/PasteboardService.hpp"

namespace TessalyTool {
namespace {

using Tessaly::DisplayPasteboard;
using Tessaly::PasteboardBackend;
using Tessaly::PasteboardProblem;
using Tessaly::URL;

constexpr std::string_view help = R"(Usage: tessaly copy [--url] [--] [text...]

Puts text on the pasteboard: the words with a space between them. Without words, puts standard input there unchanged.

  --url   offer the text as a URL

Returns when the text can be pasted. A process in the background offers it until another program replaces it or the
display is closed.

Exit codes: 0 done, 1 failed (no display, for example), 2 wrong usage.
)";

struct Contents {
  std::string text;
  std::optional<URL> url;
};

Contents contentsOf(Arguments arguments) {
  const CommandLine line(arguments, {"--url"});
  Contents contents;
  if (line.words().empty()) {
    contents.text.assign(std::istreambuf_iterator<char>(std::cin), {});
    if (std::cin.bad()) throw CommandError("Standard input cannot be read");
  }
  for (const std::string& word : line.words()) contents.text.append(contents.text.empty() ? "" : " ").append(word);
  if (line.has("--url")) {
    contents.url = URL::from(contents.text);
    // A text without a scheme also parses, as a relative URL.
    if (!contents.url || !contents.url->scheme()) throw CommandError("\"" + contents.text + "\" is no URL");
  }
  return contents;
}

/// Writes the contents. The pasteboard waits 2 s for its display, as is right for a window. A user of this command
/// waits for a busy display up to ten times as long.
PasteboardProblem write(const Contents& contents, const DisplayPasteboard& pasteboard) {
  PasteboardProblem problem = PasteboardProblem::notAnswering;
  for (int attempt = 0; attempt < 10 && problem == PasteboardProblem::notAnswering; ++attempt) {
    if (contents.url) {
      Tessaly::PasteboardService::write(*contents.url);
    } else {
      Tessaly::PasteboardService::write(contents.text);
    }
    problem = pasteboard.status().problem;
  }
  return problem;
}

/// Offers the contents until another program replaces them. Writes the problem to the descriptor as soon as it is
/// known.
[[noreturn]] void serve(const Contents& contents, int report) {
  // A process in the background must not keep its parent's descriptors open.
  constexpr int keptReport = 3;
  ::setsid();
  if (report != keptReport) ::dup3(report, keptReport, O_CLOEXEC);
  ::close_range(keptReport + 1, UINT32_MAX, 0);
  const int nothing = ::open("/dev/null", O_RDWR | O_CLOEXEC);
  for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) ::dup2(nothing, standard);
  static_cast<void>(::chdir("/") == 0);
  const auto pasteboard = std::make_shared<DisplayPasteboard>();
  const Tessaly::BackendInstallation<PasteboardBackend> installation(pasteboard);
  const auto problem = static_cast<std::uint8_t>(write(contents, *pasteboard));
  const bool isHeard = ::write(keptReport, &problem, sizeof problem) == sizeof problem;
  ::close(keptReport);
  if (isHeard && problem == 0) pasteboard->waitWhileServing();
  ::_exit(0);
}

[[noreturn]] void fail(PasteboardProblem problem) {
  switch (problem) {
    case PasteboardProblem::noDisplay:
      throw CommandError("There is no display with a pasteboard that a program without a window may use");
    case PasteboardProblem::notAnswering:
      throw CommandError("The display does not answer");
    case PasteboardProblem::displayLost:
      throw CommandError("The display went away");
    default:
      throw CommandError("The display refuses");
  }
}

ExitCode run(Arguments arguments) {
  const Contents contents = contentsOf(arguments);
  int report[2];
  if (::pipe2(report, O_CLOEXEC) != 0) throw CommandError(std::strerror(errno));
  // The library has not started a thread yet, so the child may use it.
  const pid_t server = ::fork();
  if (server < 0) throw CommandError(std::strerror(errno));
  if (server == 0) serve(contents, report[1]);
  ::close(report[1]);
  std::uint8_t problem = 0;
  ssize_t count = 0;
  while ((count = ::read(report[0], &problem, sizeof problem)) < 0 && errno == EINTR) {
  }
  if (count != sizeof problem) throw CommandError("The process in the background ended");
  if (problem != 0) fail(static_cast<PasteboardProblem>(problem));
  return success;
}

}  // namespace

const Command copyCommand{.name = "copy", .summary = "put text on the pasteboard", .help = help, .run = run};

}  // namespace TessalyTool
