// SPDX-License-Identifier: MIT

// A program without a toolkit: its own loop waits for input, for signals and for the library. Enter, the end of input,
// SIGINT or SIGTERM ends it.

#include <poll.h>
#include <signal.h>
#include <sys/signalfd.h>

#include <cstdio>

#include "Session.hpp"
#include "Tessaly/Core/Foundation/Bundle.hpp"
#include "Tessaly/Core/Tasks/MainQueue.hpp"

namespace {

/// A descriptor that becomes readable at SIGINT or SIGTERM, so these signals no longer end the process by themselves.
int signalDescriptor() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  sigprocmask(SIG_BLOCK, &signals, nullptr);
  return signalfd(-1, &signals, SFD_CLOEXEC);
}

}  // namespace

int main() {
  const int signals = signalDescriptor();  // Before the library starts a thread, so every thread blocks the signals.
  // Without CMake's tessaly_bundle() the program says itself who it is, before anything else.
  Tessaly::Bundle::setMain({.identifier = "org.example.first-hour", .shortVersion = "1.0"});
  const Session session([](const std::string& text) { std::puts(text.c_str()); });
  pollfd waits[] = {{.fd = Tessaly::MainQueue::fileDescriptor(), .events = POLLIN, .revents = 0},
                    {.fd = 0, .events = POLLIN, .revents = 0},
                    {.fd = signals, .events = POLLIN, .revents = 0}};
  while (waits[1].revents == 0 && waits[2].revents == 0) {
    poll(waits, 3, -1);
    Tessaly::MainQueue::drain();
  }
  // The destructors run from here, as after Enter.
}
