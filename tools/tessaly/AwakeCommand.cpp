// SPDX-License-Identifier: MIT
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <iostream>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Command.hpp"
#include "Interruption.hpp"
#include "Options.hpp"
#include "Signals.hpp"
#include "Tessaly/Platform/Power/PowerBackend.hpp"
#include "Tessaly/SystemServices/SleepHandler.hpp"

namespace TessalyTool {
namespace {

using Tessaly::PowerBackend;
using Tessaly::PowerProblem;
using Tessaly::PowerService;
using Tessaly::PowerStatus;
using Tessaly::SleepHandler;

constexpr std::string_view help = R"(Usage: tessaly awake [--reason <text>] [[--] <command> [argument...]]

Keeps the display awake while the command runs. Without a command, keeps it awake until interrupted.

  --reason <text>   the reason that the desktop may show; without it, the command's name

Passes its signals on to the command. Runs the command even if no service can keep the display awake, and reports that
on standard error.

Exit codes: that of the command; 126 if it cannot be run, 127 if it is not found. If a signal ends the command, the same
signal ends this process.
Without a command: 0 interrupted, 1 failed, 2 wrong usage.
)";

constexpr int cannotBeRun = 126;
constexpr int isNotFound = 127;

const char* nameOf(PowerService service) {
  switch (service) {
    case PowerService::none:
      return "nobody";
    case PowerService::screenSaver:
      return "the screen saver";
    case PowerService::sessionManager:
      return "the session manager";
    case PowerService::login:
      return "the login manager";
    case PowerService::portal:
      return "the portal";
  }
  return "";
}

const char* wordsFor(PowerProblem problem) {
  switch (problem) {
    case PowerProblem::none:
      return "agreed";
    case PowerProblem::noBus:
      return "its bus cannot be reached";
    case PowerProblem::noOwner:
      return "is not running";
    case PowerProblem::notAnswering:
      return "did not answer";
    case PowerProblem::refused:
      return "refused";
    case PowerProblem::wrongReply:
      return "gave an answer of another type";
  }
  return "";
}

std::string complaint() {
  std::string text = "Nobody can keep the display awake (";
  const PowerStatus status = PowerBackend::current().status();
  const char* separator = "";
  for (const PowerStatus::Attempt& attempt : status.attempts) {
    text += std::exchange(separator, "; ");
    text += std::string(nameOf(attempt.service)) + ": " + wordsFor(attempt.problem);
    if (!attempt.message.empty()) text += ", \"" + attempt.message + '"';
  }
  return text + ')';
}

/// Starts the command. Returns an exit code on failure, otherwise nothing, and sets the process's number.
std::optional<int> start(Arguments command, const PendingSignals& signals, pid_t& process) {
  std::vector<std::string> words(command.begin(), command.end());
  std::vector<char*> pointers;
  for (std::string& word : words) pointers.push_back(word.data());
  pointers.push_back(nullptr);
  posix_spawnattr_t attributes;
  ::posix_spawnattr_init(&attributes);
  ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  const sigset_t reset = PendingSignals::resetInPrograms();
  ::posix_spawnattr_setsigmask(&attributes, &signals.maskBefore());
  ::posix_spawnattr_setsigdefault(&attributes, &reset);
  const int error = ::posix_spawnp(&process, pointers[0], nullptr, &attributes, pointers.data(), environ);
  ::posix_spawnattr_destroy(&attributes);
  if (error == 0) return std::nullopt;
  std::cerr << "tessaly awake: " << words[0] << ": " << std::strerror(error) << '\n';
  return error == ENOENT ? isNotFound : cannotBeRun;
}

/// Waits for the end of the process, and returns the status of `waitpid`.
int statusAtTheEndOf(pid_t process, const PendingSignals& signals) {
  for (;;) {
    int status = 0;
    if (::waitpid(process, &status, WNOHANG) == process) return status;
    const siginfo_t signal = signals.next();
    // The terminal sends its signals to the whole group, so the command has received those already. A signal of the
    // command itself is not sent back.
    const bool isFromAProcess = signal.si_code <= 0;
    if (signal.si_signo != SIGCHLD && isFromAProcess && signal.si_pid != process) ::kill(process, signal.si_signo);
  }
}

/// Ends this process by the same signal, so that a shell sees the same end.
[[noreturn]] void dieOf(int signal) {
  std::cout.flush();
  constexpr rlimit none{.rlim_cur = 0, .rlim_max = 0};  // Only the core file of the command is useful.
  ::setrlimit(RLIMIT_CORE, &none);
  std::signal(signal, SIG_DFL);
  sigset_t mask;
  ::sigemptyset(&mask);
  ::sigaddset(&mask, signal);
  ::pthread_sigmask(SIG_UNBLOCK, &mask, nullptr);
  ::raise(signal);
  ::_exit(128 + signal);
}

ExitCode runCommand(Arguments command, const std::string& reason) {
  const PendingSignals signals({SIGCHLD, SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGUSR1, SIGUSR2});
  if (!SleepHandler::shared()->disableScreenSleep(reason)) std::cerr << "tessaly awake: " << complaint() << std::endl;
  pid_t process = 0;
  const std::optional<int> failed = start(command, signals, process);
  const int status = failed ? 0 : statusAtTheEndOf(process, signals);
  SleepHandler::shared()->enableScreenSleep();
  if (failed) return static_cast<ExitCode>(*failed);
  if (WIFSIGNALED(status)) dieOf(WTERMSIG(status));
  return static_cast<ExitCode>(WEXITSTATUS(status));
}

ExitCode runUntilInterrupted(const std::string& reason) {
  const Interruption interruption;
  if (!SleepHandler::shared()->disableScreenSleep(reason)) throw CommandError(complaint());
  std::cerr << "Keeping the display awake by " << nameOf(PowerBackend::current().status().service) << std::endl;
  interruption.wait();
  SleepHandler::shared()->enableScreenSleep();
  return success;
}

ExitCode run(Arguments arguments) {
  std::optional<std::string> reason;
  while (!arguments.empty() && arguments[0].starts_with('-')) {
    const std::string_view option = arguments[0];
    arguments = arguments.subspan(1);
    if (option == "--") {
      if (arguments.empty()) throw UsageError("A command is missing");
      break;
    }
    if (option != "--reason") throw unknownOption(option);
    if (arguments.empty()) throw UsageError("--reason wants a text");
    reason = arguments[0];
    arguments = arguments.subspan(1);
  }
  if (arguments.empty()) return runUntilInterrupted(reason.value_or("The user asked for it"));
  return runCommand(arguments, reason.value_or(std::string(arguments[0])));
}

}  // namespace

const Command awakeCommand{
    .name = "awake", .summary = "keep the display awake while a command runs", .help = help, .run = run};

}  // namespace TessalyTool
