// SPDX-License-Identifier: MIT
// Component: Tessaly::QtWidgetsAdapter
#pragma once

#include <QAbstractButton>
#include <QAbstractSlider>
#include <QComboBox>
#include <QLineEdit>
#include <concepts>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "Tessaly/Adapters/Qt/Binding.hpp"
#include "Tessaly/Adapters/QtWidgets/FormatterValidator.hpp"
#include "Tessaly/Adapters/detail/BothWays.hpp"
#include "Tessaly/Adapters/detail/SettingOfField.hpp"

namespace Tessaly::inline v1 {

namespace detail {

/// Shows a setting in a widget, and stores the value that a person chooses in the widget.
template <typename Widget, typename Signal, typename Value, typename Read, typename Show>
void bindBothWays(Widget* widget, Signal signal, Default<Value> setting, Read read, Show show) {
  const auto bound =
      std::make_shared<BothWays<Value, Read, Show>>(std::move(setting), std::move(read), std::move(show));
  QObject::connect(widget, signal, widget, [bound = bound.get()] { bound->store(); });
  endWith(widget, bound);
  bound->start();
}

}  // namespace detail

namespace Qt6 {

/// Binds a setting to a check box, or another button that can be checked, for the life of the button. The button shows
/// every change of the setting, and a click stores the new state.
///
/// Qt has no counterpart. The usual code connects a signal to `QSettings` and forgets the other direction. A change of
/// the setting reaches the widget in the next turn of the loop that `MainLoopAdapter` serves. If the rule of the key
/// forbids a chosen value, the widget shows the value that the setting keeps or stores instead.
///
/// An observer of the setting or a slot of a signal may destroy the widget as far as Qt permits it. Qt still uses a
/// button after its slots, so call `deleteLater` there.
///
/// Thread contract: main-isolated.
///
///     Qt6::bind(checkBox, Default<bool>(showsHiddenFilesKey));
///     Qt6::bind(slider, Default<int>(volumeKey));
///     Qt6::bind(comboBox, Default<std::string>(themeKey));
///     Qt6::bind(lineEdit, interval, Default<int>(intervalKey));
inline void bind(QAbstractButton* button, Default<bool> setting) {
  detail::bindBothWays(
      button, &QAbstractButton::toggled, std::move(setting), [button] { return button->isChecked(); },
      [button](bool isChecked) { button->setChecked(isChecked); });
}
/// The same for a slider, a dial or a scroll bar.
inline void bind(QAbstractSlider* slider, Default<int> setting) {
  detail::bindBothWays(
      slider, &QAbstractSlider::valueChanged, std::move(setting), [slider] { return slider->value(); },
      [slider](int value) { slider->setValue(value); });
}
/// The same for the text of a combo box. A stored text that the box does not have leaves the box without a choice.
inline void bind(QComboBox* box, Default<std::string> setting) {
  detail::bindBothWays(
      box, &QComboBox::activated, std::move(setting), [box] { return box->currentText().toStdString(); },
      [box](const std::string& text) { box->setCurrentIndex(box->findText(QString::fromStdString(text))); });
}
/// The same for a field with a formatter. The rule of the key judges the objects of the field, so no forbidden value is
/// stored. The end of editing stores the object. While the field has an unfinished edit, changes of the setting by
/// other code do not change the field. The field owns the validator. If a slot of the host destroys the validator
/// during `bind`, do not use the result.
template <std::derived_from<Formatter> Kind, detail::FieldSetting Value>
FormatterValidator* bind(QLineEdit* field, std::shared_ptr<Kind> formatter, const Default<Value>& setting) {
  auto* validator = new FormatterValidator(std::move(formatter), field);
  const auto token = std::make_shared<std::optional<ObservationToken>>();
  detail::endWith(validator, token);
  token->emplace(detail::connectSetting(*validator, setting));
  return validator;
}

}  // namespace Qt6

}  // namespace Tessaly::inline v1
