// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Linux/DirectoryListener.hpp"

#include <sys/inotify.h>

namespace Tessaly::inline v1::detail {
namespace {

/// With more names than this, listing everything again is cheaper than keeping the names.
constexpr std::size_t maximumNames = 100'000;

}  // namespace

bool DirectoryListener::note(int watch, std::uint32_t mask, std::string_view name) noexcept {
  UnfairLock::Guard guard(lock_);
  if ((mask & (IN_Q_OVERFLOW | IN_UNMOUNT)) != 0 || heard_.count > maximumNames) return noteEverything();
  if (heard_.isEverything) return false;
  if (name.empty()) return false;
  if ((mask & IN_MOVED_FROM) != 0) heard_.isHalfAMove = true;
  if ((mask & IN_MOVED_TO) != 0) heard_.isHalfAMove = false;
  auto& names = heard_.names[watch];
  const auto [entry, isNew] = names.try_emplace(std::string(name), false);
  const bool isWrittenNow = (mask & IN_MODIFY) != 0 && !std::exchange(entry->second, true);
  if (isNew) ++heard_.count;
  return isNew || isWrittenNow;
}

bool DirectoryListener::noteMounts() noexcept {
  UnfairLock::Guard guard(lock_);
  return noteEverything();
}

bool DirectoryListener::noteEverything() noexcept {
  const bool isNew = !heard_.isEverything;
  heard_ = {};
  heard_.isEverything = true;
  return isNew;
}

DirectoryListener::Heard DirectoryListener::take() {
  UnfairLock::Guard guard(lock_);
  return std::exchange(heard_, {});
}

bool DirectoryListener::isHalfAMove() {
  UnfairLock::Guard guard(lock_);
  return heard_.isHalfAMove;
}

}  // namespace Tessaly::inline v1::detail
