// SPDX-License-Identifier: MIT
#include "Tessaly/Adapters/Gtk/SettingBinding.hpp"

#include "Tessaly/Formatting/Formatters+RangeNumber.hpp"

namespace Tessaly {
namespace {

constexpr Default<bool>::Key showsHiddenFilesKey{"shows-hidden-files", false};
constexpr auto volumeKey = Default<double>::Key("volume", 0.5).within(0.0, 1.0);
constexpr auto copiesKey = Default<int>::Key("copies", 1).within(1, 99);
constexpr auto intervalKey = Default<int>::Key("interval", 60).within(1, 3600);
const Default<std::string>::Key themeKey{"theme", "System"};

}  // namespace

void showSettingBinding(GtkWidget* check, GtkWidget* scale, GtkWidget* spinButton, GtkWidget* dropDown,
                        GtkWidget* entry) {
  auto interval = Formatters::RangeNumber<int>::make(ClosedRange(1, 3600));
  Gtk4::bind(GTK_CHECK_BUTTON(check), Default<bool>(showsHiddenFilesKey));
  Gtk4::bind(GTK_RANGE(scale), Default<double>(volumeKey));
  Gtk4::bind(GTK_SPIN_BUTTON(spinButton), Default<int>(copiesKey));
  Gtk4::bind(GTK_DROP_DOWN(dropDown), Default<std::string>(themeKey));
  Gtk4::bind(GTK_EDITABLE(entry), interval, Default<int>(intervalKey));
}

}  // namespace Tessaly
