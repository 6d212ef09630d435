// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "Tessaly/Core/Locks/UnfairLock.hpp"
#include "Tessaly/Core/Tasks/detail/InotifyHub.hpp"

namespace Tessaly::inline v1::detail {

/// Collects the names from the kernel's events about several directories.
///
/// Thread contract: thread-safe.
class DirectoryListener final : public InotifyHub::Subscriber {
 public:
  /// The names to examine again. Each value says whether the named file was written.
  using Names = std::unordered_map<std::string, bool>;
  /// The events since the last call of `take`, for each watch.
  struct Heard {
    std::unordered_map<int, Names> names;
    std::size_t count = 0;
    /// Whether events are missing, so that every name must be examined.
    bool isEverything = false;
    /// Whether the latest event of a move was `IN_MOVED_FROM`. The `IN_MOVED_TO` of the same move may still follow.
    bool isHalfAMove = false;
  };

  explicit DirectoryListener(std::function<void()> onPossibleChange) : onPossibleChange_(std::move(onPossibleChange)) {}
  bool note(int watch, std::uint32_t mask, std::string_view name) noexcept override;
  bool noteMounts() noexcept override;
  void wake() noexcept override { onPossibleChange_(); }
  Heard take();
  bool isHalfAMove();

 private:
  bool noteEverything() noexcept TESSALY_REQUIRES(lock_);

  UnfairLock lock_;
  Heard heard_ TESSALY_GUARDED_BY(lock_);
  const std::function<void()> onPossibleChange_;
};

}  // namespace Tessaly::inline v1::detail
