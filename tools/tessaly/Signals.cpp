// SPDX-License-Identifier: MIT
#include "Signals.hpp"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <ctime>
#include <thread>

namespace TessalyTool {
namespace {

constinit bool wereBrokenPipesIgnored = false;

bool isIgnored(int number) {
  struct sigaction action{};
  return ::sigaction(number, nullptr, &action) == 0 && (action.sa_flags & SA_SIGINFO) == 0 &&
         action.sa_handler == SIG_IGN;
}

}  // namespace

void ignoreBrokenPipes() { wereBrokenPipesIgnored = std::signal(SIGPIPE, SIG_IGN) == SIG_IGN; }

void endIfNobodyReads() {
  pollfd output{.fd = STDOUT_FILENO, .events = POLLOUT, .revents = 0};
  if (wereBrokenPipesIgnored || ::poll(&output, 1, 0) != 1 || (output.revents & POLLERR) == 0) return;
  std::signal(SIGPIPE, SIG_DFL);
  std::raise(SIGPIPE);
}

PendingSignals::PendingSignals(std::initializer_list<int> numbers) {
  ::sigemptyset(&waiting_);
  for (const int number : numbers) {
    // If SIGCHLD is ignored, the system discards the status of a child.
    if (number == SIGCHLD) std::signal(SIGCHLD, SIG_DFL);
    if (!isIgnored(number)) ::sigaddset(&waiting_, number);
  }
  ::pthread_sigmask(SIG_BLOCK, &waiting_, &maskBefore_);
}

siginfo_t PendingSignals::next() const {
  siginfo_t information{};
  while (::sigwaitinfo(&waiting_, &information) < 0 && errno == EINTR) {
  }
  return information;
}

void PendingSignals::deliverSoon() const {
  std::thread([waiting = waiting_] {
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    constexpr timespec now{};
    while (::sigtimedwait(&waiting, nullptr, &now) > 0) {
    }
    ::pthread_sigmask(SIG_UNBLOCK, &waiting, nullptr);
    for (;;) ::pause();
  }).detach();
}

sigset_t PendingSignals::resetInPrograms() {
  sigset_t reset;
  ::sigemptyset(&reset);
  if (!wereBrokenPipesIgnored) ::sigaddset(&reset, SIGPIPE);
  return reset;
}

}  // namespace TessalyTool
