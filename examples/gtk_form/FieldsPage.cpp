// SPDX-License-Identifier: MIT

// The examples of docs/fields.md, which only need to compile.

#include <any>
#include <memory>

#include "Tessaly/Adapters/Gtk/FormatterHook.hpp"
#include "Tessaly/Formatting/Formatters+RangeNumber.hpp"

namespace Tessaly {

void show(const NSNumber& number);
void store(const NSNumber& number);

std::unique_ptr<Gtk4::FormatterHook> showField(GtkWidget* entry) {
  auto volume = Formatters::RangeNumber<int>::make(ClosedRange(0, 100));
  volume->setSuffix(" %");
  auto hook = std::make_unique<Gtk4::FormatterHook>(volume, GTK_EDITABLE(entry));
  hook->setObjectValue(50);
  hook->onEditingEnd([](const std::any& object) { show(std::any_cast<NSNumber>(object)); });
  return hook;
}

void save(Gtk4::FormatterHook& volume) {
  if (!volume.endEditing()) return;  // The field shows why it keeps its text.
  store(std::any_cast<NSNumber>(volume.objectValue()));
}

}  // namespace Tessaly
