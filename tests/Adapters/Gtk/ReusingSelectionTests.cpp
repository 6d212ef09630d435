// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Tessaly/Adapters/Gtk/ReusingSelection.hpp"
#include "tests/Adapters/Gtk/ShownTracks.hpp"
#include "tests/Support/WaitUntil.hpp"

namespace Tessaly {
namespace {

class GtkReusedListOfTest : public GtkListOfTest {
 protected:
  /// GTK warns if two of its rows have one item.
  void SetUp() override {
    const auto write = +[](GLogLevelFlags level, const GLogField* fields, gsize count, gpointer seen) {
      for (gsize field = 0; field < count; ++field) {
        const std::string_view key = fields[field].key;
        if (key != "MESSAGE") continue;
        static_cast<std::string*>(seen)->append(static_cast<const char*>(fields[field].value)).append("\n");
      }
      return g_log_writer_default(level, fields, count, nullptr);
    };
    g_log_set_writer_func(write, &messages(), nullptr);
    GtkListOfTest::SetUp();
  }
  void TearDown() override {
    GtkListOfTest::TearDown();
    EXPECT_FALSE(messages().contains("Duplicate item")) << messages();
  }
  /// All messages of GLib and GTK. GLib keeps the writer for ever.
  static std::string& messages() {
    static std::string& messages = *new std::string;
    return messages;
  }

  using GtkListOfTest::select;
  void select(GListModel* rows) override {
    slice_ = gtk_slice_list_model_new(rows, 0, G_MAXUINT);
    selection_ = Gtk4::reusingSelection(GTK_SELECTION_MODEL(gtk_multi_selection_new(G_LIST_MODEL(slice_))));
    model_ = G_LIST_MODEL(g_object_ref(selection_));
  }
  static void end(GtkSelectionModel* /*selection*/, guint /*row*/, guint /*count*/, GtkReusedListOfTest* self) {
    self->destroyModel();
  }
  void listQueue() {
    list([this] { return queue_.value(); }, &Track::id);
  }
  void show(Tracks tracks) {
    queue_ = std::move(tracks);
    turn();
  }
  [[nodiscard]] gpointer item(guint row) const {
    const gpointer item = g_list_model_get_item(model_, row);
    g_object_unref(item);  // The view holds it.
    return item;
  }
  /// The tracks with every second number.
  static Tracks evenTracks(int count) {
    Tracks even;
    for (int number = 0; number < count; number += 2) even.push_back(tracks(number, number + 1).front());
    return even;
  }

  Property<Tracks> queue_ = tracks(0, 1'000);
  GtkSliceListModel* slice_ = nullptr;
};

INSTANTIATE_TYPED_TEST_SUITE_P(GtkReused, ListedRows, GtkReusedListOfTest);

TEST_F(GtkReusedListOfTest, NewRowsGetTheWidgetsOfRemovedRows) {
  listQueue();
  const int widgets = widgets_;
  EXPECT_GT(widgets, 100);
  show(tracks(5'000, 6'000));
  EXPECT_EQ(title(0), "track 5000");
  EXPECT_EQ(widgets_, widgets);
  show(evenTracks(2'000));
  show(tracks(0, 2'000));
  EXPECT_EQ(title(1), "track 1");
  EXPECT_EQ(widgets_, widgets);
}

TEST_F(GtkReusedListOfTest, WidgetsOfNewRowsShowTheNewElements) {
  queue_ = tracks(0, 1);
  listQueue();
  GtkWidget* const label = last_;
  show(tracks(7, 8));
  EXPECT_EQ(last_, label);
  EXPECT_STREQ(gtk_label_get_text(GTK_LABEL(label)), "track 7");
}

TEST_F(GtkReusedListOfTest, KeptElementsKeepTheirItems) {
  listQueue();
  const std::vector<gpointer> items{item(0), item(2), item(20)};
  show(evenTracks(1'000));
  EXPECT_EQ((std::vector<gpointer>{item(0), item(1), item(10)}), items);
  EXPECT_EQ(title(10), "track 20");
}

TEST_F(GtkReusedListOfTest, SelectionIsThatOfTheElements) {
  listQueue();
  for (const int row : {1, 2}) select(row);
  show(evenTracks(1'000));
  EXPECT_EQ(selected(), std::vector<std::string>{"track 2"});
  show(tracks(5'000, 6'000));
  EXPECT_EQ(selected(), std::vector<std::string>());
}

TEST_F(GtkReusedListOfTest, RandomFiltersShowTheirRows) {
  std::mt19937 random(11);
  listQueue();
  std::vector<std::string> chosen;
  for (int round = 0; round < 60; ++round) {
    Tracks kept = tracks(0, 3'000);
    const unsigned part = random() % 4;
    std::erase_if(kept, [&](const Track&) { return random() % 4 < part; });
    show(kept);
    ASSERT_EQ(mirror(), titles(kept)) << "round " << round;
    chosen = selected();
    ASSERT_LE(chosen.size(), 1U);
    if (chosen.empty() && !kept.empty()) select(static_cast<int>(random() % kept.size()));
    turn();
  }
}

TEST_F(GtkReusedListOfTest, RowsOfTheViewKeepTheirOrder) {
  listQueue();
  const std::vector<gpointer> items{item(0), item(1), item(2)};
  show(tracks(5'000, 6'000));
  EXPECT_EQ((std::vector<gpointer>{item(0), item(1), item(2)}), items);
}

/// The adjustment's value when three frames have left it as it is. GTK guesses the heights of rows, and corrects the
/// place when it has measured them.
double restingValue(GtkAdjustment* place, GtkWidget* view) {
  double value = gtk_adjustment_get_value(place);
  int frames = 0;
  const auto count = [](GtkWidget*, GdkFrameClock*, gpointer frames) -> gboolean {
    ++*static_cast<int*>(frames);
    return G_SOURCE_CONTINUE;
  };
  const guint counting = gtk_widget_add_tick_callback(view, count, &frames, nullptr);
  EXPECT_TRUE(Tests::waitUntil([&] {
    while (g_main_context_pending(nullptr)) g_main_context_iteration(nullptr, FALSE);
    if (std::exchange(value, gtk_adjustment_get_value(place)) != value) frames = 0;
    return frames >= 3;
  }));
  gtk_widget_remove_tick_callback(view, counting);
  return value;
}

TEST_F(GtkReusedListOfTest, ViewAndFocusStayAtTheirPlaceInANewOrder) {
  listQueue();
  GtkWidget* const scroller = gtk_window_get_child(GTK_WINDOW(window_));
  GtkAdjustment* const place = gtk_scrolled_window_get_vadjustment(GTK_SCROLLED_WINDOW(scroller));
  GtkWidget* const view = gtk_scrolled_window_get_child(GTK_SCROLLED_WINDOW(scroller));
  ASSERT_TRUE(Tests::waitUntil([&] { return turn(), gtk_adjustment_get_upper(place) > 1'000; }));
  gtk_widget_grab_focus(view);  // The focus is in the first row, and the view at another place.
  turn();
  gtk_widget_activate_action(view, "list.scroll-to-item", "u", 500U);
  double value = restingValue(place, view);
  ASSERT_GT(value, 1'000);
  GtkWidget* const focus = gtk_window_get_focus(GTK_WINDOW(window_));
  ASSERT_NE(focus, nullptr);
  const double rowHeight = gtk_adjustment_get_upper(place) / 1'000;
  Tracks other = tracks(0, 1'000);
  for (const unsigned seed : {1, 2, 3}) {
    std::ranges::shuffle(other, std::mt19937(seed));
    show(other);
    // GTK 4.18 follows an element for which it has a widget before and after the update.
    const double former = std::exchange(value, restingValue(place, view));
    EXPECT_NEAR(value, former, 100 * rowHeight);
    EXPECT_EQ(gtk_window_get_focus(GTK_WINDOW(window_)), focus);
  }
}

TEST_F(GtkReusedListOfTest, ItemOfARemovedRowWithoutASuccessorKeepsItsElement) {
  queue_ = tracks(0, 3);
  listQueue();
  const gpointer removed = g_list_model_get_item(model_, 0);
  show(tracks(1, 3));
  EXPECT_EQ(Gtk4::element<Track>(removed).id, 0);
  destroyModel();
  EXPECT_EQ(Gtk4::element<Track>(removed).id, 0);
  g_object_unref(removed);
}

TEST_F(GtkReusedListOfTest, SelectionOfTheGivenModelIsForwarded) {
  queue_ = tracks(0, 5);
  listQueue();
  int notices = 0;
  const auto count = +[](GtkSelectionModel*, guint, guint, int* seen) { ++*seen; };
  g_signal_connect(selection_, "selection-changed", G_CALLBACK(count), &notices);
  gtk_selection_model_select_all(selection_);
  EXPECT_EQ(selected().size(), 5U);
  gtk_selection_model_unselect_item(selection_, 0);
  gtk_selection_model_unselect_range(selection_, 1, 2);
  EXPECT_EQ(selected(), (std::vector<std::string>{"track 3", "track 4"}));
  gtk_selection_model_select_range(selection_, 1, 2, TRUE);
  EXPECT_EQ(selected(), (std::vector<std::string>{"track 1", "track 2"}));
  GtkBitset* const first = gtk_bitset_new_range(0, 1);
  gtk_selection_model_set_selection(selection_, first, first);
  gtk_bitset_unref(first);
  GtkBitset* const chosen = gtk_selection_model_get_selection_in_range(selection_, 0, 5);
  EXPECT_EQ(gtk_bitset_get_size(chosen), 3U);
  gtk_bitset_unref(chosen);
  gtk_selection_model_unselect_all(selection_);
  EXPECT_EQ(selected(), std::vector<std::string>());
  EXPECT_EQ(notices, 6);
}

TEST_F(GtkReusedListOfTest, ModelMayEndInAHandlerOfItsSelection) {
  listQueue();
  g_signal_connect(selection_, "selection-changed", G_CALLBACK(&GtkReusedListOfTest::end), this);
  select(1);
  EXPECT_EQ(model_, nullptr);
  turn();
}

TEST_F(GtkReusedListOfTest, ItemsEndWithTheModelAfterAnUpdateInsideAnUpdate) {
  listQueue();
  gpointer left = item(150);
  g_object_add_weak_pointer(G_OBJECT(left), &left);
  whenChanged_ = [&] { gtk_slice_list_model_set_size(slice_, 30); };
  show(tracks(5'000, 5'050));
  EXPECT_EQ(rows(), titles(tracks(5'000, 5'030)));
  destroyModel();
  turn();
  EXPECT_EQ(left, nullptr);
}

TEST(GtkReusingSelectionDeathTest, ItemsOfAnotherListStopTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(
      {
        GtkStringList* const texts = gtk_string_list_new(nullptr);
        gtk_string_list_append(texts, "text");
        GtkNoSelection* const selection = gtk_no_selection_new(G_LIST_MODEL(texts));
        g_list_model_get_item(G_LIST_MODEL(Gtk4::reusingSelection(GTK_SELECTION_MODEL(selection))), 0);
      },
      "A reusing selection shows only the items of a listModel");
}

}  // namespace
}  // namespace Tessaly
