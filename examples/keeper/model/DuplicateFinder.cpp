// SPDX-License-Identifier: MIT
#include "DuplicateFinder.hpp"

#include <algorithm>
#include <map>
#include <string>
#include <utility>

#include "Log.hpp"
#include "Tessaly/Concurrency/Observations.hpp"
#include "Tessaly/Core/Foundation/POSIXError.hpp"
#include "Tessaly/FoundationExtensions/Digest+Extensions.hpp"
#include "Tessaly/SystemServices/DisplayWakefulness.hpp"

namespace keeper {
namespace {

using namespace Tessaly;

/// Only files of the same size can be equal. Empty files are no duplicates of each other.
std::vector<Files> ofEqualSize(const Files& files) {
  std::map<std::int64_t, Files> bySize;
  for (const auto& file : files) {
    if (file->attributes.type == FileType::regular && file->attributes.size > 0) {
      bySize[file->attributes.size].push_back(file);
    }
  }
  std::vector<Files> groups;
  for (auto& [size, group] : bySize) {
    if (group.size() > 1) groups.push_back(std::move(group));
  }
  return groups;
}

}  // namespace

void DuplicateFinder::forget() {
  cancel();
  groups = {};
  progress = 0;
  unreadable = 0;
}

void DuplicateFinder::start(const URL& directory, const Files& files) {
  forget();
  state = State::searching;
  tasks_.add([this, directory, candidates = ofEqualSize(files)] { return search(directory, candidates); });
}

void DuplicateFinder::pause() {
  if (state == State::searching) state = State::paused;
}

void DuplicateFinder::resume() {
  if (state == State::paused) state = State::searching;
}

void DuplicateFinder::cancel() {
  tasks_.end();
  state = State::idle;
}

Async<void> DuplicateFinder::untilResumed() {
  auto states = Observations([this] { return state.value(); }).makeAsyncIterator();
  while (*co_await states.next() == State::paused) {
  }
}

Async<void> DuplicateFinder::search(URL directory, std::vector<Files> candidates) {
  const DisplayWakefulness awake("Keeper compares files");
  double bytes = 0;
  for (const Files& group : candidates) bytes += static_cast<double>(group.front()->attributes.size) * group.size();
  double read = 0;
  for (const Files& group : candidates) {
    std::map<std::string, Files> byDigest;
    for (const auto& file : group) {
      co_await untilResumed();
      try {
        const auto digest = co_await digestOfFile<SHA256Digest>(directory.appendingPathComponent(file->name));
        byDigest[stringEncoded(digest)].push_back(file);
      } catch (const POSIXError& error) {
        log().error("Cannot read %s: %d", file->name, static_cast<int>(error.code()));
        ++unreadable;
      }
      read += static_cast<double>(file->attributes.size);
      progress = read / bytes;
    }
    for (auto& [digest, equal] : byDigest) {
      if (equal.size() > 1) groups.modify([&](std::vector<Files>& all) { all.push_back(std::move(equal)); });
    }
  }
  log().notice("The search found %d sets of duplicates", static_cast<int>(groups.value().size()));
  state = State::idle;
}

}  // namespace keeper
