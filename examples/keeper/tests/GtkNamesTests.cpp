// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstdlib>

#include "Desk.hpp"
#include "Shelf.hpp"
#include "Tessaly/Adapters/GLib/MainLoop.hpp"
#include "Tessaly/Platform/Testing/InMemoryUserDefaults.hpp"
#include "Window.hpp"
#include "tests/Support/PrivateDisplay.hpp"
#include "tests/Support/TemporaryFolder.hpp"

namespace keeper {
namespace {

using namespace Tessaly;

/// Whether a screen reader finds a name: that of the widget, or the text of its label.
bool hasName(GtkWidget* widget) {
  if (gtk_test_accessible_has_property(GTK_ACCESSIBLE(widget), GTK_ACCESSIBLE_PROPERTY_LABEL) != 0) return true;
  const char* label = GTK_IS_BUTTON(widget)         ? gtk_button_get_label(GTK_BUTTON(widget))
                      : GTK_IS_CHECK_BUTTON(widget) ? gtk_check_button_get_label(GTK_CHECK_BUTTON(widget))
                                                    : nullptr;
  return label != nullptr && *label != '\0';
}

/// Counts the controls below a widget and expects that each has a name.
int expectNames(GtkWidget* widget) {
  const bool isControl = GTK_IS_BUTTON(widget) || GTK_IS_CHECK_BUTTON(widget) || GTK_IS_EDITABLE(widget) ||
                         GTK_IS_COLUMN_VIEW(widget) || GTK_IS_PROGRESS_BAR(widget);
  if (isControl) EXPECT_TRUE(hasName(widget)) << G_OBJECT_TYPE_NAME(widget);
  int controls = isControl ? 1 : 0;
  for (GtkWidget* child = gtk_widget_get_first_child(widget); child != nullptr;
       child = gtk_widget_get_next_sibling(child)) {
    controls += expectNames(child);
  }
  return controls;
}

TEST(KeeperGtkNames, EveryControlHasANameForScreenReaders) {
  const Tests::PrivateDisplay display("", 1'100, 700);
  if (!display.reason().empty()) GTEST_SKIP() << display.reason();
  ::setenv("GDK_BACKEND", "x11", 1);
  ::setenv("GSK_RENDERER", "cairo", 1);
  ::setenv("GTK_A11Y", "test", 1);
  ::setenv("GSETTINGS_BACKEND", "memory", 1);
  gtk_init();
  const GLib::MainLoopAdapter adapter;
  const UserDefaultsInstallation settings(InMemoryUserDefaults::make());
  const Tests::TemporaryFolder folder;
  Shelf shelf(folder.url());
  Desk desk(shelf);
  GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
  {
    const Window window(desk, loop);
    GListModel* windows = gtk_window_get_toplevels();
    ASSERT_EQ(g_list_model_get_n_items(windows), 1U);
    const gpointer shown = g_list_model_get_item(windows, 0);
    EXPECT_GE(expectNames(GTK_WIDGET(shown)), 13);
    g_object_unref(shown);
  }
  g_main_loop_unref(loop);
}

}  // namespace
}  // namespace keeper
