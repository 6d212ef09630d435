// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

namespace Tessaly::inline v1::detail {

/// The knowledge whether an object still exists after it called code of the host: a handler, or a toolkit's function
/// that emits signals. Such code may destroy the object, for example because it closes the window.
///
/// The object has this member, and makes each call of such code through `outlives`. After the result false, the object
/// and its members are gone.
class Existence {
 public:
  Existence() = default;
  Existence(const Existence&) = delete;
  Existence& operator=(const Existence&) = delete;
  ~Existence() { *isThere_ = false; }

  /// Calls a function, and returns whether the object still exists afterwards.
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
