// SPDX-License-Identifier: MIT
#include "Tessaly/Adapters/Gtk/FormatterHook.hpp"

#include "Tessaly/Formatting/Formatters+RangeNumber.hpp"

namespace Tessaly {

void show(const NSNumber& number);

void showFormatterHook(GtkWidget* entry) {
  auto level = Formatters::RangeNumber<int>::make(ClosedRange(0, 100));
  Gtk4::FormatterHook hook(level, GTK_EDITABLE(entry));
  hook.setObjectValue(50);
  hook.onEditingEnd([](const std::any& object) { show(std::any_cast<NSNumber>(object)); });
}

}  // namespace Tessaly
