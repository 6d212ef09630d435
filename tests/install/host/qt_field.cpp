// SPDX-License-Identifier: MIT
#include "Tessaly/Adapters/QtWidgets/FormatterValidator.hpp"
#include "Tessaly/Formatting/Formatters+CharactersLimit.hpp"

void police(QLineEdit* field) {
  new Tessaly::Qt6::FormatterValidator(Tessaly::Formatters::CharactersLimit::make(10), field);
}
