// SPDX-License-Identifier: MIT
#include "Tessaly/Adapters/QtWidgets/SettingBinding.hpp"

#include <QCheckBox>
#include <QComboBox>
#include <QLineEdit>
#include <QSlider>
#include <QSpinBox>

#include "Tessaly/Adapters/QtWidgets/FormatterValidator.hpp"
#include "Tessaly/Formatting/Formatters+RangeNumber.hpp"

namespace Tessaly {
namespace {

constexpr Default<bool>::Key showsHiddenFilesKey{"shows-hidden-files", false};
constexpr auto volumeKey = Default<int>::Key("volume", 50).within(0, 100);
constexpr auto copiesKey = Default<int>::Key("copies", 1).within(1, 99);
constexpr auto intervalKey = Default<int>::Key("interval", 60).within(1, 3600);
const Default<std::string>::Key themeKey{"theme", "System"};

}  // namespace

void showSettingBinding(QCheckBox* checkBox, QSlider* slider, QSpinBox* spinBox, QComboBox* comboBox,
                        QLineEdit* lineEdit) {
  auto interval = Formatters::RangeNumber<int>::make(ClosedRange(1, 3600));
  Qt6::bind(checkBox, Default<bool>(showsHiddenFilesKey));
  Qt6::bind(slider, Default<int>(volumeKey));
  Qt6::bind(spinBox, Default<int>(copiesKey));
  Qt6::bind(comboBox, Default<std::string>(themeKey));
  Qt6::bind(lineEdit, interval, Default<int>(intervalKey));
}

}  // namespace Tessaly
