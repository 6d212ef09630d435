// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Testing/ScriptedBookmarks.hpp"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <string_view>
#include <system_error>
#include <utility>

#include "Tessaly/Core/Foundation/POSIXError.hpp"

namespace Tessaly::inline v1 {

ScriptedBookmarks::~ScriptedBookmarks() = default;

ScriptedBookmarks::Snapshot ScriptedBookmarks::snapshot() const {
  UnfairLock::Guard guard(lock_);
  return {.creations = creations, .resolutions = resolutions};
}

void ScriptedBookmarks::add(const URL& url) {
  UnfairLock::Guard guard(lock_);
  files_[url.path()] = ++lastNumber_;
}

void ScriptedBookmarks::move(const URL& from, const URL& to) {
  UnfairLock::Guard guard(lock_);
  auto file = files_.extract(from.path());
  if (file.empty()) return;
  files_[to.path()] = file.mapped();
}

void ScriptedBookmarks::remove(const URL& url) {
  UnfairLock::Guard guard(lock_);
  files_.erase(url.path());
}

Data ScriptedBookmarks::bookmarkData(const URL& url, BookmarkCreationOptions options) {
  UnfairLock::Guard guard(lock_);
  creations.push_back(options);
  if (failure) throw POSIXError(*failure);
  const auto file = files_.find(url.path());
  if (file == files_.end()) throw POSIXError(ENOENT);
  return Data(std::to_string(file->second) + ' ' + file->first);
}

ResolvedBookmark ScriptedBookmarks::resolve(const Data& data, BookmarkResolutionOptions options) {
  UnfairLock::Guard guard(lock_);
  resolutions.push_back(options);
  if (failure) throw POSIXError(*failure);
  const std::string_view text = data.text();
  int number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end == text.data() + text.size() || *end != ' ') throw POSIXError(EINVAL);
  const std::string_view path(end + 1, text.data() + text.size());
  const auto file = std::ranges::find(files_, number, [](const auto& entry) { return entry.second; });
  if (file == files_.end()) throw POSIXError(ENOENT);
  return {.url = URL::fileURLWithPath(file->first), .isStale = file->first != path};
}

}  // namespace Tessaly::inline v1
