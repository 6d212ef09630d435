// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "FileIndex.hpp"
#include "Tessaly/Concurrency/OwnedTasks.hpp"
#include "Tessaly/Core/Foundation/URL.hpp"
#include "Tessaly/Core/Observation/Property.hpp"

namespace keeper {

/// Finds files with equal contents in the background. Belongs to the main thread.
class DuplicateFinder {
 public:
  enum class State : std::uint8_t { idle, searching, paused };

  /// Ends the search, and forgets what it found.
  void forget();
  /// Begins a new search and forgets the former one.
  void start(const Tessaly::URL& directory, const Files& files);
  void pause();
  void resume();
  void cancel();

  Tessaly::Property<State> state = State::idle;
  /// The fraction of the bytes that were read.
  Tessaly::Property<double> progress = 0.0;
  /// Groups of files with equal contents, each in the order of the list.
  Tessaly::Property<std::vector<Files>> groups;
  /// The number of files that could not be read.
  Tessaly::Property<int> unreadable = 0;

 private:
  Tessaly::Async<void> search(Tessaly::URL directory, std::vector<Files> candidates);
  Tessaly::Async<void> untilResumed();

  Tessaly::OwnedTasks tasks_;  // The last member, so it ends first.
};

}  // namespace keeper
