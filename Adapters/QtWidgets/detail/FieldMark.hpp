// SPDX-License-Identifier: MIT
#pragma once

#include <QLineEdit>
#include <QPalette>
#include <QPoint>
#include <QString>
#include <QStyle>
#include <QToolTip>
#include <QVariant>
#include <optional>
#include <utility>

#include "Tessaly/Core/Formatters/FieldEditing.hpp"

namespace Tessaly::inline v1::detail {

/// The visible state of a field's text: a dynamic property for style sheets, the colour of the text, and the tooltip.
class FieldMark {
 public:
  explicit FieldMark(QLineEdit* field) : field_(field) {}

  [[nodiscard]] const FieldNotice& notice() const noexcept { return notice_; }

  /// Shows a state, and the reason of a notice. The members change before the field, because an event filter of the
  /// host may destroy this object while the field changes.
  void show(FieldState state, FieldNotice notice) {
    QLineEdit* const field = field_;
    const std::optional<QPalette> palette = paletteFor(state);
    const std::optional<QString> tooltip = tooltipFor(notice);
    const bool isSameState = std::exchange(state_, state) == state;
    notice_ = std::move(notice);
    if (palette) field->setPalette(*palette);
    if (!isSameState) {
      field->setProperty("fieldState", nameOf(state));
      field->style()->unpolish(field);
      field->style()->polish(field);
    }
    if (!tooltip) return;
    if (QToolTip::isVisible() && QToolTip::text() == field->toolTip()) QToolTip::hideText();
    field->setToolTip(*tooltip);
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

  /// The palette for a new state. Absent if the palette stays.
  std::optional<QPalette> paletteFor(FieldState state) {
    const bool isInvalid = state == FieldState::invalid;
    if (isInvalid == (state_ == FieldState::invalid)) return std::nullopt;
    QPalette palette = field_->palette();
    if (isInvalid) own_ = palette;
    const bool isDark = palette.color(QPalette::Base).lightness() < 128;
    palette.setColor(QPalette::Text, isDark ? QColor(0xFF, 0x8A, 0x80) : QColor(0xB0, 0x00, 0x20));
    return isInvalid ? palette : own_;
  }

  /// The tooltip for a new notice: the reason, or the tooltip of the host. Absent if the tooltip stays.
  std::optional<QString> tooltipFor(const FieldNotice& notice) {
    if (notice.isNone() == notice_.isNone() && notice.reason == notice_.reason) return std::nullopt;
    if (notice_.isNone()) tooltip_ = field_->toolTip();
    const QString reason = QString::fromStdString(notice.reason);
    // Qt treats a text with a tag as HTML.
    const QString shown = reason.contains('<') ? "<qt>" + reason.toHtmlEscaped() + "</qt>" : reason;
    return notice.isNone() ? tooltip_ : shown;
  }

  QLineEdit* const field_;
  FieldState state_ = FieldState::acceptable;
  FieldNotice notice_;
  QPalette own_;
  QString tooltip_;
};

}  // namespace Tessaly::inline v1::detail
