// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Tessaly/Adapters/GLib/MainLoop.hpp"
#include "Tessaly/Adapters/Gtk/ListModel.hpp"
#include "tests/Adapters/Gtk/StartGtk.hpp"
#include "tests/Adapters/ListedRows.hpp"
#include "tests/Support/PrivateDisplay.hpp"

namespace Tessaly {

/// A window with a list of tracks on a display of its own.
class GtkListOfTest : public testing::Test {
 protected:
  void SetUp() override {
    if (!display_.reason().empty()) GTEST_SKIP() << display_.reason();
    Tests::startGtk();
    adapter_.emplace();
  }
  void TearDown() override { destroyModel(); }

  template <typename... Source>
  void list(Source... source) {
    select(Gtk4::listModel(std::move(source)...));
    GtkListItemFactory* factory = Gtk4::rowFactory<Track>(
        [this] {
          ++widgets_;
          return gtk_label_new(nullptr);
        },
        [this](GtkWidget* label, const Track& track) {
          gtk_label_set_text(GTK_LABEL(label), track.title.c_str());
          if (track.title.ends_with('!')) notify();
          last_ = label;
        });
    window_ = gtk_window_new();
    GtkWidget* scroller = gtk_scrolled_window_new();
    GtkWidget* view = gtk_list_view_new(GTK_SELECTION_MODEL(g_object_ref(selection_)), factory);
    gtk_scrolled_window_set_child(GTK_SCROLLED_WINDOW(scroller), view);
    gtk_window_set_child(GTK_WINDOW(window_), scroller);
    gtk_window_present(GTK_WINDOW(window_));
    mirror_ = rows();
    g_signal_connect(model_, "items-changed", G_CALLBACK(&GtkListOfTest::change), this);
    turn();
  }
  /// Makes `model_`, the list of the tests, and its selection. Takes over the reference to `rows`.
  virtual void select(GListModel* rows) {
    model_ = rows;
    selection_ = GTK_SELECTION_MODEL(gtk_multi_selection_new(G_LIST_MODEL(g_object_ref(rows))));
  }
  void destroyModel() {
    if (window_ != nullptr) gtk_window_destroy(GTK_WINDOW(std::exchange(window_, nullptr)));
    g_clear_object(&selection_);
    if (model_ != nullptr) g_signal_handlers_disconnect_by_data(model_, this);
    g_clear_object(&model_);
  }
  static void turn() {
    while (g_main_context_pending(nullptr)) g_main_context_iteration(nullptr, FALSE);
  }

  [[nodiscard]] std::string title(guint row) const {
    const gpointer item = g_list_model_get_item(model_, row);
    std::string title = Gtk4::element<Track>(item).title;
    g_object_unref(item);
    return title;
  }
  [[nodiscard]] std::vector<std::string> rows() const {
    std::vector<std::string> rows;
    for (guint row = 0; row < g_list_model_get_n_items(model_); ++row) rows.push_back(title(row));
    return rows;
  }
  /// A changed element is no change of rows, so the mirror reads the titles anew.
  [[nodiscard]] std::vector<std::string> mirror() const {
    EXPECT_EQ(mirror_.size(), rows().size());
    return rows();
  }
  [[nodiscard]] int changes() const { return changes_; }
  void select(int row) { gtk_selection_model_select_item(selection_, row, FALSE); }
  [[nodiscard]] std::vector<std::string> selected() const {
    std::vector<std::string> titles;
    for (guint row = 0; row < g_list_model_get_n_items(model_); ++row) {
      if (gtk_selection_model_is_selected(selection_, row)) titles.push_back(title(row));
    }
    std::ranges::sort(titles);
    return titles;
  }

  static void change(GListModel* /*model*/, guint first, guint removed, guint added, GtkListOfTest* self) {
    ++self->changes_;
    auto& mirror = self->mirror_;
    mirror.erase(mirror.begin() + first, mirror.begin() + first + removed);
    for (guint row = first; row < first + added; ++row) mirror.insert(mirror.begin() + row, self->title(row));
    for (std::size_t row = 0; row < mirror.size(); ++row) {
      EXPECT_EQ(mirror[row].substr(0, 7), self->title(static_cast<guint>(row)).substr(0, 7));
    }
    self->notify();
  }
  void notify() {
    if (const auto handler = std::exchange(whenChanged_, nullptr)) handler();
  }

  Tests::PrivateDisplay display_{"", 640, 480};
  std::optional<GLib::MainLoopAdapter> adapter_;
  GListModel* model_ = nullptr;
  GtkSelectionModel* selection_ = nullptr;
  GtkWidget* window_ = nullptr;
  GtkWidget* last_ = nullptr;
  int widgets_ = 0;
  std::vector<std::string> mirror_;
  int changes_ = 0;
  std::function<void()> whenChanged_;
};

}  // namespace Tessaly
