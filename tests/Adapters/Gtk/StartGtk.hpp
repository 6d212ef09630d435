// SPDX-License-Identifier: MIT
#pragma once

#include <gtk/gtk.h>

#include <cstdlib>

namespace Tessaly::Tests {

/// Starts GTK on the display of the test, without services of a desktop.
inline void startGtk() {
  ::setenv("GDK_BACKEND", "x11", 1);
  ::setenv("GSK_RENDERER", "cairo", 1);
  ::setenv("GTK_A11Y", "none", 1);
  ::setenv("GSETTINGS_BACKEND", "memory", 1);
  gtk_init();
}

}  // namespace Tessaly::Tests
