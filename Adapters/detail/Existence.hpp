// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

namespace Tessaly::inline v1::detail {

/// A member or base class that tells an object whether the object still exists after a call of the host's code. Such
/// code is a handler of the host, or a function of the toolkit that emits signals. The code may destroy the object, for
/// example because it closes the window.
///
/// The object must make each call of such code through `outlives`. If the result is false, the object and its members
/// no longer exist, and must not be used.
class Existence {
 public:
  Existence() = default;
  Existence(const Existence&) = delete;
  Existence& operator=(const Existence&) = delete;
  ~Existence() { *isThere_ = false; }

  /// Calls a function, and returns whether this object still exists afterwards.
  template <typename Call>
  [[nodiscard]] bool outlives(Call&& call) const {
    const std::shared_ptr<const bool> isThere = isThere_;
    call();
    return *isThere;
  }

 private:
  const std::shared_ptr<bool> isThere_ = std::make_shared<bool>(true);
};

}  // namespace Tessaly::inline v1::detail
