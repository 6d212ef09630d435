// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <optional>

#include "Columns.hpp"
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
  if (GTK_IS_MENU_BUTTON(gtk_widget_get_parent(widget))) return hasName(gtk_widget_get_parent(widget));
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

/// The first widget of a type at or below a widget, or null.
GtkWidget* descendant(GtkWidget* widget, GType type) {
  if (g_type_is_a(G_OBJECT_TYPE(widget), type) != 0) return widget;
  GtkWidget* found = nullptr;
  for (GtkWidget* child = gtk_widget_get_first_child(widget); child != nullptr && found == nullptr;
       child = gtk_widget_get_next_sibling(child)) {
    found = descendant(child, type);
  }
  return found;
}

class KeeperGtkWindow : public testing::Test {
 protected:
  void SetUp() override {
    if (!display_.reason().empty()) GTEST_SKIP() << display_.reason();
    ::setenv("GDK_BACKEND", "x11", 1);
    ::setenv("GSK_RENDERER", "cairo", 1);
    ::setenv("GTK_A11Y", "test", 1);
    ::setenv("GSETTINGS_BACKEND", "memory", 1);
    gtk_init();
    adapter_.emplace();
    shelf_.emplace(folder_.url());
    desk_.emplace(*shelf_);
    window_.emplace(*desk_, loop_);
  }
  ~KeeperGtkWindow() override { g_main_loop_unref(loop_); }

  /// The only window. It lives as long as the test.
  static GtkWidget* window() {
    GListModel* windows = gtk_window_get_toplevels();
    EXPECT_EQ(g_list_model_get_n_items(windows), 1U);
    gpointer window = g_list_model_get_item(windows, 0);
    g_object_unref(window);
    return GTK_WIDGET(window);
  }

  Tests::PrivateDisplay display_{"", 1'100, 700};
  std::shared_ptr<InMemoryUserDefaults> settings_ = InMemoryUserDefaults::make();
  UserDefaultsInstallation installation_{settings_};
  Tests::TemporaryFolder folder_;
  GMainLoop* loop_ = g_main_loop_new(nullptr, FALSE);
  std::optional<GLib::MainLoopAdapter> adapter_;
  std::optional<Shelf> shelf_;
  std::optional<Desk> desk_;
  std::optional<Window> window_;
};

TEST_F(KeeperGtkWindow, EveryControlHasANameForScreenReaders) { EXPECT_GE(expectNames(window()), 17); }

TEST_F(KeeperGtkWindow, ColumnsFollowTheirSettings) {
  auto* view = GTK_COLUMN_VIEW(descendant(window(), GTK_TYPE_COLUMN_VIEW));
  ASSERT_EQ(g_list_model_get_n_items(gtk_column_view_get_columns(view)), columns.size() + 1);
  for (std::size_t index = 0; index < columns.size(); ++index) {
    gpointer item = g_list_model_get_item(gtk_column_view_get_columns(view), static_cast<guint>(index) + 1);
    auto* column = GTK_COLUMN_VIEW_COLUMN(item);
    EXPECT_STREQ(gtk_column_view_column_get_title(column), text(columns.at(index).title));
    for (const bool isShown : {false, true}) {
      settings_->setFromElsewhere(isShown, columns.at(index).shown.name());
      while ((gtk_column_view_column_get_visible(column) != 0) != isShown) g_main_context_iteration(nullptr, TRUE);
    }
    g_object_unref(item);
  }
}

}  // namespace
}  // namespace keeper
