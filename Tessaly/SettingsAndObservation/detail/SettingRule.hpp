// SPDX-License-Identifier: MIT
#pragma once

#include <concepts>
#include <optional>
#include <string_view>
#include <utility>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/SettingsAndObservation/AnyOptional.hpp"
#include "Tessaly/SettingsAndObservation/InvalidSetting.hpp"

namespace Tessaly::inline v1::detail {

/// Stops the process at run time. In a constant expression, a call does not compile.
[[noreturn]] TESSALY_EXPORT void stopAtRuleThatForbidsTheDefault(std::string_view setting) noexcept;
[[noreturn]] TESSALY_EXPORT void stopAtEmptyRange(std::string_view setting) noexcept;
/// Writes to the log that a forbidden value was not stored.
TESSALY_EXPORT void logForbiddenSetting(std::string_view setting) noexcept;

/// The rule of a setting: a closed range, a predicate, or both. Without either, the rule allows all values. Every rule
/// allows the absent value.
///
/// Thread contract: thread-compatible.
template <typename Value>
class SettingRule {
 public:
  struct Range {
    Value lowest;
    Value highest;
  };
  using Predicate = bool (*)(const Value&);

  constexpr void setRange(Value lowest, Value highest, InvalidSetting invalid) {
    range_.emplace(Range{std::move(lowest), std::move(highest)});
    invalid_ = invalid;
  }
  constexpr void setPredicate(Predicate predicate) noexcept { predicate_ = predicate; }

  [[nodiscard]] constexpr bool isEmpty() const noexcept { return !range_ && predicate_ == nullptr; }
  [[nodiscard]] constexpr std::optional<Value> lowest() const {
    return range_ ? std::optional<Value>(range_->lowest) : std::nullopt;
  }
  [[nodiscard]] constexpr std::optional<Value> highest() const {
    return range_ ? std::optional<Value>(range_->highest) : std::nullopt;
  }
  /// Whether the range contains at least one value. True without a range.
  [[nodiscard]] constexpr bool hasRange() const {
    if constexpr (std::totally_ordered<Value>) return !range_ || range_->lowest <= range_->highest;
    return true;
  }
  [[nodiscard]] constexpr bool hasPredicate() const noexcept { return predicate_ != nullptr; }

  [[nodiscard]] constexpr bool allows(const Value& value) const {
    if constexpr (AnyOptional<Value>) {
      if (isNil(value)) return true;
    }
    if constexpr (std::totally_ordered<Value>) {
      if (range_ && !(value >= range_->lowest && value <= range_->highest)) return false;
    }
    return predicate_ == nullptr || predicate_(value);
  }
  /// The value that a read gives for this stored value. If the rule allows the value, the result is the value itself.
  /// If the value is outside the range and the rule uses `readsAsNearest`, the result is the nearest end of the range.
  /// In all other cases, also if the rule forbids that end, the result is absent. Then the read gives the default.
  [[nodiscard]] constexpr std::optional<Value> admitted(Value value) const {
    if (allows(value)) return value;
    if constexpr (std::totally_ordered<Value>) {
      if (range_ && invalid_ == InvalidSetting::readsAsNearest) {
        // NaN is neither below nor above the range.
        const Value* const end = value < range_->lowest    ? &range_->lowest
                                 : value > range_->highest ? &range_->highest
                                                           : nullptr;
        if (end != nullptr && allows(*end)) return *end;
      }
    }
    return std::nullopt;
  }

 private:
  std::optional<Range> range_;
  Predicate predicate_ = nullptr;
  InvalidSetting invalid_ = InvalidSetting::readsAsNearest;
};

}  // namespace Tessaly::inline v1::detail
