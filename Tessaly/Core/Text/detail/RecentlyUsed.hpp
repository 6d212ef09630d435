// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

namespace Tessaly::inline v1::detail {

/// A cache that finds a few values by their keys. The values are expensive to make. If the cache is full, a new value
/// replaces the least recently used value.
///
/// Thread contract: thread-compatible.
template <typename Key, typename Value, std::size_t capacity>
class RecentlyUsed {
 public:
  /// The value of a key. If the value is missing, `make(key)` makes it as a `std::unique_ptr`. The reference is valid
  /// until the next call of `get` with another key, or of `clear`.
  template <typename Sought, typename Make>
  Value& get(const Sought& sought, Make&& make) {
    if (!entries_.empty() && entries_.front().first == sought) [[likely]]
      return *entries_.front().second;
    const auto found = std::ranges::find_if(entries_, [&](const auto& entry) { return entry.first == sought; });
    if (found != entries_.end()) {
      std::rotate(entries_.begin(), found, found + 1);
    } else {
      Key key(sought);
      auto value = make(std::as_const(key));
      if (entries_.size() == capacity) entries_.pop_back();
      entries_.emplace(entries_.begin(), std::move(key), std::move(value));
    }
    return *entries_.front().second;
  }

  void clear() noexcept { entries_.clear(); }

 private:
  std::vector<std::pair<Key, std::unique_ptr<Value>>> entries_;
};

}  // namespace Tessaly::inline v1::detail
