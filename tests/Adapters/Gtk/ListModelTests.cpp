// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "Tessaly/Adapters/Gtk/ListModel.hpp"
#include "tests/Adapters/Gtk/ShownTracks.hpp"

namespace Tessaly {
namespace {

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
