// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Formatters/CurrencyFormatStyle.hpp"
#include "Tessaly/Core/Formatters/FieldEditing.hpp"
#include "Tessaly/Core/Formatters/ValueFormatter.hpp"

namespace Tessaly {

void makeFields() {
  FieldEditing price(fieldFormatter(CurrencyFormatStyle("EUR")));
  FieldEditing distance(fieldFormatter(MeasurementFormatStyle(), Quantity::Unit::kilometer));
  static_cast<void>(price.isEdited("9,5") || distance.isEdited("5 mi"));
}

}  // namespace Tessaly
