// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Settings/detail/SettingsTable.hpp"

#include <algorithm>
#include <utility>
#include <vector>

namespace Tessaly::inline v1::detail {

SettingsTable::SettingsTable() = default;
SettingsTable::~SettingsTable() = default;

std::optional<PropertyList> SettingsTable::value(std::string_view key) const {
  const UnfairLock::Guard guard(lock_);
  const auto found = values_.find(key);
  if (found == values_.end()) return std::nullopt;
  return found->second;
}

std::uint64_t SettingsTable::nextRevision() noexcept {
  static constinit std::atomic<std::uint64_t> latest{0};
  return latest.fetch_add(1, std::memory_order_relaxed) + 1;
}

std::optional<PropertyList> SettingsTable::exchange(std::string_view key, std::optional<PropertyList> value) {
  const UnfairLock::Guard guard(lock_);
  struct Revision {
    std::atomic<std::uint64_t>& revision;
    // Stores the number after the change, so that a thread that sees the number also sees the change.
    ~Revision() { revision.store(nextRevision(), std::memory_order_release); }
  } const next{revision_};
  const auto found = values_.find(key);
  if (found == values_.end()) {
    if (value) values_.emplace(std::string(key), std::move(*value));
    return std::nullopt;
  }
  std::optional<PropertyList> previous = std::move(found->second);
  if (value) {
    found->second = std::move(*value);
  } else {
    values_.erase(found);
  }
  return previous;
}

void SettingsTable::replace(const PropertyList::Dictionary& values) {
  Values table;
  table.reserve(values.size());
  for (const auto& [key, value] : values) table.emplace(key, value);
  put(table);
}

void SettingsTable::takeFrom(SettingsTable& other) {
  Values values;
  {
    const UnfairLock::Guard guard(other.lock_);
    values.swap(other.values_);
  }
  put(values);
}

void SettingsTable::put(Values& values) {
  const UnfairLock::Guard guard(lock_);
  values_.swap(values);
  revision_.store(nextRevision(), std::memory_order_release);
}

PropertyList::Dictionary SettingsTable::all() const {
  // Sorts outside the lock, so that a thread that reads a value does not wait for the sort.
  std::vector<std::pair<std::string, PropertyList>> entries;
  {
    const UnfairLock::Guard guard(lock_);
    entries.assign(values_.begin(), values_.end());
  }
  std::ranges::sort(entries, {}, &std::pair<std::string, PropertyList>::first);
  PropertyList::Dictionary result;
  for (auto& [key, value] : entries) result.emplace_hint(result.end(), std::move(key), std::move(value));
  return result;
}

}  // namespace Tessaly::inline v1::detail
