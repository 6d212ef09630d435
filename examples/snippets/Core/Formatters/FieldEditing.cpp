// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Formatters/FieldEditing.hpp"

#include "Tessaly/Formatting/Formatters+RangeNumber.hpp"

namespace Tessaly {

void showFieldEditing() {
  FieldEditing editing(Formatters::RangeNumber<int>::make(ClosedRange(10, 60)));
  FieldState typing = editing.state("3");    // incomplete
  FieldEditing::End end = editing.end("3");  // shows "10", because “3” is less than “10”
}

}  // namespace Tessaly
