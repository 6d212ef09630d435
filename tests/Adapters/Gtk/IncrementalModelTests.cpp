// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "Tessaly/Adapters/Gtk/IncrementalModel.hpp"

namespace Tessaly {
namespace {

/// A list of texts behind an incremental model with steps of ten rows.
class GtkIncrementalModelTest : public testing::Test {
 protected:
  GtkIncrementalModelTest()
      : rows_(gtk_string_list_new(nullptr)), model_(Gtk4::incrementalModel(G_LIST_MODEL(g_object_ref(rows_)), 10)) {}
  ~GtkIncrementalModelTest() override {
    g_clear_object(&model_);
    g_object_unref(rows_);
  }

  void replaceAll(guint count) {
    const std::vector<std::string> texts(count, "text");
    std::vector<const char*> pointers;
    for (const std::string& text : texts) pointers.push_back(text.c_str());
    pointers.push_back(nullptr);
    gtk_string_list_splice(rows_, 0, g_list_model_get_n_items(G_LIST_MODEL(rows_)), pointers.data());
  }
  [[nodiscard]] guint shown() const { return g_list_model_get_n_items(model_); }
  static bool turn() { return g_main_context_iteration(nullptr, FALSE) != FALSE; }

  GtkStringList* rows_;
  GListModel* model_;
};

TEST_F(GtkIncrementalModelTest, LongListGrowsByAStepInEachTurn) {
  replaceAll(1'000);
  for (guint rows = 10; rows < 510; rows += 10) {
    ASSERT_EQ(shown(), rows);
    ASSERT_TRUE(turn());
  }
  turn();
  EXPECT_EQ(shown(), 1'000U);
  EXPECT_FALSE(turn());
}

TEST_F(GtkIncrementalModelTest, ShortListIsShownAtOnceAndWithoutATurn) {
  replaceAll(10);
  EXPECT_EQ(shown(), 10U);
  EXPECT_FALSE(turn());
}

TEST_F(GtkIncrementalModelTest, ChangesOfAShownListAreShownAtOnce) {
  replaceAll(1'000);
  while (turn()) {
  }
  gtk_string_list_append(rows_, "last");
  EXPECT_EQ(shown(), 1'001U);
  replaceAll(600);
  EXPECT_EQ(shown(), 600U);
  EXPECT_FALSE(turn());
}

TEST_F(GtkIncrementalModelTest, SmallChangesAreReportedExactly) {
  const auto change = +[](GListModel*, guint position, guint removed, guint added, std::string* seen) {
    *seen += std::to_string(position) + " -" + std::to_string(removed) + " +" + std::to_string(added) + "; ";
  };
  std::string seen;
  for (const guint count : {1'000U, 300U}) {
    replaceAll(count);
    while (turn()) {
    }
    const gulong watched = g_signal_connect(model_, "items-changed", G_CALLBACK(change), &seen);
    const char* two[] = {"text", "text", nullptr};
    gtk_string_list_splice(rows_, 100, 0, two);
    gtk_string_list_remove(rows_, 0);
    gtk_string_list_splice(rows_, 50, 3, two);
    g_signal_handler_disconnect(model_, watched);
    EXPECT_FALSE(turn());
  }
  EXPECT_EQ(seen, "100 -0 +2; 0 -1 +0; 50 -3 +2; 100 -0 +2; 0 -1 +0; 50 -3 +2; ");
}

TEST_F(GtkIncrementalModelTest, RowsThatAreNotShownYetChangeUnseen) {
  replaceAll(1'000);
  gtk_string_list_remove(rows_, 10);
  EXPECT_EQ(shown(), 10U);
  gtk_string_list_remove(rows_, 9);
  EXPECT_EQ(shown(), 9U);
  while (turn()) {
  }
  EXPECT_EQ(shown(), 998U);
}

TEST_F(GtkIncrementalModelTest, ListThatBecameShortGrowsInStepsAgain) {
  replaceAll(1'000);
  while (turn()) {
  }
  for (const guint few : {0U, 3U, 10U, 25U}) {
    replaceAll(few);
    EXPECT_EQ(shown(), few);
    replaceAll(1'000);
    EXPECT_EQ(shown(), std::max(few, 10U));
    ASSERT_TRUE(turn());
    EXPECT_EQ(shown(), std::max(few, 10U) + 10);
    while (turn()) {
    }
    EXPECT_EQ(shown(), 1'000U);
  }
}

TEST_F(GtkIncrementalModelTest, ListThatShrinksDuringGrowthIsShownCompletely) {
  replaceAll(1'000);
  turn();
  replaceAll(15);
  while (turn()) {
  }
  EXPECT_EQ(shown(), 15U);
}

TEST_F(GtkIncrementalModelTest, EveryChangeIsReportedWithItsRows) {
  guint mirrored = shown();
  const auto change = +[](GListModel*, guint position, guint removed, guint added, guint* count) {
    EXPECT_LE(position + removed, *count);
    *count += added - removed;
  };
  g_signal_connect(model_, "items-changed", G_CALLBACK(change), &mirrored);
  for (const guint count : {700U, 5U, 300U, 12U, 0U, 512U, 511U}) {
    replaceAll(count);
    EXPECT_EQ(mirrored, shown());
    while (turn()) EXPECT_EQ(mirrored, shown());
    EXPECT_EQ(shown(), count);
  }
}

TEST_F(GtkIncrementalModelTest, ModelMayEndDuringGrowth) {
  replaceAll(1'000);
  g_clear_object(&model_);
  EXPECT_FALSE(turn());
  gtk_string_list_append(rows_, "last");
}

TEST_F(GtkIncrementalModelTest, ModelMayEndInAHandlerOfItsGrowth) {
  replaceAll(1'000);
  const auto end = +[](GListModel** model) { g_clear_object(model); };
  g_signal_connect_swapped(model_, "items-changed", G_CALLBACK(end), &model_);
  EXPECT_TRUE(turn());
  EXPECT_EQ(model_, nullptr);
  EXPECT_FALSE(turn());
}

TEST_F(GtkIncrementalModelTest, RowsEndWithTheModel) {
  gpointer rows = gtk_string_list_new(nullptr);
  g_object_add_weak_pointer(G_OBJECT(rows), &rows);
  GListModel* const model = Gtk4::incrementalModel(G_LIST_MODEL(rows));
  EXPECT_NE(rows, nullptr);
  g_object_unref(model);
  EXPECT_EQ(rows, nullptr);
}

TEST(GtkIncrementalModelDeathTest, StepOfNothingStopsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH((void)Gtk4::incrementalModel(G_LIST_MODEL(gtk_string_list_new(nullptr)), 0),
               "The step of an incremental model must not be 0");
}

}  // namespace
}  // namespace Tessaly
