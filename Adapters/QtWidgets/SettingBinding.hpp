// SPDX-License-Identifier: MIT
// Component: Tessaly::QtWidgetsAdapter
#pragma once

#include <QObject>
#include <QString>
#include <concepts>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>

#include "Tessaly/Adapters/Qt/Binding.hpp"
#include "Tessaly/Adapters/detail/BothWays.hpp"
#include "Tessaly/SettingsAndObservation/Default.hpp"

class QAbstractButton;
class QAbstractSlider;
class QAction;
class QComboBox;
class QDoubleSpinBox;
class QLineEdit;
class QSpinBox;

namespace Tessaly::inline v1 {

class Formatter;

namespace detail {

template <typename Field>
struct SettingConnection;  // Defined in Adapters/detail/SettingOfField.hpp.

/// Connects a setting with a widget, which stores the value that a person chooses in the widget. The caller starts the
/// result, which then shows the setting.
template <typename Widget, typename Signal, typename Value, typename Read, typename Show>
auto connectBothWays(Widget* widget, Signal signal, Default<Value> setting, Read read, Show show) {
  using Bound = BothWays<Value, Read, Show>;
  auto bound = Retained<Bound>::adopt(new Bound(std::move(setting), std::move(read), std::move(show)));
  QObject::connect(widget, signal, widget, [bound] { bound->store(); });
  QObject::connect(widget, &QObject::destroyed, [state = bound->state()] { state->cancel(); });
  return bound;
}

/// Binds a Boolean setting to an object that can be checked.
template <typename Checkable>
void bindCheckable(Checkable* object, Default<bool> setting) {
  const auto read = [object](bool) { return object->isChecked(); };
  const auto show = [object](bool isChecked) { object->setChecked(isChecked); };
  connectBothWays(object, &Checkable::toggled, std::move(setting), read, show)->start();
}

/// Binds a setting of a number to a widget, which gets the range of the key.
template <typename Widget, typename Value, typename Read>
void bindInRange(Widget* widget, Default<Value> setting, Read read) {
  const auto lowest = setting.key().lowestValue();
  const auto highest = setting.key().highestValue();
  const auto bound = connectBothWays(widget, &Widget::valueChanged, std::move(setting), std::move(read),
                                     [widget](Value value) { widget->setValue(value); });
  if constexpr (requires { &Widget::rangeChanged; }) {
    // Qt uses the widget after this signal, but a slot of the new value may destroy the widget.
    QObject::connect(widget, &Widget::rangeChanged, widget, [bound] { bound->show(); }, ::Qt::QueuedConnection);
  }
  bound->startAfter([&] {
    if (lowest && highest) widget->setRange(*lowest, *highest);
  });
}
/// Binds a setting to a widget with a range of integers.
template <typename Widget>
void bindInRange(Widget* widget, Default<int> setting) {
  bindInRange(widget, std::move(setting), [widget](int value) {
    return chosenInRange(widget->value(), value, widget->minimum(), widget->maximum());
  });
}

}  // namespace detail

namespace Qt6 {

class FormatterValidator;

/// Binds a setting to a check box, or another button that can be checked, for the life of the button. The button shows
/// every change of the setting, and a click stores the new state.
///
/// Qt has no counterpart. The usual code connects a signal to `QSettings` and forgets the other direction. A change of
/// the setting reaches the widget in the next turn of `MainLoopAdapter`'s loop. If the rule of the key forbids a chosen
/// value, the setting stores the nearest end of the rule's range, or keeps its value. The widget then shows the value
/// of the setting.
///
/// An observer of the setting or a slot of a signal may destroy the widget as far as Qt permits it. Qt still uses a
/// button after its slots. So code that runs in a slot of a button must call `deleteLater` instead.
///
/// The caller includes the header of its widget. The parameter `Button` has one possible value. It delays the
/// compilation of the function until a call, so that a host compiles no header of a widget that it does not use.
///
/// Thread contract: main-isolated.
///
///     Qt6::bind(checkBox, Default<bool>(showsHiddenFilesKey));
///     Qt6::bind(slider, Default<int>(volumeKey));
///     Qt6::bind(spinBox, Default<int>(copiesKey));
///     Qt6::bind(comboBox, Default<std::string>(themeKey));
///     Qt6::bind(lineEdit, interval, Default<int>(intervalKey));
template <typename Button = QAbstractButton>
void bind(std::type_identity_t<Button>* button, Default<bool> setting) {
  detail::bindCheckable(button, std::move(setting));
}
/// Binds a setting to an action that can be checked. In all other respects the call is like the overload for
/// `QAbstractButton`, from which the second template parameter distinguishes it.
template <typename Action = QAction, typename = void>
void bind(std::type_identity_t<Action>* action, Default<bool> setting) {
  detail::bindCheckable(action, std::move(setting));
}
/// Binds a setting to a slider, a dial or a scroll bar. The slider gets the range of the key (`within`). The host may
/// change the range afterwards: the slider then shows the value of the range that is nearest to the setting, and the
/// setting keeps its value. After a wider range, the slider shows the setting again in the next turn of the event loop.
/// In all other respects the call is like the overload for `QAbstractButton`.
template <typename Slider = QAbstractSlider>
void bind(std::type_identity_t<Slider>* slider, Default<int> setting) {
  detail::bindInRange(slider, std::move(setting));
}
/// Binds a setting to a spin box of integers, and turns the box's `keyboardTracking` off. So the box stores a typed
/// number when its editing ends. A change of the setting by other code replaces an unfinished edit. Qt does not report
/// a new range: after a wider one, the box shows the setting again at the setting's next change. In all other respects
/// the call is like the overload for `QAbstractSlider`, from which the second template parameter distinguishes it.
template <typename Box = QSpinBox, typename = void>
void bind(std::type_identity_t<Box>* box, Default<int> setting) {
  box->setKeyboardTracking(false);  // The box would report each digit, and the binding rewrite the half-typed text.
  detail::bindInRange(box, std::move(setting));
}
/// Binds a setting to a spin box of reals. In all other respects the call is like the overload for `QSpinBox`. The box
/// rounds the value that it shows to its `decimals`, and does not store the rounded value.
template <typename Box = QDoubleSpinBox>
void bind(std::type_identity_t<Box>* box, Default<double> setting) {
  box->setKeyboardTracking(false);
  detail::bindInRange(box, std::move(setting), [box](double value) {
    const auto chosen = detail::chosenInRange(box->value(), value, box->minimum(), box->maximum());
    // The box rounds the setting to its decimals in this way. A program that gives it fewer decimals chooses nothing.
    return chosen && *chosen == QString::number(value, 'f', box->decimals()).toDouble() ? std::nullopt : chosen;
  });
}
/// Binds a setting to the chosen text of a combo box. If the box does not contain the stored text, no text is chosen.
/// In all other respects the call is like the overload for `QAbstractButton`.
template <typename Box = QComboBox>
void bind(std::type_identity_t<Box>* box, Default<std::string> setting) {
  const auto read = [box](const std::string&) { return box->currentText().toStdString(); };
  const auto show = [box](const std::string& text) {
    box->setCurrentIndex(box->findText(QString::fromStdString(text)));
  };
  detail::connectBothWays(box, &Box::activated, std::move(setting), read, show)->start();
}
/// Binds a setting to a field with a formatter, for the life of the validator. The rule of the key judges the objects
/// of the field, so no forbidden value is stored. After each successful end of editing, the binding stores the object
/// of the field in the setting. While the field has an unfinished edit, changes of the setting by other code do not
/// change the field. In all other respects the call is like the overload for `QAbstractButton`.
///
/// The field owns the validator. The rule and the handlers of the host add to those of the binding. If a slot of the
/// host destroys the validator during `bind`, do not use the result. Callers must include
/// Tessaly/Adapters/QtWidgets/FormatterValidator.hpp.
template <std::derived_from<Formatter> Kind, typename Value, typename Validator = FormatterValidator>
Validator* bind(QLineEdit* field, std::shared_ptr<Kind> formatter, const Default<Value>& setting) {
  static_assert(requires { sizeof(Validator); }, "include Tessaly/Adapters/QtWidgets/FormatterValidator.hpp");
  auto* validator = new Validator(std::move(formatter), field);
  const auto token = std::make_shared<std::optional<ObservationToken>>();
  detail::endWith(validator, token);
  token->emplace(detail::SettingConnection<Validator>::make(*validator, setting));
  return validator;
}

}  // namespace Qt6

}  // namespace Tessaly::inline v1
