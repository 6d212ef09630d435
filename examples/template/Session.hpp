// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <string>

#include "Tessaly/Concurrency/OwnedTasks.hpp"
#include "Tessaly/FoundationExtensions/Logger+Extensions.hpp"
#include "Tessaly/SettingsAndObservation/Default.hpp"

/// The contents of the window: a setting, and the progress of a background task. It belongs to the main thread.
class Session {
 public:
  /// `show` is called on the main thread, with each new text, until the session is destroyed.
  explicit Session(std::function<void(const std::string& text)> show);

 private:
  Tessaly::Async<void> search();

  std::function<void(const std::string& text)> show_;
  Tessaly::Logger logger_;
  int visit_;
  Tessaly::OwnedTasks tasks_;  // The last member, so it ends first: no task uses a member that is gone.
};
