// SPDX-License-Identifier: MIT
#pragma once

#include <any>
#include <concepts>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "Tessaly/Core/Base/CallNotification.hpp"
#include "Tessaly/Core/Base/FatalError.hpp"
#include "Tessaly/Core/Formatters/Formatter.hpp"
#include "Tessaly/Core/Foundation/NSNumber.hpp"

namespace Tessaly::inline v1::detail {

/// The common part of the fields of every toolkit: a formatter, the object of the field, and the handlers of its
/// changes. Texts are well-formed UTF-8.
class FormattedField {
 public:
  using EndHandler = std::function<void(const std::any& object)>;
  using RefusalHandler = std::function<void(std::string_view text, std::string_view reason)>;

  /// The answer of the formatter to a half-typed text.
  struct Judgement {
    bool isAccepted = false;
    std::optional<std::string> replacement;
    std::string reason;
  };

  template <std::derived_from<Formatter> Kind>
  FormattedField(std::shared_ptr<Kind> formatter, std::string_view file) : formatter_(formatter) {
    if (formatter == nullptr) fatalError("A field needs a formatter", file, __LINE__);
    if constexpr (requires { NSNumber(*formatter->numberFromAnyString(std::string_view())); }) {
      readAnyString_ = [number = formatter.get()](std::string_view text) {
        const auto value = number->numberFromAnyString(text);
        return value ? std::any(NSNumber(*value)) : std::any();
      };
    }
    if constexpr (requires { std::string(formatter->suffix().value_or("")); }) {
      suffix_ = [number = formatter.get()] { return std::string(number->suffix().value_or("")); };
    }
  }

  [[nodiscard]] Judgement judge(std::string_view text) const noexcept {
    Judgement judgement;
    ask([&] {
      std::optional<std::string> reason;
      judgement.isAccepted = formatter_->isPartialStringValid(text, &judgement.replacement, &reason);
      judgement.reason = std::move(reason).value_or("");
    });
    return judgement;
  }

  /// The object of a text. If the strict parsing fails and the formatter parses "any string", that decides, so that the
  /// user may type a number without its affixes. On failure the result is empty and has the reason.
  [[nodiscard]] std::any read(std::string_view text, std::string* reason = nullptr) const noexcept {
    std::any object;
    ask([&] {
      std::optional<std::string> description;
      if (formatter_->getObjectValue(&object, text, &description)) return;
      object = readAnyString_ ? readAnyString_(text) : std::any();
      if (reason != nullptr) *reason = std::move(description).value_or("");
    });
    return object;
  }

  /// The text of an object. Absent if the formatter does not support the object.
  [[nodiscard]] std::optional<std::string> write(const std::any& object) const noexcept {
    std::optional<std::string> text;
    ask([&] { text = formatter_->string(object); });
    return text;
  }

  /// The byte position of the cursor after a replacement. The cursor keeps the text behind it if that text stays.
  /// Otherwise it keeps the text before it, or else goes to the end. It stays before a suffix that the replacement
  /// adds.
  [[nodiscard]] std::size_t cursorIn(std::string_view replacement, std::string_view before,
                                     std::string_view behind) const noexcept {
    std::string suffix;
    if (suffix_) ask([&] { suffix = suffix_(); });
    if (!behind.ends_with(suffix) && !(behind.empty() && before.ends_with(suffix)) && replacement.ends_with(suffix)) {
      replacement.remove_suffix(suffix.size());
    }
    if (replacement.ends_with(behind)) return replacement.size() - behind.size();
    if (replacement.starts_with(before)) return before.size();
    return replacement.size();
  }

  [[nodiscard]] const std::any& object() const noexcept { return object_; }
  void setObject(std::any object) noexcept { object_ = std::move(object); }

  void onEnd(EndHandler handler) { end_ = std::move(handler); }
  void onRefusal(RefusalHandler handler) { refusal_ = std::move(handler); }

  // Both keep the handler alive during the call, because it may replace itself.
  void tellEnd() const noexcept {
    if (const EndHandler handler = end_) callNotification("A handler of a field's end of editing", handler, object_);
  }
  void tellRefusal(std::string_view text, std::string_view reason) const noexcept {
    if (const RefusalHandler handler = refusal_) {
      callNotification("A handler of a field's refusals", handler, text, reason);
    }
  }

 private:
  /// Toolkits do not pass exceptions on.
  template <typename Question>
  static void ask(Question question) noexcept {
    callNotification("A field's formatter", question);
  }

  std::shared_ptr<Formatter> formatter_;
  std::function<std::any(std::string_view)> readAnyString_;
  std::function<std::string()> suffix_;
  std::any object_;
  EndHandler end_;
  RefusalHandler refusal_;
};

}  // namespace Tessaly::inline v1::detail
