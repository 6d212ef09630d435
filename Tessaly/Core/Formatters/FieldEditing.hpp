// SPDX-License-Identifier: MIT
// Component: Tessaly::Formatters
#pragma once

#include <any>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Formatters/Formatter.hpp"
#include "Tessaly/Core/Formatters/NumberFormatter.hpp"
#include "Tessaly/Core/Foundation/NSNumber.hpp"

namespace Tessaly::inline v1 {

/// Selects when a field corrects typed text: only at the end of editing, or also at every change.
enum class FieldChecking : std::uint8_t { atTheEnd, atEveryChange };

/// The state of a text in a field.
///
/// `acceptable`: editing could end without a correction of the value. The field may still rewrite the text, for example
/// "007" as "7". `incomplete`: further typing may make the text acceptable. With a formatter other than a
/// `NumberFormatter`, every text that the formatter accepts during typing but cannot parse is `incomplete`. `invalid`:
/// the field corrects the text at the end of editing, or editing cannot end.
enum class FieldState : std::uint8_t { acceptable, incomplete, invalid };

/// The reason why a field refuses or corrects a text.
///
/// Thread contract: thread-compatible.
struct FieldNotice {
  enum class Kind : std::uint8_t { none, empty, notANumber, belowRange, aboveRange, rounded, rewritten, refused };

  Kind kind = Kind::none;
  /// The typed text.
  std::string typed;
  /// The text that replaces the typed text, for example the rounded number or the end of the range. Empty for `empty`
  /// and `notANumber`. Meaningless if the field keeps the typed text.
  std::string shown;
  /// The formatter's description of the error, or an English sentence if there is no description. A nonempty result of
  /// the `Explanation` replaces this text. Empty if `kind` is `none`.
  std::string reason;

  [[nodiscard]] bool isNone() const noexcept { return kind == Kind::none; }
  friend bool operator==(const FieldNotice&, const FieldNotice&) = default;
};

/// The decisions of an editable field with a `Formatter`: the allowed texts, the meaning of a text, and the text at the
/// end of editing.
///
/// The adapters for Qt and GTK translate events into calls of this class. Use an adapter if your toolkit has one. The
/// standard library has no counterpart.
///
/// With `FieldChecking::atTheEnd` no change turns a typed number into another number. Every text may stand in the field
/// of a `NumberFormatter`, and `state` judges the text. If the text ends with the formatter's suffix, no change removes
/// the suffix. A number may have any minus sign or hyphen, the separators of any language, and white space around it.
/// Its prefix and suffix may be missing. With another formatter, a change is refused if `isPartialStringValid` refuses
/// the new text and offers no replacement. Two kinds of change are accepted even then: a deletion, and a change that
/// does not lengthen an already refused text. With `FieldChecking::atEveryChange` the formatter judges every text, and
/// can replace a refused text.
///
/// Editing ends in the same way in both modes. A number beyond the range becomes the nearest bound, and excess fraction
/// digits are rounded. With a `NumberFormatter`, an empty text becomes the text of the field's object, unless there is
/// no object or the formatter parses the empty text. A malformed text stays. An unchanged text keeps its object,
/// including digits that the text does not show.
///
/// A null formatter stops the process. So does an exception from the formatter, from the rule (see `setRule`) or from
/// the explanation (see `explainWith`).
///
/// Thread contract: thread-compatible.
///
///     FieldEditing editing(Formatters::RangeNumber<int>::make(ClosedRange(10, 60)));
///     FieldState typing = editing.state("3");    // incomplete
///     FieldEditing::End end = editing.end("3");  // shows "10", because “3” is less than “10”
class TESSALY_EXPORT FieldEditing {
 public:
  /// A change of a text: `inserted` replaces `removed`, between two parts that stay. All parts must be UTF-8.
  struct Change {
    std::string_view before;
    std::string_view removed;
    std::string_view inserted;
    std::string_view behind;
  };
  /// The answer to a change. `accepted`: the change takes place. `refused`: the field keeps its text. `replaced`: the
  /// field takes `text`, with the cursor at the byte position `cursor`.
  struct Answer {
    enum class Kind : std::uint8_t { accepted, refused, replaced };

    Kind kind = Kind::accepted;
    std::string text;
    std::size_t cursor = 0;
    /// Whether the formatter refused the text. A restored suffix is not a refusal.
    bool isRefusal = false;
    std::string reason;
  };
  /// The result of editing. `hasEnded` is false if the field keeps a text that the formatter refuses or cannot parse,
  /// or that breaks the rule (see `setRule`).
  struct End {
    bool hasEnded = false;
    std::string text;
    std::size_t cursor = 0;
    FieldNotice notice;
  };
  using Explanation = std::function<std::string(const FieldNotice& notice)>;

  template <std::derived_from<Formatter> Kind>
  explicit FieldEditing(std::shared_ptr<Kind> formatter, FieldChecking checking = FieldChecking::atTheEnd)
      : FieldEditing(formatter, checking, rulesOf(formatter.get())) {}

  [[nodiscard]] FieldChecking checking() const noexcept { return checking_; }
  /// The object of the last successful `end` or `show`. Empty before the first success.
  [[nodiscard]] const std::any& object() const noexcept TESSALY_LIFETIMEBOUND { return object_; }

  /// Whether a text differs from the text of the object. Also true if there is no object.
  [[nodiscard]] bool isEdited(std::string_view text) const noexcept { return text != shown_; }

  /// Stores an object, and returns its text. Absent if the formatter does not support the object, if a number is beyond
  /// the range, or if the rule forbids the object. Then the field keeps the former object.
  ///
  /// With a `NumberFormatter`, a number of any standard type becomes an `NSNumber`, before the rule judges it. The
  /// objects of typed texts are `NSNumber`s too. With another formatter, the object keeps its type.
  [[nodiscard]] std::optional<std::string> show(std::any object) noexcept;
  /// Decides whether the field accepts, refuses or replaces a change that a person makes to its text.
  [[nodiscard]] Answer change(const Change& change) const noexcept;
  /// The maximum byte position for the cursor. With `FieldChecking::atTheEnd` and a `NumberFormatter`, this is the
  /// beginning of the formatter's suffix if the text ends with that suffix. Otherwise this is the end of the text.
  [[nodiscard]] std::size_t lastPosition(std::string_view text) const noexcept;
  /// The state of a text. `*notice` receives the reason why the field would correct or refuse the text. If there is no
  /// reason, the kind of the notice is `none`. The pointer may be null.
  [[nodiscard]] FieldState state(std::string_view text, FieldNotice* notice = nullptr) const noexcept;
  /// Ends editing, with the cursor at a byte position. If `hasEnded` is true in the result, `object()` afterwards
  /// returns the object that the result's text represents.
  [[nodiscard]] End end(std::string_view text, std::size_t cursor = 0) noexcept;

  /// Sets the rule for the objects of the field, in place of an earlier rule. The rule must return true for an allowed
  /// object. A text whose object breaks the rule is invalid, and stays in the field at the end of editing. An unchanged
  /// text keeps its object without a call of the rule. An exception from the rule stops the process.
  void setRule(std::function<bool(const std::any& object)> rule) { rule_ = std::move(rule); }
  /// Sets a function that replaces the reason of each notice, for example by a translation. An empty result keeps the
  /// reason. An exception from the function stops the process.
  void explainWith(Explanation explanation) { explanation_ = std::move(explanation); }

 private:
  /// The answer of the formatter to a half-typed text.
  struct Judgement {
    bool isAccepted = false;
    std::optional<std::string> replacement;
    std::string reason;
  };
  /// The functions that only some formatters have.
  struct Rules {
    NumberFormatter* number = nullptr;
    std::function<std::any(std::string_view)> readAnyString;
    std::function<std::string()> suffix;
    std::function<std::pair<NSNumber, NSNumber>()> range;
    std::function<bool(std::string_view, std::string_view)> meansTheSame;
    bool isWhole = false;
  };
  /// The outcome of parsing a text.
  struct Outcome;
  class Numbers;

  FieldEditing(std::shared_ptr<Formatter> formatter, FieldChecking checking, Rules rules);

  template <typename Kind>
  static Rules rulesOf(Kind* formatter) {
    Rules rules;
    if constexpr (std::derived_from<Kind, NumberFormatter>) {
      rules.number = formatter;
      rules.suffix = [formatter] { return formatter->positiveSuffix(); };
    }
    if constexpr (requires { NSNumber(*formatter->numberFromAnyString(std::string_view())); }) {
      rules.readAnyString = [formatter](std::string_view text) {
        const auto value = formatter->numberFromAnyString(text);
        return value ? std::any(NSNumber(*value)) : std::any();
      };
      using Value = typename decltype(formatter->numberFromAnyString(std::string_view()))::value_type;
      rules.isWhole = std::is_integral_v<Value>;
    }
    if constexpr (requires { formatter->meansTheSame(std::string_view(), std::string_view()); }) {
      rules.meansTheSame = [formatter](std::string_view one, std::string_view other) {
        return formatter->meansTheSame(one, other);
      };
    }
    if constexpr (requires { std::string(formatter->suffix().value_or("")); }) {
      rules.suffix = [formatter] { return std::string(formatter->suffix().value_or("")); };
    }
    if constexpr (requires { NSNumber(formatter->range().lowerBound()); }) {
      rules.range = [formatter] {
        return std::pair(NSNumber(formatter->range().lowerBound()), NSNumber(formatter->range().upperBound()));
      };
    }
    return rules;
  }

  [[nodiscard]] Judgement judge(std::string_view text) const noexcept;
  [[nodiscard]] std::any read(std::string_view text, std::string* reason = nullptr) const noexcept;
  [[nodiscard]] std::optional<std::string> write(const std::any& object) const noexcept;
  [[nodiscard]] std::string suffix() const noexcept;
  [[nodiscard]] std::size_t cursorIn(std::string_view replacement, std::string_view before,
                                     std::string_view behind) const noexcept;
  [[nodiscard]] Answer obey(const Change& change) const noexcept;
  [[nodiscard]] Answer refusal(std::string_view whole, Judgement judgement) const noexcept;
  [[nodiscard]] Answer keepSuffix(const Change& change) const;
  [[nodiscard]] Outcome outcome(std::string_view text) const noexcept;
  [[nodiscard]] Outcome outcomeOfText(std::string_view text) const;
  [[nodiscard]] bool isAllowed(const std::any& object) const noexcept;
  void explain(FieldNotice& notice, std::string_view typed, std::string_view shown) const noexcept;

  std::shared_ptr<Formatter> formatter_;
  FieldChecking checking_;
  Rules rules_;
  std::any object_;
  /// The text of the object. Absent without an object.
  std::optional<std::string> shown_;
  std::function<bool(const std::any&)> rule_;
  Explanation explanation_;
};

}  // namespace Tessaly::inline v1
