// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "Tessaly/Adapters/GLib/MainLoop.hpp"
#include "Tessaly/Adapters/Gtk/ListModel.hpp"
#include "tests/Adapters/ListedRows.hpp"
#include "tests/Support/PrivateDisplay.hpp"

namespace Tessaly {
namespace {

class GtkListOfTest : public testing::Test {
 protected:
  void SetUp() override {
    if (!display_.reason().empty()) GTEST_SKIP() << display_.reason();
    ::setenv("GDK_BACKEND", "x11", 1);
    ::setenv("GSK_RENDERER", "cairo", 1);
    ::setenv("GTK_A11Y", "none", 1);
    ::setenv("GSETTINGS_BACKEND", "memory", 1);
    gtk_init();
    adapter_.emplace();
  }
  void TearDown() override { destroyModel(); }

  template <typename... Source>
  void list(Source... source) {
    model_ = Gtk4::listModel(std::move(source)...);
    selection_ = gtk_multi_selection_new(G_LIST_MODEL(g_object_ref(model_)));
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
  void select(int row) { gtk_selection_model_select_item(GTK_SELECTION_MODEL(selection_), row, FALSE); }
  [[nodiscard]] std::vector<std::string> selected() const {
    std::vector<std::string> titles;
    for (guint row = 0; row < g_list_model_get_n_items(model_); ++row) {
      if (gtk_selection_model_is_selected(GTK_SELECTION_MODEL(selection_), row)) titles.push_back(title(row));
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
  GtkMultiSelection* selection_ = nullptr;
  GtkWidget* window_ = nullptr;
  GtkWidget* last_ = nullptr;
  int widgets_ = 0;
  std::vector<std::string> mirror_;
  int changes_ = 0;
  std::function<void()> whenChanged_;
};

INSTANTIATE_TYPED_TEST_SUITE_P(Gtk, ListedRows, GtkListOfTest);

TEST_F(GtkListOfTest, RowOfAChangedElementIsShownAnew) {
  Property<Tracks> queue = tracks(0, 1);
  list([&] { return queue.value(); }, &Track::id);
  ASSERT_NE(last_, nullptr);
  EXPECT_STREQ(gtk_label_get_text(GTK_LABEL(last_)), "track 0");
  const int widgets = widgets_;
  queue = Tracks{{0, "another title"}};
  turn();
  EXPECT_STREQ(gtk_label_get_text(GTK_LABEL(last_)), "another title");
  EXPECT_EQ(widgets_, widgets);
}

TEST_F(GtkListOfTest, ItemOutlivesRowAndModel) {
  Property<Tracks> queue = tracks(0, 3);
  list([&] { return queue.value(); }, &Track::id);
  const gpointer removed = g_list_model_get_item(model_, 0);
  const gpointer kept = g_list_model_get_item(model_, 1);
  queue = tracks(1, 3);
  turn();
  EXPECT_EQ(Gtk4::element<Track>(removed).id, 0);
  const gpointer same = g_list_model_get_item(model_, 0);
  EXPECT_EQ(same, kept);
  g_object_unref(same);
  destroyModel();
  EXPECT_EQ(Gtk4::element<Track>(kept).id, 1);
  g_object_unref(kept);
  g_object_unref(removed);
}

TEST_F(GtkListOfTest, LongListMakesWidgetsForVisibleRowsOnly) {
  const Property<Tracks> queue = tracks(0, 100'000);
  list([&] { return queue.value(); }, &Track::id);
  EXPECT_EQ(g_list_model_get_n_items(model_), 100'000U);
  EXPECT_EQ(g_list_model_get_item(model_, 100'000), nullptr);
  EXPECT_GT(widgets_, 0);
  EXPECT_LT(widgets_, 1'000);
}

/// Sets a row up without a view.
template <typename Make, typename Show>
void setUpRow(Make make, Show show) {
  detail::RowWidgets<Track, Make, Show> widgets{make, show};
  auto* const row = static_cast<GtkListItem*>(g_object_new(GTK_TYPE_LIST_ITEM, nullptr));
  detail::RowWidgets<Track, Make, Show>::setUp(nullptr, row, &widgets);
}

TEST(GtkListModelDeathTest, MakerOfRowsThatThrowsStopsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  constexpr auto make = []() -> GtkWidget* { throw std::runtime_error("no widget"); };
  EXPECT_DEATH(setUpRow(make, [](GtkWidget*, const Track&) {}), "The maker of a row's widget has thrown");
}

TEST(GtkListModelDeathTest, ItemOfAnotherTypeStopsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(
      {
        MainQueue::adopt();
        GListModel* model = Gtk4::listModel([] { return Tracks{{1, "one"}}; }, &Track::id);
        (void)Gtk4::element<std::string>(g_list_model_get_item(model, 0));
      },
      "The item shows no element of this type");
  EXPECT_DEATH((void)Gtk4::element<Track>(g_object_new(G_TYPE_OBJECT, nullptr)),
               "The item shows no element of this type");
}

}  // namespace
}  // namespace Tessaly
