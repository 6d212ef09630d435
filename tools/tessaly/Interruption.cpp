// SPDX-License-Identifier: MIT
#include "Interruption.hpp"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <exception>
#include <iostream>
#include <utility>

#include "Command.hpp"
#include "Tessaly/Core/Base/Error.hpp"
#include "Tessaly/Core/Foundation/POSIXError.hpp"
#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"

namespace TessalyTool {

Interruption::Interruption() {
  descriptor_ = ::signalfd(-1, &signals_.set(), SFD_CLOEXEC | SFD_NONBLOCK);
  if (descriptor_ < 0) throw Tessaly::POSIXError::last();
}

Interruption::~Interruption() { ::close(descriptor_); }

void Interruption::raise() {
  static std::atomic<bool> wasRaised = false;
  if (!wasRaised.exchange(true)) ::kill(::getpid(), SIGTERM);
}

void Interruption::runUntilInterrupted(std::function<Tessaly::Async<void>()> work) const {
  const int ended = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (ended < 0) throw Tessaly::POSIXError::last();
  const auto task = Tessaly::Task<>::detached([work = std::move(work), ended]() -> Tessaly::Async<void> {
    std::exception_ptr error;
    try {
      co_await work();
    } catch (...) {
      error = std::current_exception();
    }
    ::eventfd_write(ended, 1);
    if (error) std::rethrow_exception(error);
  });
  pollfd descriptors[]{{.fd = descriptor_, .events = POLLIN, .revents = 0},
                       {.fd = ended, .events = POLLIN, .revents = 0}};
  while (::poll(descriptors, 2, -1) < 0 && errno == EINTR) {
  }
  if ((descriptors[0].revents & POLLIN) != 0) wait();
  task.cancel();
  std::exception_ptr error;
  try {
    Tessaly::syncWait([task]() -> Tessaly::Async<void> { co_await task.value(); });
  } catch (const Tessaly::CancellationError&) {
    // The cancellation was requested above.
  } catch (...) {
    error = std::current_exception();
  }
  ::close(ended);
  if (error) std::rethrow_exception(error);
}

void flushOutput() {
  std::cout.flush();
  if (!std::cout) throw CommandError("Cannot write to standard output");
}

}  // namespace TessalyTool
