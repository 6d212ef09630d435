// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Settings/detail/SettingsTable.hpp"

#include <algorithm>
#include <utility>
#include <vector>

namespace Tessaly::inline v1::detail {

SettingsTable::SettingsTable() = default;
SettingsTable::~SettingsTable() = default;

const SettingsTable::Part& SettingsTable::partOf(std::string_view key) const noexcept {
  // Not the hash of the tables themselves: that takes the whole key, and its low bits choose the bucket.
  const auto last = key.empty() ? 0u : static_cast<unsigned char>(key.back());
  const auto middle = key.empty() ? 0u : static_cast<unsigned char>(key[key.size() / 2]);
  return parts_[(last ^ (middle * 7u) ^ key.size()) % parts_.size()];
}

std::optional<PropertyList> SettingsTable::value(std::string_view key) const {
  const Part& part = partOf(key);
  const UnfairLock::Guard guard(part.lock);
  const auto found = part.values.find(key);
  if (found == part.values.end()) return std::nullopt;
  return found->second;
}

std::uint64_t SettingsTable::nextRevision() noexcept {
  static constinit std::atomic<std::uint64_t> latest{0};
  return latest.fetch_add(1, std::memory_order_relaxed) + 1;
}

std::optional<PropertyList> SettingsTable::exchange(std::string_view key, std::optional<PropertyList> value) {
  Part& part = const_cast<Part&>(partOf(key));
  const UnfairLock::Guard guard(part.lock);
  struct Revision {
    std::atomic<std::uint64_t>& revision;
    // After the change, so that whoever sees the number sees the change. Of two at once, either may be the last.
    ~Revision() { revision.store(nextRevision(), std::memory_order_release); }
  } const next{revision_};
  const auto found = part.values.find(key);
  if (found == part.values.end()) {
    if (value) part.values.emplace(std::string(key), std::move(*value));
    return std::nullopt;
  }
  std::optional<PropertyList> previous = std::move(found->second);
  if (value) {
    found->second = std::move(*value);
  } else {
    part.values.erase(found);
  }
  return previous;
}

PropertyList::Dictionary SettingsTable::all() const {
  // Sorted outside the locks: nobody who wants a value waits for that.
  std::vector<std::pair<std::string, PropertyList>> entries;
  for (const Part& part : parts_) {
    const UnfairLock::Guard guard(part.lock);
    entries.insert(entries.end(), part.values.begin(), part.values.end());
  }
  std::ranges::sort(entries, {}, &std::pair<std::string, PropertyList>::first);
  PropertyList::Dictionary result;
  for (auto& [key, value] : entries) result.emplace_hint(result.end(), std::move(key), std::move(value));
  return result;
}

}  // namespace Tessaly::inline v1::detail
