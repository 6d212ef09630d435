// SPDX-License-Identifier: MIT
#pragma once

#include <unistd.h>

#include <utility>

namespace Tessaly::inline v1::detail {

/// The owner of a file descriptor. The destructor closes the descriptor. Each library that includes this header
/// contains its own copy of the class and does not export this copy.
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
  /// Returns the descriptor, and gives up its ownership. The caller must close the descriptor.
  [[nodiscard]] int release() noexcept { return std::exchange(descriptor_, -1); }

 private:
  int descriptor_ = -1;
};

}  // namespace Tessaly::inline v1::detail
