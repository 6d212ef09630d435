// SPDX-License-Identifier: MIT
#pragma once

#include <gtk/gtk.h>

#include <optional>
#include <string>
#include <utility>

#include "Tessaly/Core/Formatters/FieldEditing.hpp"

namespace Tessaly::inline v1::detail {

/// The visible state of a field's text: a style class, the tooltip, and the accessible state for assistive
/// technologies. The widget may be destroyed before this object.
class FieldMark {
 public:
  explicit FieldMark(GtkWidget* widget) : widget_(widget) {
    if (widget_ != nullptr) g_object_add_weak_pointer(G_OBJECT(widget_), reinterpret_cast<gpointer*>(&widget_));
  }
  FieldMark(const FieldMark&) = delete;
  FieldMark& operator=(const FieldMark&) = delete;
  ~FieldMark() {
    if (widget_ == nullptr) return;
    g_object_remove_weak_pointer(G_OBJECT(widget_), reinterpret_cast<gpointer*>(&widget_));
    show(FieldState::acceptable, {});
  }

  [[nodiscard]] const FieldNotice& notice() const noexcept { return notice_; }

  /// Shows a state, and the reason of a notice. The host's handlers of the widget's property changes run last, because
  /// they may destroy this object.
  void show(FieldState state, FieldNotice notice) {
    if (widget_ == nullptr) return;
    GtkWidget* const widget = widget_;
    g_object_ref(widget);
    g_object_freeze_notify(G_OBJECT(widget));
    const bool isInvalid = state == FieldState::invalid;
    if (std::exchange(isInvalid_, isInvalid) != isInvalid) {
      gtk_accessible_update_state(GTK_ACCESSIBLE(widget_), GTK_ACCESSIBLE_STATE_INVALID,
                                  isInvalid ? GTK_ACCESSIBLE_INVALID_TRUE : GTK_ACCESSIBLE_INVALID_FALSE, -1);
    }
    setClass("error", ownsError_, isInvalid);
    setClass("warning", ownsWarning_, !isInvalid && !notice.isNone());
    if (notice.isNone() != notice_.isNone() || notice.reason != notice_.reason) setTooltip(notice);
    notice_ = std::move(notice);
    g_object_thaw_notify(G_OBJECT(widget));
    g_object_unref(widget);
  }

 private:
  /// Adds or removes a style class. A class that the host has added stays.
  void setClass(const char* name, bool& owns, bool isWanted) {
    if (isWanted && gtk_widget_has_css_class(widget_, name) == 0) {
      gtk_widget_add_css_class(widget_, name);
      owns = true;
    } else if (!isWanted && std::exchange(owns, false)) {
      gtk_widget_remove_css_class(widget_, name);
    }
  }

  /// Shows the reason of a notice. Without a notice, restores the tooltip of the host.
  void setTooltip(const FieldNotice& notice) {
    if (notice_.isNone()) {
      const char* own = gtk_widget_get_tooltip_text(widget_);
      tooltip_ = own != nullptr ? std::optional<std::string>(own) : std::nullopt;
    }
    const char* former = tooltip_ ? tooltip_->c_str() : nullptr;
    gtk_widget_set_tooltip_text(widget_, notice.isNone() ? former : notice.reason.c_str());
  }

  GtkWidget* widget_;
  bool isInvalid_ = false;
  bool ownsError_ = false;
  bool ownsWarning_ = false;
  FieldNotice notice_;
  std::optional<std::string> tooltip_;
};

}  // namespace Tessaly::inline v1::detail
