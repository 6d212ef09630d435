// SPDX-License-Identifier: MIT
#include "Tessaly/Adapters/Gtk/FormatterHook.hpp"
#include "Tessaly/Formatting/Formatters+CharactersLimit.hpp"

void police(GtkEditable* field) {
  static Tessaly::Gtk4::FormatterHook hook(Tessaly::Formatters::CharactersLimit::make(10), field);
}
