// SPDX-License-Identifier: MIT

// A program without a toolkit: its own loop waits for input and for the library. Enter, or the end of input, ends it.

#include <poll.h>

#include <cstdio>

#include "Session.hpp"
#include "Tessaly/Core/Foundation/Bundle.hpp"
#include "Tessaly/Core/Tasks/MainQueue.hpp"

int main() {
  // Without CMake's tessaly_bundle() the program says itself who it is, before anything else.
  Tessaly::Bundle::setMain({.identifier = "org.example.first-hour", .shortVersion = "1.0"});
  const Session session([](const std::string& text) { std::puts(text.c_str()); });
  pollfd waits[] = {{.fd = Tessaly::MainQueue::fileDescriptor(), .events = POLLIN, .revents = 0},
                    {.fd = 0, .events = POLLIN, .revents = 0}};
  while (waits[1].revents == 0) {
    poll(waits, 2, -1);
    Tessaly::MainQueue::drain();
  }
}
