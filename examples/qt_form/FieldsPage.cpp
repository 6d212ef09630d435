// SPDX-License-Identifier: MIT

// The examples of docs/fields.md, which only need to compile.

#include <QLineEdit>
#include <memory>

#include "Tessaly/Adapters/QtWidgets/FormatterValidator.hpp"
#include "Tessaly/Formatting/Formatters+RangeNumber.hpp"

namespace Tessaly {

void show(const NSNumber& number);

void showField(QLineEdit* lineEdit) {
  auto volume = Formatters::RangeNumber<int>::make(ClosedRange(0, 100));
  volume->setSuffix(" %");
  auto* validator = new Qt6::FormatterValidator(volume, lineEdit);
  validator->setObjectValue(50);
  validator->onEditingEnd([](const std::any& object) { show(std::any_cast<NSNumber>(object)); });
}

}  // namespace Tessaly
