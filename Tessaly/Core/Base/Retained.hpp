// SPDX-License-Identifier: MIT
// Component: Tessaly::Base
#pragma once

#include <utility>

#include "Tessaly/Core/Base/Requirements.hpp"

namespace Tessaly::inline v1 {

/// A reference to an object that counts its own references, by `retain()` and `release()`.
///
/// The nearest standard facility is `std::shared_ptr`, which has the count beside the object and is twice as large.
///
/// Thread contract: thread-compatible. Different threads may use different references to one object if the object's
/// count is thread-safe.
///
///     Retained<Connection> connection = Retained<Connection>::adopt(new Connection);
///     Retained<Connection> other = Retained<Connection>::sharing(*connection);
template <typename Object>
class Retained {
 public:
  Retained() noexcept = default;
  /// Takes over a reference that the caller owns, such as the first reference of a new object. Does not call
  /// `retain()`.
  static Retained adopt(Object* object) noexcept {
    Retained reference;
    reference.object_ = object;
    return reference;
  }
  /// Makes a further reference to an object. The caller must keep the object alive during the call.
  static Retained sharing(Object& object) noexcept {
    object.retain();
    return adopt(&object);
  }
  Retained(const Retained& other) noexcept : object_(other.object_) {
    if (object_ != nullptr) object_->retain();
  }
  Retained(Retained&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  Retained& operator=(Retained other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  ~Retained() {
    if (object_ != nullptr) object_->release();
  }

  [[nodiscard]] Object* get() const noexcept { return object_; }
  Object* operator->() const noexcept { return object_; }
  Object& operator*() const noexcept { return *object_; }
  explicit operator bool() const noexcept { return object_ != nullptr; }
  friend bool operator==(const Retained&, const Retained&) noexcept = default;

 private:
  Object* object_ = nullptr;
};

}  // namespace Tessaly::inline v1
