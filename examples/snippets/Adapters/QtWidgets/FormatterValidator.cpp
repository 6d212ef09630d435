// SPDX-License-Identifier: MIT
#include "Tessaly/Adapters/QtWidgets/FormatterValidator.hpp"

#include "Tessaly/Formatting/Formatters+RangeNumber.hpp"

namespace Tessaly {

void show(const NSNumber& number);

void showFormatterValidator(QLineEdit* field) {
  auto level = Formatters::RangeNumber<int>::make(ClosedRange(0, 100));
  auto* validator = new Qt6::FormatterValidator(level, field);
  validator->setObjectValue(50);
  validator->onEditingEnd([](const std::any& object) { show(std::any_cast<NSNumber>(object)); });
}

}  // namespace Tessaly
