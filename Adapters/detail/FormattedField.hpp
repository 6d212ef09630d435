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
///
/// A handler may destroy the field, for example because it closes the window. So the functions that call handlers
/// return whether this object still exists.
class FormattedField {
 public:
  using EndHandler = std::function<void(const std::any& object)>;
  using RefusalHandler = std::function<void(std::string_view text, std::string_view reason)>;

  template <std::derived_from<Formatter> Kind>
  FormattedField(std::shared_ptr<Kind> formatter, FieldChecking checking) : editing_(std::move(formatter), checking) {}
  FormattedField(const FormattedField&) = delete;
  FormattedField& operator=(const FormattedField&) = delete;
  ~FormattedField() { *handlers_ = {.end = nullptr, .refusal = nullptr, .areOver = true}; }

  [[nodiscard]] FieldEditing& editing() noexcept { return editing_; }
  [[nodiscard]] const FieldEditing& editing() const noexcept { return editing_; }
  /// Whether the field shows the state of its text. False with `FieldChecking::atEveryChange`, because the formatter
  /// then corrects the text at once.
  [[nodiscard]] bool isMarked() const noexcept { return editing_.checking() == FieldChecking::atTheEnd; }

  void onEnd(EndHandler handler) { handlers_->end = std::move(handler); }
  void onRefusal(RefusalHandler handler) { handlers_->refusal = std::move(handler); }

  [[nodiscard]] bool tellRefusal(std::string_view text, std::string_view reason) const noexcept {
    return call("A handler of a field's refusals", &Handlers::refusal, text, reason);
  }
  /// Reports the outcome of editing to the handlers. A text that was only rewritten does not count as refused.
  bool tell(std::string_view typed, const FieldEditing::End& end) const noexcept {
    const FieldNotice::Kind kind = end.notice.kind;
    const bool isRefusal = kind != FieldNotice::Kind::none && kind != FieldNotice::Kind::rewritten;
    if (isRefusal && !tellRefusal(typed, end.notice.reason)) return false;
    if (!end.hasEnded) return true;
    const std::any object = editing_.object();
    return call("A handler of a field's end of editing", &Handlers::end, object);
  }

 private:
  struct Handlers {
    EndHandler end;
    RefusalHandler refusal;
    bool areOver = false;
  };

  /// Calls a copy of the handler, because the handler may replace itself.
  template <typename Handler, typename... Arguments>
  bool call(const char* name, Handler Handlers::* which, const Arguments&... arguments) const noexcept {
    const std::shared_ptr<const Handlers> handlers = handlers_;
    if (const Handler handler = (*handlers).*which) callNotification(name, handler, arguments...);
    return !handlers->areOver;
  }

  FieldEditing editing_;
  const std::shared_ptr<Handlers> handlers_ = std::make_shared<Handlers>();
};

}  // namespace Tessaly::inline v1::detail
