// SPDX-License-Identifier: MIT
#pragma once

#include <any>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "Tessaly/Core/Formatters/FieldEditing.hpp"
#include "Tessaly/Core/Formatters/detail/TypedNumber.hpp"
#include "Tessaly/Core/Foundation/NSNumber.hpp"

namespace Tessaly::inline v1 {

struct FieldEditing::Outcome {
  FieldState state = FieldState::acceptable;
  /// Empty if the text cannot be parsed, if the formatter refuses it without a replacement, or if its object breaks the
  /// rule of the field.
  std::any object;
  std::string shown;
  FieldNotice notice;
};

/// The part of `FieldEditing` for formatters of numbers.
class FieldEditing::Numbers {
 public:
  explicit Numbers(const FieldEditing& editing) : editing_(editing), rules_(editing.rules_) {}

  [[nodiscard]] Outcome outcome(std::string_view text) const;
  /// Whether a number is in the formatter's range. The formatter must have a range.
  [[nodiscard]] bool isInRange(const NSNumber& number) const;

 private:
  static Outcome unreadable(FieldNotice::Kind kind, FieldState state, std::string reason = {}) {
    return {state, {}, {}, {kind, {}, {}, std::move(reason)}};
  }

  [[nodiscard]] std::string prefixOf(bool isNegative) const;
  /// The text without the formatter's prefix. The prefix of negative numbers becomes a minus sign.
  [[nodiscard]] std::string withoutPrefix(std::string_view text) const;
  /// The outcome of a text without digits. Some formatters parse a sign or the empty text as zero.
  [[nodiscard]] Outcome beginning(const detail::TypedText& typed, const std::string& suffix) const;
  [[nodiscard]] bool allowsSign(bool isNegative) const;
  [[nodiscard]] Outcome settle(const std::string& text) const;
  /// Returns `outcome` if the field can show exactly this number. Otherwise returns an outcome whose object is the
  /// nearest number that the field can show. If that nearest number is beyond the range, the object is the bound
  /// instead.
  [[nodiscard]] Outcome rounded(const NSNumber& number, Outcome outcome) const;
  /// Returns the outcome for a number beyond the range. Its object is the bound that the number crosses. `text` is the
  /// formatter's text of this bound, and may be rounded. If the formatter has a range, the object therefore comes from
  /// the range and not from `text`.
  [[nodiscard]] Outcome bound(const std::optional<NSNumber>& number, const std::string& text) const;
  [[nodiscard]] bool canBecome(const detail::TypedNumber& reading, bool hasSeparator) const;

  const FieldEditing& editing_;
  const Rules& rules_;
};

}  // namespace Tessaly::inline v1
