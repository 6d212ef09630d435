// SPDX-License-Identifier: MIT
#pragma once

#include <QLineEdit>
#include <QPalette>
#include <QPoint>
#include <QString>
#include <QStyle>
#include <QToolTip>
#include <QVariant>
#include <utility>

#include "Tessaly/Core/Formatters/FieldEditing.hpp"

namespace Tessaly::inline v1::detail {

/// The visible state of a field's text: a dynamic property for style sheets, the colour of the text, and the tooltip.
class FieldMark {
 public:
  explicit FieldMark(QLineEdit* field) : field_(field) {}

  [[nodiscard]] const FieldNotice& notice() const noexcept { return notice_; }

  void show(FieldState state, FieldNotice notice) {
    if (state != state_) {
      setColour(state == FieldState::invalid);
      field_->setProperty("fieldState", nameOf(state));
      field_->style()->unpolish(field_);
      field_->style()->polish(field_);
      state_ = state;
    }
    if (notice.isNone() != notice_.isNone() || notice.reason != notice_.reason) setTooltip(notice);
    notice_ = std::move(notice);
  }

  /// Shows the tooltip at once, below the field.
  void open() const {
    if (notice_.isNone() || !field_->isVisible()) return;
    QToolTip::showText(field_->mapToGlobal(QPoint(0, field_->height())), field_->toolTip(), field_);
  }

 private:
  static QString nameOf(FieldState state) {
    switch (state) {
      case FieldState::acceptable:
        return QStringLiteral("acceptable");
      case FieldState::incomplete:
        return QStringLiteral("incomplete");
      case FieldState::invalid:
        break;
    }
    return QStringLiteral("invalid");
  }

  void setColour(bool isInvalid) {
    if (isInvalid == (state_ == FieldState::invalid)) return;
    QPalette palette = field_->palette();
    if (isInvalid) own_ = palette;
    const bool isDark = palette.color(QPalette::Base).lightness() < 128;
    palette.setColor(QPalette::Text, isDark ? QColor(0xFF, 0x8A, 0x80) : QColor(0xB0, 0x00, 0x20));
    field_->setPalette(isInvalid ? palette : own_);
  }

  /// Shows the reason of a notice. Without a notice, restores the tooltip of the host.
  void setTooltip(const FieldNotice& notice) {
    if (notice_.isNone()) tooltip_ = field_->toolTip();
    const QString reason = QString::fromStdString(notice.reason);
    // Qt treats a text with a tag as HTML.
    const QString shown = reason.contains('<') ? "<qt>" + reason.toHtmlEscaped() + "</qt>" : reason;
    field_->setToolTip(notice.isNone() ? tooltip_ : shown);
  }

  QLineEdit* const field_;
  FieldState state_ = FieldState::acceptable;
  FieldNotice notice_;
  QPalette own_;
  QString tooltip_;
};

}  // namespace Tessaly::inline v1::detail
