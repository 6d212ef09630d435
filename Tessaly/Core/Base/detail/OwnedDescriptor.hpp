// SPDX-License-Identifier: MIT
#pragma once

#include <unistd.h>

#include <utility>

namespace Tessaly::inline v1::detail {

/// A file descriptor that is closed at its end. Part of each library that uses it, and of none of their interfaces.
///
/// Thread contract: thread-compatible.
class OwnedDescriptor {
 public:
  OwnedDescriptor() noexcept = default;
  explicit OwnedDescriptor(int descriptor) noexcept : descriptor_(descriptor) {}
  OwnedDescriptor(OwnedDescriptor&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
  OwnedDescriptor& operator=(OwnedDescriptor other) noexcept {
    std::swap(descriptor_, other.descriptor_);
    return *this;
  }
  ~OwnedDescriptor() {
    if (descriptor_ >= 0) ::close(descriptor_);
  }

  [[nodiscard]] bool isOpen() const noexcept { return descriptor_ >= 0; }
  [[nodiscard]] int get() const noexcept { return descriptor_; }
  /// Hands the descriptor over to the caller, which closes it.
  [[nodiscard]] int release() noexcept { return std::exchange(descriptor_, -1); }

 private:
  int descriptor_ = -1;
};

}  // namespace Tessaly::inline v1::detail
