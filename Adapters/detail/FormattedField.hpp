// SPDX-License-Identifier: MIT
#pragma once

#include <any>
#include <concepts>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "Tessaly/Core/Base/CallNotification.hpp"
#include "Tessaly/Core/Formatters/FieldEditing.hpp"
#include "Tessaly/Core/Formatters/Formatter.hpp"

namespace Tessaly::inline v1::detail {

/// The common part of the fields of every toolkit: the decisions, and the handlers of the host.
class FormattedField {
 public:
  using EndHandler = std::function<void(const std::any& object)>;
  using RefusalHandler = std::function<void(std::string_view text, std::string_view reason)>;

  template <std::derived_from<Formatter> Kind>
  FormattedField(std::shared_ptr<Kind> formatter, FieldChecking checking) : editing_(std::move(formatter), checking) {}

  [[nodiscard]] FieldEditing& editing() noexcept { return editing_; }
  [[nodiscard]] const FieldEditing& editing() const noexcept { return editing_; }
  /// Whether the field shows the state of its text. False with `FieldChecking::atEveryChange`, because the formatter
  /// then corrects the text at once.
  [[nodiscard]] bool isMarked() const noexcept { return editing_.checking() == FieldChecking::atTheEnd; }

  void onEnd(EndHandler handler) { end_ = std::move(handler); }
  void onRefusal(RefusalHandler handler) { refusal_ = std::move(handler); }

  // The next two functions keep the handler alive during the call, because the handler may replace itself.
  void tellEnd() const noexcept {
    if (const EndHandler handler = end_) {
      callNotification("A handler of a field's end of editing", handler, editing_.object());
    }
  }
  void tellRefusal(std::string_view text, std::string_view reason) const noexcept {
    if (const RefusalHandler handler = refusal_) {
      callNotification("A handler of a field's refusals", handler, text, reason);
    }
  }
  /// Reports the outcome of editing to the handlers. A text that was only rewritten does not count as refused.
  void tell(std::string_view typed, const FieldEditing::End& end) const noexcept {
    const FieldNotice::Kind kind = end.notice.kind;
    if (kind != FieldNotice::Kind::none && kind != FieldNotice::Kind::rewritten) tellRefusal(typed, end.notice.reason);
    if (end.hasEnded) tellEnd();
  }

 private:
  FieldEditing editing_;
  EndHandler end_;
  RefusalHandler refusal_;
};

}  // namespace Tessaly::inline v1::detail
