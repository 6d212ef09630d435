// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>

#include "Tessaly/Adapters/GLib/MainLoop.hpp"
#include "Tessaly/Adapters/Gtk/Binding.hpp"
#include "Tessaly/Adapters/Gtk/SettingBinding.hpp"
#include "tests/Adapters/BoundWidgets.hpp"
#include "tests/Adapters/Gtk/StartGtk.hpp"
#include "tests/Support/PrivateDisplay.hpp"

namespace Tessaly {
namespace {

class GtkWidgetsOfTest : public testing::Test {
 public:
  using SliderValue = double;

 protected:
  void SetUp() override {
    if (!display_.reason().empty()) GTEST_SKIP() << display_.reason();
    Tests::startGtk();
    adapter_.emplace();
    window_ = gtk_window_new();
    GtkWidget* box = gtk_box_new(GTK_ORIENTATION_VERTICAL, 10);
    gtk_window_set_child(GTK_WINDOW(window_), box);
    constexpr const char* texts[] = {"light", "dark", nullptr};
    label_ = GTK_LABEL(gtk_label_new(""));
    check_ = GTK_CHECK_BUTTON(gtk_check_button_new());
    slider_ = GTK_RANGE(gtk_scale_new_with_range(GTK_ORIENTATION_HORIZONTAL, 0, 100, 1));
    list_ = GTK_DROP_DOWN(gtk_drop_down_new_from_strings(texts));
    field_ = GTK_EDITABLE(gtk_entry_new());
    spin_ = GTK_SPIN_BUTTON(gtk_spin_button_new_with_range(0, 100, 1));
    realSpin_ = GTK_SPIN_BUTTON(gtk_spin_button_new_with_range(0, 10, 0.01));
    for (gpointer widget : {gpointer(spin_), gpointer(realSpin_), gpointer(label_), gpointer(check_), gpointer(slider_),
                            gpointer(list_), gpointer(field_)}) {
      gtk_box_append(GTK_BOX(box), GTK_WIDGET(widget));
    }
    const auto notify = +[](GtkWidgetsOfTest* self) {
      if (self->whenSlid_) self->whenSlid_();
    };
    g_signal_connect_swapped(slider_, "value-changed", G_CALLBACK(notify), this);
  }
  void TearDown() override { destroyWidgets(); }

  void destroyWidgets() {
    if (window_ != nullptr) gtk_window_destroy(GTK_WINDOW(std::exchange(window_, nullptr)));
  }
  [[nodiscard]] bool areGone() const { return window_ == nullptr; }
  static void turn() {
    while (g_main_context_pending(nullptr)) g_main_context_iteration(nullptr, FALSE);
  }

  template <typename Set, typename... Source>
  void bindLabel(Set set, Source... source) {
    Gtk4::bind(label_, [set](GtkLabel*, const char* text) mutable { set(text); }, std::move(source)...);
  }
  template <typename... Source>
  void bindLabelText(Source... source) {
    Gtk4::bind(label_, gtk_label_set_text, std::move(source)...);
  }
  [[nodiscard]] std::string labelText() const { return gtk_label_get_text(label_); }

  void bindCheck(const Default<bool>& setting) { Gtk4::bind(check_, setting); }
  [[nodiscard]] bool isChecked() const { return gtk_check_button_get_active(check_) != FALSE; }
  void check(bool isChecked) { gtk_check_button_set_active(check_, isChecked ? TRUE : FALSE); }

  void bindSlider(const Default<double>& setting) { Gtk4::bind(slider_, setting); }
  [[nodiscard]] double sliderValue() const { return gtk_range_get_value(slider_); }
  /// GTK also holds a reference while it handles a drag.
  void slide(double value) {
    GtkRange* const slider = slider_;
    g_object_ref(slider);
    gtk_range_set_value(slider, value);
    g_object_unref(slider);
  }

  void setRanges(double lowest, double highest) {
    gtk_range_set_range(slider_, lowest, highest);
    gtk_spin_button_set_range(spin_, lowest, highest);
    gtk_spin_button_set_range(realSpin_, lowest, highest);
  }

  void bindSpin(const Default<int>& setting) { Gtk4::bind(spin_, setting); }
  void bindRealSpin(const Default<double>& setting) { Gtk4::bind(realSpin_, setting); }
  [[nodiscard]] double spinValue() const { return gtk_spin_button_get_value(spin_); }
  [[nodiscard]] double realSpinValue() const { return gtk_spin_button_get_value(realSpin_); }
  void spin(int value, double realValue) {
    gtk_spin_button_set_value(spin_, value);
    gtk_spin_button_set_value(realSpin_, realValue);
  }
  void typeIntoSpin(const char* text) {
    gtk_editable_set_text(GTK_EDITABLE(spin_), text);
    turn();
  }
  void endSpin() {
    g_signal_emit_by_name(gtk_editable_get_delegate(GTK_EDITABLE(spin_)), "activate");
    turn();
  }

  void bindList(const Default<std::string>& setting) { Gtk4::bind(list_, setting); }
  [[nodiscard]] std::string chosen() const { return detail::chosenText(list_).value_or(""); }
  void choose(const char* text) { detail::chooseText(list_, text); }

  template <typename Kind>
  Gtk4::FormatterHook& bindField(std::shared_ptr<Kind> formatter, const Default<int>& setting) {
    return Gtk4::bind(field_, std::move(formatter), setting);
  }
  [[nodiscard]] std::string fieldText() const { return gtk_editable_get_text(field_); }
  void enter(const char* text) {
    gtk_editable_delete_text(field_, 0, -1);
    turn();
    gtk_editable_set_text(field_, text);
    g_signal_emit_by_name(gtk_editable_get_delegate(field_), "activate");
    turn();
  }

  Tests::PrivateDisplay display_{"", 640, 480};
  std::shared_ptr<InMemoryUserDefaults> defaults_ = InMemoryUserDefaults::make();
  UserDefaultsInstallation installation_{defaults_};
  std::optional<GLib::MainLoopAdapter> adapter_;
  GtkWidget* window_ = nullptr;
  GtkLabel* label_ = nullptr;
  GtkCheckButton* check_ = nullptr;
  GtkRange* slider_ = nullptr;
  GtkDropDown* list_ = nullptr;
  GtkEditable* field_ = nullptr;
  GtkSpinButton* spin_ = nullptr;
  GtkSpinButton* realSpin_ = nullptr;
  std::function<void()> whenSlid_;
};

INSTANTIATE_TYPED_TEST_SUITE_P(Gtk, BoundWidget, GtkWidgetsOfTest);

TEST_F(GtkWidgetsOfTest, ListWithOneTextMayShowNoText) {
  auto* strings = GTK_STRING_LIST(gtk_drop_down_get_model(list_));
  gtk_string_list_remove(strings, 1);
  GtkSingleSelection* ofTheHost = gtk_single_selection_new(G_LIST_MODEL(g_object_ref(strings)));
  const Default<std::string>::Key key{"theme", "unknown"};
  bindList(Default<std::string>(key));
  EXPECT_EQ(chosen(), "");
  gtk_string_list_append(strings, "unknown");
  Default<std::string>::setValue(key, "light");
  turn();
  EXPECT_EQ(chosen(), "light");
  EXPECT_EQ(gtk_single_selection_get_selected(ofTheHost), 0U);
  EXPECT_TRUE(gtk_single_selection_get_autoselect(ofTheHost));
  g_object_unref(ofTheHost);
}

TEST_F(GtkWidgetsOfTest, RangeShowsTheNearestInteger) {
  const auto key = Default<int>::Key("volume", 20).within(0, 50);
  Gtk4::bind(slider_, Default<int>(key));
  EXPECT_EQ(sliderValue(), 20);
  slide(30.6);
  EXPECT_EQ(Default<int>::value(key), 31);
  EXPECT_EQ(sliderValue(), 31);
  gtk_range_set_range(slider_, 0, 100);
  slide(80);
  EXPECT_EQ(Default<int>::value(key), 50);
  EXPECT_EQ(sliderValue(), 50);
}

TEST_F(GtkWidgetsOfTest, RangeBeyondTheIntegersStoresTheirEnd) {
  const Default<int>::Key key("volume", 20);
  gtk_range_set_range(slider_, -1e12, 1e12);
  Gtk4::bind(slider_, Default<int>(key));
  slide(1e11);
  EXPECT_EQ(Default<int>::value(key), std::numeric_limits<int>::max());
  slide(-1e11);
  EXPECT_EQ(Default<int>::value(key), std::numeric_limits<int>::min());
}

TEST_F(GtkWidgetsOfTest, SpinButtonShowsItsSettingAgainInAWiderRange) {
  const auto key = Default<int>::Key("count", 80).within(0, 100);
  bindSpin(Default<int>(key));
  gtk_spin_button_set_range(spin_, 0, 60);
  EXPECT_EQ(spinValue(), 60);
  gtk_spin_button_set_range(spin_, 0, 100);
  EXPECT_EQ(spinValue(), 80);
}

TEST_F(GtkWidgetsOfTest, FewerDigitsAreNoChoice) {
  const auto key = Default<double>::Key("gain", 0.26).within(0, 1);
  gtk_spin_button_set_digits(realSpin_, 1);
  bindRealSpin(Default<double>(key));
  gtk_spin_button_update(realSpin_);  // As when the focus leaves.
  EXPECT_EQ(Default<double>::value(key), 0.26);
  gtk_spin_button_set_value(realSpin_, 0.7);
  EXPECT_EQ(Default<double>::value(key), 0.7);
}

TEST_F(GtkWidgetsOfTest, WidgetWithAPageShowsTheWholeRange) {
  const auto key = Default<double>::Key("volume", 95).within(0, 100);
  gtk_adjustment_set_page_size(gtk_range_get_adjustment(slider_), 10);
  bindSlider(Default<double>(key));
  EXPECT_EQ(sliderValue(), 95);
  slide(200);
  EXPECT_EQ(Default<double>::value(key), 100);
}

TEST_F(GtkWidgetsOfTest, WidgetsMayShareAnAdjustment) {
  const auto key = Default<double>::Key("volume", 80).within(0, 100);
  gtk_spin_button_set_adjustment(realSpin_, gtk_range_get_adjustment(slider_));
  bindSlider(Default<double>(key));
  bindRealSpin(Default<double>(key));
  gtk_range_set_range(slider_, 0, 60);
  EXPECT_EQ(realSpinValue(), 60);
  EXPECT_EQ(Default<double>::value(key), 80);
  slide(30);
  EXPECT_EQ(Default<double>::value(key), 30);
  EXPECT_EQ(realSpinValue(), 30);
  gtk_spin_button_set_value(realSpin_, 40);
  EXPECT_EQ(Default<double>::value(key), 40);
  EXPECT_EQ(sliderValue(), 40);
}

// GTK uses the adjustment after the handlers of its new range.
TEST_F(GtkWidgetsOfTest, HandlerMayDestroyTheWidgetAtANewRange) {
  const auto key = Default<double>::Key("volume", 80).within(0, 100);
  bindSlider(Default<double>(key));
  gtk_range_set_range(slider_, 0, 60);
  bool isGone = false;
  const auto note = [](gpointer gone, GObject*) { *static_cast<bool*>(gone) = true; };
  g_object_weak_ref(G_OBJECT(gtk_range_get_adjustment(slider_)), note, &isGone);
  whenSlid_ = [this] { destroyWidgets(); };
  gtk_range_set_range(slider_, 70, 100);
  EXPECT_TRUE(areGone());
  EXPECT_FALSE(isGone);
  turn();
  EXPECT_TRUE(isGone);
}

TEST_F(GtkWidgetsOfTest, AdjustmentMayOutliveItsWidget) {
  const auto key = Default<int>::Key("count", 80).within(0, 100);
  bindSpin(Default<int>(key));
  GtkAdjustment* const adjustment = gtk_spin_button_get_adjustment(spin_);
  g_object_ref(adjustment);
  destroyWidgets();
  gtk_adjustment_set_upper(adjustment, 60);
  EXPECT_EQ(gtk_adjustment_get_upper(adjustment), 60);
  EXPECT_EQ(Default<int>::value(key), 80);
  g_object_unref(adjustment);
}

TEST(GtkBindingDeathTest, BindingOutsideTheMainThreadStopsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(
      {
        MainQueue::adopt();
        auto* object = static_cast<GObject*>(g_object_new(G_TYPE_OBJECT, nullptr));
        std::thread([&] { Gtk4::bind(object, [](GObject*, int) {}, [] { return 1; }); }).join();
      },
      "Incorrect actor executor assumption; Expected same executor as MainQueue");
}

}  // namespace
}  // namespace Tessaly
