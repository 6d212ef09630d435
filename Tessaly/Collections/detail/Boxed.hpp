// SPDX-License-Identifier: MIT
#pragma once

#include <concepts>
#include <memory>
#include <type_traits>
#include <utility>

namespace Tessaly::inline v1::detail {

/// A value in an allocation of its own. Moving the box does not move the value. A moved-from box holds no value.
///
/// Thread contract: thread-compatible.
template <typename Value>
class Boxed {
 public:
  template <typename Source>
    requires(std::constructible_from<Value, Source> && !std::same_as<std::remove_cvref_t<Source>, Boxed>)
  explicit Boxed(Source&& source) : value_(std::make_unique<Value>(std::forward<Source>(source))) {}
  Boxed(const Boxed& other)
    requires std::copy_constructible<Value>
      : value_(std::make_unique<Value>(*other.value_)) {}
  Boxed(Boxed&&) noexcept = default;
  Boxed& operator=(Boxed&&) noexcept = default;
  ~Boxed() = default;

  [[nodiscard]] Value& value() noexcept { return *value_; }

 private:
  std::unique_ptr<Value> value_;
};

}  // namespace Tessaly::inline v1::detail
