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

#include "Tessaly/Adapters/detail/Existence.hpp"
#include "Tessaly/Core/Base/CallNotification.hpp"
#include "Tessaly/Core/Formatters/FieldEditing.hpp"
#include "Tessaly/Core/Formatters/Formatter.hpp"

namespace Tessaly::inline v1::detail {

/// The common part of the fields of every toolkit. It holds the `FieldEditing`, which decides about texts, and the
/// handlers of the host. The functions that call handlers return whether this object still exists.
class FormattedField : public Existence {
 public:
  using Rule = std::function<bool(const std::any& object)>;
  using EndHandler = std::function<void(const std::any& object)>;
  using RefusalHandler = std::function<void(std::string_view text, std::string_view reason)>;

  template <std::derived_from<Formatter> Kind>
  FormattedField(std::shared_ptr<Kind> formatter, FieldChecking checking) : editing_(std::move(formatter), checking) {}

  [[nodiscard]] FieldEditing& editing() noexcept { return editing_; }
  [[nodiscard]] const FieldEditing& editing() const noexcept { return editing_; }
  /// Whether the field shows the `FieldState` of its text, for example by a colour for an invalid text. False with
  /// `FieldChecking::atEveryChange`, because the formatter then corrects the text at once.
  [[nodiscard]] bool isMarked() const noexcept { return editing_.checking() == FieldChecking::atTheEnd; }

  [[nodiscard]] std::optional<std::string> show(std::any object) noexcept {
    std::optional<std::string> text = editing_.show(std::move(object));
    if (text) ended_.reset();
    return text;
  }
  [[nodiscard]] FieldEditing::End end(const std::string& text, std::size_t cursor) noexcept {
    FieldEditing::End end = editing_.end(text, cursor);
    ended_ = end.text;
    return end;
  }
  /// Whether the last end of editing left this text in the field. If the focus then leaves the field, editing does not
  /// end a second time. A handler may have taken the focus, for example for a dialog.
  [[nodiscard]] bool hasEndedWith(std::string_view text) const noexcept { return ended_ == text; }

  /// Connects the field with a setting. The rules and handlers of the host add to this rule and this handler, and
  /// cannot replace them. The handler is called before that of the host.
  void connect(Rule rule, EndHandler store) {
    settingRule_ = std::move(rule);
    store_ = std::move(store);
    setRule({});
  }
  void setRule(Rule rule) {
    editing_.setRule([settingRule = settingRule_, rule = std::move(rule)](const std::any& object) {
      return (!settingRule || settingRule(object)) && (!rule || rule(object));
    });
  }
  void onEnd(EndHandler handler) { end_ = std::move(handler); }
  void onRefusal(RefusalHandler handler) { refusal_ = std::move(handler); }

  [[nodiscard]] bool tellRefusal(std::string_view text, std::string_view reason) const noexcept {
    return call("A handler of a field's refusals", refusal_, text, reason);
  }
  /// Reports the outcome of editing to the handlers. A text that was only rewritten does not count as refused. Returns
  /// whether this object still exists.
  bool tell(std::string_view typed, const FieldEditing::End& end) const noexcept {
    const FieldNotice::Kind kind = end.notice.kind;
    const bool isRefusal = kind != FieldNotice::Kind::none && kind != FieldNotice::Kind::rewritten;
    if (isRefusal && !tellRefusal(typed, end.notice.reason)) return false;
    if (!end.hasEnded) return true;
    constexpr auto name = "A handler of a field's end of editing";
    const std::any object = editing_.object();
    return call(name, store_, object) && call(name, end_, object);
  }
  /// Whether a handler is running. The handler may be waiting for a nested loop.
  [[nodiscard]] bool isTelling() const noexcept { return isTelling_; }

 private:
  /// Calls a copy of the handler, because the handler may replace or destroy itself.
  template <typename Handler, typename... Arguments>
  bool call(const char* name, Handler handler, const Arguments&... arguments) const noexcept {
    const bool wasTelling = std::exchange(isTelling_, true);
    const bool exists = outlives([&] {
      if (handler) callNotification(name, handler, arguments...);
    });
    if (exists) isTelling_ = wasTelling;
    return exists;
  }

  FieldEditing editing_;
  /// The field's text directly after the last end of editing. Absent if editing has not ended yet, or if `show` has
  /// succeeded since.
  std::optional<std::string> ended_;
  mutable bool isTelling_ = false;
  Rule settingRule_;
  EndHandler store_;
  EndHandler end_;
  RefusalHandler refusal_;
};

/// The access of a binding to the private `FormattedField` of a toolkit's field adapter.
struct FormattedFieldOf {
  template <typename Adapter>
  static FormattedField& get(Adapter& adapter) noexcept {
    return adapter.formatted_;
  }
};

}  // namespace Tessaly::inline v1::detail
