// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>

#include <any>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include "Tessaly/Adapters/detail/SettingOfField.hpp"
#include "Tessaly/Core/Formatters/FieldEditing.hpp"
#include "Tessaly/Core/Observation/Property.hpp"
#include "Tessaly/Core/Tasks/MainQueue.hpp"
#include "Tessaly/Formatting/Formatters+RangeNumber.hpp"
#include "Tessaly/Platform/Testing/InMemoryUserDefaults.hpp"
#include "Tessaly/SettingsAndObservation/Default.hpp"

namespace Tessaly {

/// A model that knows no toolkit.
struct Song {
  Property<std::string> title = std::string("one");
  Property<int> plays = 0;
  std::string label() const { return title.value() + " " + std::to_string(plays.value()); }
};

/// Widgets of any toolkit that follow a model. `Toolkit` is a fixture with a label, a check button, a slider from 0 to
/// 100, two spin buttons, whose ranges `setRanges` changes, a list of "light" and "dark", and a field. `whenSlid_` is
/// called at each change of the slider.
template <typename Toolkit>
class BoundWidget : public Toolkit {
 protected:
  /// Binds the label, and records the texts that it gets.
  template <typename... Source>
  void record(Source... source) {
    this->bindLabel(
        [this](const std::string& text) {
          set_.push_back(text);
          threads_.push_back(MainQueue::isMainThread());
          if (duringUpdate_) duringUpdate_();
        },
        std::move(source)...);
  }

  std::vector<std::string> set_;
  std::vector<bool> threads_;
  std::function<void()> duringUpdate_;
  std::shared_ptr<Song> song_ = std::make_shared<Song>();
};

TYPED_TEST_SUITE_P(BoundWidget);

TYPED_TEST_P(BoundWidget, LabelFollowsTheModel) {
  this->bindLabelText([song = this->song_] { return song->label(); });
  EXPECT_EQ(this->labelText(), "one 0");
  this->song_->title = "two";
  EXPECT_EQ(this->labelText(), "one 0");
  this->turn();
  EXPECT_EQ(this->labelText(), "two 0");
}

TYPED_TEST_P(BoundWidget, ManyChangesInOneTurnGiveOneUpdate) {
  this->record([song = this->song_] { return song->label(); });
  for (int i = 1; i <= 1'000; ++i) this->song_->plays = i;
  this->song_->title = "two";
  this->turn();
  EXPECT_EQ(this->set_, (std::vector<std::string>{"one 0", "two 1000"}));
}

TYPED_TEST_P(BoundWidget, EqualValueGivesNoUpdate) {
  this->record([song = this->song_] { return song->label(); });
  this->song_->title = "one";
  this->turn();
  this->song_->title = "two";
  this->song_->title = "one";
  this->turn();
  EXPECT_EQ(this->set_, (std::vector<std::string>{"one 0"}));
}

TYPED_TEST_P(BoundWidget, AbsentValueGivesNoUpdate) {
  this->record([song = this->song_] { return song->plays.value() == 1 ? std::nullopt : std::optional(song->label()); });
  this->song_->plays = 1;
  this->turn();
  this->song_->plays = 2;
  this->turn();
  EXPECT_EQ(this->set_, (std::vector<std::string>{"one 0", "one 2"}));
}

TYPED_TEST_P(BoundWidget, AbsentValueOfAModelGivesNoUpdate) {
  this->record(this->song_,
               [](Song& song) { return song.plays.value() == 1 ? std::nullopt : std::optional(song.label()); });
  this->song_->plays = 1;
  this->turn();
  this->song_->plays = 2;
  this->turn();
  EXPECT_EQ(this->set_, (std::vector<std::string>{"one 0", "one 2"}));
}

TYPED_TEST_P(BoundWidget, SetterTakesThePresentValueOfAModel) {
  this->bindLabelText(this->song_, [](Song& song) { return std::optional(song.label()); });
  EXPECT_EQ(this->labelText(), "one 0");
  this->song_->title = "two";
  this->turn();
  EXPECT_EQ(this->labelText(), "two 0");
}

TYPED_TEST_P(BoundWidget, WidgetMayEndFirst) {
  this->record([song = this->song_] { return song->label(); });
  EXPECT_EQ(this->song_.use_count(), 2);
  this->song_->title = "two";
  this->destroyWidgets();
  this->turn();
  EXPECT_EQ(this->song_.use_count(), 1);
  this->song_->title = "three";
  this->turn();
  EXPECT_EQ(this->set_, (std::vector<std::string>{"one 0"}));
}

TYPED_TEST_P(BoundWidget, ModelMayEndFirst) {
  this->record(this->song_, &Song::label);
  this->song_->title = "two";
  this->turn();
  this->song_->title = "three";
  EXPECT_EQ(this->song_.use_count(), 1);
  this->song_.reset();
  this->turn();
  EXPECT_EQ(this->set_, (std::vector<std::string>{"one 0", "two 0"}));
}

TYPED_TEST_P(BoundWidget, ChangeOnAnotherThreadArrivesOnTheMainThread) {
  this->record([song = this->song_] { return song->label(); });
  std::thread([this] { this->song_->title = "two"; }).join();
  this->turn();
  EXPECT_EQ(this->set_, (std::vector<std::string>{"one 0", "two 0"}));
  EXPECT_EQ(this->threads_, (std::vector<bool>{true, true}));
}

TYPED_TEST_P(BoundWidget, ChangeInsideTheUpdateIsFollowedInTheNextTurn) {
  this->duringUpdate_ = [this] {
    if (this->song_->plays.value() < 3) this->song_->plays = this->song_->plays.value() + 1;
  };
  this->record([song = this->song_] { return song->label(); });
  EXPECT_EQ(this->set_.size(), 1U);
  this->turn();
  EXPECT_EQ(this->set_, (std::vector<std::string>{"one 0", "one 1", "one 2", "one 3"}));
}

TYPED_TEST_P(BoundWidget, CheckButtonFollowsAndStoresItsSetting) {
  const Default<bool>::Key key{"hidden", true};
  this->bindCheck(Default<bool>(key));
  EXPECT_TRUE(this->isChecked());
  this->check(false);
  EXPECT_FALSE(Default<bool>::value(key));
  this->defaults_->setFromElsewhere(PropertyList(true), "hidden");
  this->turn();
  EXPECT_TRUE(this->isChecked());
}

TYPED_TEST_P(BoundWidget, SliderFollowsTheRuleOfItsKey) {
  using Setting = Default<typename TypeParam::SliderValue>;
  const auto key = typename Setting::Key("volume", 20).within(0, 50);
  this->bindSlider(Setting(key));
  this->setRanges(0, 100);
  EXPECT_EQ(this->sliderValue(), 20);
  this->slide(30);
  EXPECT_EQ(Setting::value(key), 30);
  this->slide(80);
  EXPECT_EQ(Setting::value(key), 50);
  EXPECT_EQ(this->sliderValue(), 50);
  Setting::setValue(key, 10);
  this->turn();
  EXPECT_EQ(this->sliderValue(), 10);
}

TYPED_TEST_P(BoundWidget, SpinButtonFollowsTheRuleOfItsKey) {
  const auto count = Default<int>::Key("count", 20).within(0, 50);
  const auto gain = Default<double>::Key("gain", 0.5).within(0.0, 5.0);
  this->bindSpin(Default<int>(count));
  this->bindRealSpin(Default<double>(gain));
  this->setRanges(0, 100);
  const auto shown = [this] { return std::pair(this->spinValue(), this->realSpinValue()); };
  const auto stored = [&] { return std::pair(Default<int>::value(count), Default<double>::value(gain)); };
  EXPECT_EQ(shown(), std::pair(20.0, 0.5));
  this->spin(30, 1.25);
  EXPECT_EQ(stored(), std::pair(30, 1.25));
  this->spin(80, 7);
  EXPECT_EQ(stored(), std::pair(50, 5.0));
  EXPECT_EQ(shown(), std::pair(50.0, 5.0));
  Default<int>::setValue(count, 10);
  Default<double>::setValue(gain, 2.5);
  this->turn();
  EXPECT_EQ(shown(), std::pair(10.0, 2.5));
}

TYPED_TEST_P(BoundWidget, SpinButtonStoresATypedNumberAtTheEnd) {
  const Default<int>::Key key("count", 20);
  this->bindSpin(Default<int>(key));
  this->typeIntoSpin("12");
  EXPECT_EQ(Default<int>::value(key), 20);
  this->endSpin();
  EXPECT_EQ(Default<int>::value(key), 12);
}

TYPED_TEST_P(BoundWidget, WidgetDoesNotStoreTheEndOfItsOwnRange) {
  using Setting = Default<typename TypeParam::SliderValue>;
  const typename Setting::Key key("volume", 20);
  this->bindSlider(Setting(key));
  Setting::setValue(key, 500);
  this->turn();
  EXPECT_EQ(this->sliderValue(), 100);
  EXPECT_EQ(Setting::value(key), 500);
}

TYPED_TEST_P(BoundWidget, WidgetGetsTheRangeOfItsKey) {
  using Setting = Default<typename TypeParam::SliderValue>;
  const auto key = typename Setting::Key("volume", 250).within(0, 5000);
  const auto count = Default<int>::Key("count", 250).within(200, 5000);
  const auto gain = Default<double>::Key("gain", 250).within(-10.5, 5000);
  this->bindSlider(Setting(key));
  this->bindSpin(Default<int>(count));
  this->bindRealSpin(Default<double>(gain));
  EXPECT_EQ((std::vector<double>{double(this->sliderValue()), this->spinValue(), this->realSpinValue()}),
            (std::vector<double>{250, 250, 250}));
  this->slide(9000);
  this->spin(0, -20);
  EXPECT_EQ(Setting::value(key), 5000);
  EXPECT_EQ(Default<int>::value(count), 200);
  EXPECT_EQ(Default<double>::value(gain), -10.5);
}

TYPED_TEST_P(BoundWidget, NewRangeIsNoChoice) {
  using Setting = Default<typename TypeParam::SliderValue>;
  const auto key = typename Setting::Key("volume", 80).within(0, 100);
  const auto count = Default<int>::Key("count", 80).within(0, 100);
  const auto gain = Default<double>::Key("gain", 80).within(0, 100);
  this->bindSlider(Setting(key));
  this->bindSpin(Default<int>(count));
  this->bindRealSpin(Default<double>(gain));
  const auto shown = [this] {
    return std::vector<double>{double(this->sliderValue()), this->spinValue(), this->realSpinValue()};
  };
  const auto stored = [&] {
    return std::vector<double>{double(Setting::value(key)), double(Default<int>::value(count)),
                               Default<double>::value(gain)};
  };
  for (const auto& [lowest, highest, nearest] : {std::tuple(0, 60, 60), {90, 100, 90}, {10, 20, 20}}) {
    this->setRanges(lowest, highest);
    EXPECT_EQ(shown(), std::vector<double>(3, nearest));
    EXPECT_EQ(stored(), std::vector<double>(3, 80));
  }
  this->slide(15);
  this->spin(15, 15);
  EXPECT_EQ(stored(), std::vector<double>(3, 15));
  this->slide(20);
  this->spin(20, 20);
  EXPECT_EQ(stored(), std::vector<double>(3, 20));
}

TYPED_TEST_P(BoundWidget, SliderShowsItsSettingAgainInAWiderRange) {
  using Setting = Default<typename TypeParam::SliderValue>;
  const auto key = typename Setting::Key("volume", 80).within(0, 100);
  this->bindSlider(Setting(key));
  this->setRanges(0, 60);
  this->setRanges(0, 100);
  this->turn();
  EXPECT_EQ(this->sliderValue(), 80);
  EXPECT_EQ(Setting::value(key), 80);
}

TYPED_TEST_P(BoundWidget, ListFollowsAndStoresItsSetting) {
  const Default<std::string>::Key key{"theme", "dark"};
  this->bindList(Default<std::string>(key));
  EXPECT_EQ(this->chosen(), "dark");
  this->choose("light");
  EXPECT_EQ(Default<std::string>::value(key), "light");
  Default<std::string>::setValue(key, "unknown");
  this->turn();
  EXPECT_EQ(this->chosen(), "");
  EXPECT_EQ(Default<std::string>::value(key), "unknown");
  this->choose("light");
  EXPECT_EQ(Default<std::string>::value(key), "light");
}

TYPED_TEST_P(BoundWidget, FieldFollowsAndStoresItsSetting) {
  const auto key = Default<int>::Key("interval", 20).within(10, 60);
  const auto formatter = Formatters::RangeNumber<int>::make(ClosedRange(1, 100));
  formatter->setSuffix(" s");
  auto& policy = this->bindField(formatter, Default<int>(key));
  EXPECT_EQ(this->fieldText(), "20 s");
  this->enter("30");
  EXPECT_EQ(Default<int>::value(key), 30);
  EXPECT_EQ(this->fieldText(), "30 s");
  Default<int>::setValue(key, 40);
  this->turn();
  EXPECT_EQ(this->fieldText(), "40 s");
  this->enter("70");
  EXPECT_TRUE(this->fieldText().starts_with("70")) << this->fieldText();
  EXPECT_EQ(policy.state(), FieldState::invalid);
  EXPECT_EQ(policy.notice().kind, FieldNotice::Kind::refused);
  EXPECT_EQ(Default<int>::value(key), 40);
  Default<int>::setValue(key, 50);
  this->turn();
  EXPECT_TRUE(this->fieldText().starts_with("70")) << this->fieldText();
  this->enter("60");
  EXPECT_EQ(Default<int>::value(key), 60);
}

TYPED_TEST_P(BoundWidget, HandlerOfTheHostSeesTheStoredValueOfAField) {
  const auto key = Default<int>::Key("interval", 20);
  auto& policy = this->bindField(Formatters::RangeNumber<int>::make(ClosedRange(1, 100)), Default<int>(key));
  std::vector<int> stored;
  policy.onEditingEnd([&](const std::any&) { stored.push_back(Default<int>::value(key)); });
  this->enter("30");
  policy.onEditingEnd(nullptr);
  this->enter("40");
  EXPECT_EQ(stored, std::vector<int>{30});
  EXPECT_EQ(Default<int>::value(key), 40);
}

TYPED_TEST_P(BoundWidget, RuleOfTheHostAddsToTheRuleOfTheKey) {
  const auto key = Default<int>::Key("interval", 20).within(10, 60);
  auto& policy = this->bindField(Formatters::RangeNumber<int>::make(ClosedRange(1, 100)), Default<int>(key));
  policy.setRule([](const std::any& object) { return *detail::settingIn<int>(object) % 2 == 0; });
  for (const auto& [entered, expected] : {std::pair("70", 20), {"31", 20}, {"32", 32}}) {
    this->enter(entered);
    EXPECT_EQ(Default<int>::value(key), expected) << entered;
    EXPECT_EQ(policy.state() == FieldState::acceptable, std::to_string(expected) == entered) << entered;
  }
  policy.setRule(nullptr);
  for (const auto& [entered, expected] : {std::pair("31", 31), {"70", 31}}) {
    this->enter(entered);
    EXPECT_EQ(Default<int>::value(key), expected) << entered;
  }
  EXPECT_EQ(policy.state(), FieldState::invalid);
}

TYPED_TEST_P(BoundWidget, ObserverOfASettingMayDestroyTheField) {
  const auto key = Default<int>::Key("interval", 20);
  auto& policy = this->bindField(Formatters::RangeNumber<int>::make(ClosedRange(1, 100)), Default<int>(key));
  int ends = 0;
  policy.onEditingEnd([&](const std::any&) { ++ends; });
  const auto observer = Default<int>::observe(key, [this](auto) { this->destroyWidgets(); });
  this->enter("30");
  EXPECT_EQ(Default<int>::value(key), 30);
  EXPECT_TRUE(this->areGone());
  EXPECT_EQ(ends, 0);
}

TYPED_TEST_P(BoundWidget, BoundWidgetsMayEndBeforeTheirSettings) {
  this->bindCheck(Default<bool>(Default<bool>::Key{"hidden", true}));
  this->bindList(Default<std::string>(Default<std::string>::Key{"theme", "dark"}));
  const auto formatter = Formatters::RangeNumber<int>::make(ClosedRange(1, 100));
  this->bindField(formatter, Default<int>(Default<int>::Key{"interval", 20}));
  this->destroyWidgets();
  EXPECT_EQ(formatter.use_count(), 1);
  this->defaults_->setFromElsewhere(PropertyList(false), "hidden");
  this->defaults_->setFromElsewhere(PropertyList(30), "interval");
  this->turn();
}

TYPED_TEST_P(BoundWidget, SetterMayDestroyTheWidgetAtItsFirstCall) {
  this->duringUpdate_ = [this] { this->destroyWidgets(); };
  this->record([song = this->song_] { return song->label(); });
  EXPECT_EQ(this->song_.use_count(), 1);
  this->song_->title = "two";
  this->turn();
  EXPECT_EQ(this->set_, (std::vector<std::string>{"one 0"}));
}

TYPED_TEST_P(BoundWidget, SetterMayDestroyTheWidgetAtALaterCall) {
  this->record([song = this->song_] { return song->label(); });
  this->duringUpdate_ = [this] { this->destroyWidgets(); };
  this->song_->title = "two";
  this->turn();
  EXPECT_EQ(this->song_.use_count(), 1);
}

TYPED_TEST_P(BoundWidget, ObserverOfASettingMayDestroyTheWidget) {
  using Setting = Default<typename TypeParam::SliderValue>;
  const typename Setting::Key key("volume", 20);
  this->bindSlider(Setting(key));
  const auto observer = Setting::observe(key, [this](auto) { this->destroyWidgets(); });
  this->slide(30);
  EXPECT_EQ(Setting::value(key), 30);
  EXPECT_TRUE(this->areGone());
}

TYPED_TEST_P(BoundWidget, HandlerOfTheWidgetMayDestroyTheWidget) {
  using Setting = Default<typename TypeParam::SliderValue>;
  const typename Setting::Key key("volume", 20);
  this->bindSlider(Setting(key));
  this->whenSlid_ = [this] { this->destroyWidgets(); };
  Setting::setValue(key, 30);
  this->turn();
  EXPECT_EQ(Setting::value(key), 30);
  EXPECT_TRUE(this->areGone());
}

TYPED_TEST_P(BoundWidget, HandlerOfTheWidgetMayDestroyTheWidgetDuringTheBinding) {
  using Setting = Default<typename TypeParam::SliderValue>;
  const typename Setting::Key key("volume", 20);
  this->whenSlid_ = [this] { this->destroyWidgets(); };
  this->bindSlider(Setting(key));
  EXPECT_TRUE(this->areGone());
  Setting::setValue(key, 30);
  this->turn();
}

TYPED_TEST_P(BoundWidget, HandlerOfTheWidgetMayDestroyTheWidgetAtItsNewRange) {
  using Setting = Default<typename TypeParam::SliderValue>;
  this->whenSlid_ = [this] { this->destroyWidgets(); };
  this->bindSlider(Setting(typename Setting::Key("volume", 80).within(50, 100)));
  EXPECT_TRUE(this->areGone());
  this->turn();
}

REGISTER_TYPED_TEST_SUITE_P(BoundWidget, LabelFollowsTheModel, ManyChangesInOneTurnGiveOneUpdate,
                            EqualValueGivesNoUpdate, AbsentValueGivesNoUpdate, AbsentValueOfAModelGivesNoUpdate,
                            SetterTakesThePresentValueOfAModel, WidgetMayEndFirst, ModelMayEndFirst,
                            ChangeOnAnotherThreadArrivesOnTheMainThread, ChangeInsideTheUpdateIsFollowedInTheNextTurn,
                            CheckButtonFollowsAndStoresItsSetting, SliderFollowsTheRuleOfItsKey,
                            SpinButtonFollowsTheRuleOfItsKey, SpinButtonStoresATypedNumberAtTheEnd,
                            WidgetDoesNotStoreTheEndOfItsOwnRange, WidgetGetsTheRangeOfItsKey, NewRangeIsNoChoice,
                            SliderShowsItsSettingAgainInAWiderRange, HandlerOfTheWidgetMayDestroyTheWidgetAtItsNewRange,
                            ListFollowsAndStoresItsSetting, FieldFollowsAndStoresItsSetting,
                            HandlerOfTheHostSeesTheStoredValueOfAField, RuleOfTheHostAddsToTheRuleOfTheKey,
                            ObserverOfASettingMayDestroyTheField, BoundWidgetsMayEndBeforeTheirSettings,
                            SetterMayDestroyTheWidgetAtItsFirstCall, SetterMayDestroyTheWidgetAtALaterCall,
                            ObserverOfASettingMayDestroyTheWidget, HandlerOfTheWidgetMayDestroyTheWidget,
                            HandlerOfTheWidgetMayDestroyTheWidgetDuringTheBinding);

}  // namespace Tessaly
