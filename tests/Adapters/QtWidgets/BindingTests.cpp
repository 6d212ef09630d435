// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QSlider>
#include <QSpinBox>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>

#include "Tessaly/Adapters/Qt/Binding.hpp"
#include "Tessaly/Adapters/Qt/MainLoop.hpp"
#include "Tessaly/Adapters/QtWidgets/FormatterValidator.hpp"
#include "Tessaly/Adapters/QtWidgets/SettingBinding.hpp"
#include "tests/Adapters/BoundWidgets.hpp"

namespace Tessaly {
namespace {

class QtWidgetsOfTest : public testing::Test {
 public:
  using SliderValue = int;

 protected:
  void SetUp() override {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    application_.emplace(count_, arguments_);
    adapter_.emplace();
    window_.emplace();
    label_ = new QLabel(&*window_);
    check_ = new QCheckBox(&*window_);
    slider_ = new QSlider(&*window_);
    slider_->setRange(0, 100);
    list_ = new QComboBox(&*window_);
    list_->addItems({"light", "dark"});
    field_ = new QLineEdit(&*window_);
    spin_ = new QSpinBox(&*window_);
    spin_->setRange(0, 100);
    realSpin_ = new QDoubleSpinBox(&*window_);
    realSpin_->setRange(0, 10);
    QObject::connect(slider_, &QAbstractSlider::valueChanged, [this] {
      if (whenSlid_) whenSlid_();
    });
  }
  void TearDown() override { window_.reset(); }

  void destroyWidgets() { window_.reset(); }
  [[nodiscard]] bool areGone() const { return !window_; }
  static void turn() {
    for (int i = 0; i < 20; ++i) QCoreApplication::processEvents();
  }

  template <typename Set, typename... Source>
  void bindLabel(Set set, Source... source) {
    Qt6::bind(label_, [set](QLabel*, const QString& text) mutable { set(text.toStdString()); }, std::move(source)...);
  }
  template <typename... Source>
  void bindLabelText(Source... source) {
    Qt6::bind(label_, &QLabel::setText, std::move(source)...);
  }
  [[nodiscard]] std::string labelText() const { return label_->text().toStdString(); }

  void bindCheck(const Default<bool>& setting) { Qt6::bind(check_, setting); }
  [[nodiscard]] bool isChecked() const { return check_->isChecked(); }
  void check(bool isChecked) {
    if (isChecked != check_->isChecked()) check_->click();
  }

  void bindSlider(const Default<int>& setting) { Qt6::bind(slider_, setting); }
  [[nodiscard]] int sliderValue() const { return slider_->value(); }
  void slide(int value) { slider_->setValue(value); }
  void setRanges(int lowest, int highest) {
    slider_->setRange(lowest, highest);
    spin_->setRange(lowest, highest);
    realSpin_->setRange(lowest, highest);
  }

  void bindSpin(const Default<int>& setting) { Qt6::bind(spin_, setting); }
  void bindRealSpin(const Default<double>& setting) { Qt6::bind(realSpin_, setting); }
  [[nodiscard]] double spinValue() const { return spin_->value(); }
  [[nodiscard]] double realSpinValue() const { return realSpin_->value(); }
  void spin(int value, double realValue) {
    spin_->setValue(value);
    realSpin_->setValue(realValue);
  }
  void typeIntoSpin(const char* text) {
    spin_->selectAll();
    for (const char* letter = text; *letter != '\0'; ++letter) sendKey(0, QString(QChar(*letter)));
  }
  void endSpin() { sendKey(Qt::Key_Return, "\r"); }
  void sendKey(int key, const QString& text) {
    QKeyEvent event(QEvent::KeyPress, key, Qt::NoModifier, text);
    QCoreApplication::sendEvent(spin_, &event);
    turn();
  }

  void bindList(const Default<std::string>& setting) { Qt6::bind(list_, setting); }
  [[nodiscard]] std::string chosen() const { return list_->currentText().toStdString(); }
  void choose(const char* text) {
    list_->setCurrentText(text);
    Q_EMIT list_->activated(list_->currentIndex());
  }

  template <typename Kind>
  Qt6::FormatterValidator& bindField(std::shared_ptr<Kind> formatter, const Default<int>& setting) {
    return *Qt6::bind(field_, std::move(formatter), setting);
  }
  [[nodiscard]] std::string fieldText() const { return field_->text().toStdString(); }
  void enter(const char* text) {
    field_->clear();
    field_->insert(text);
    QKeyEvent end(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier);
    QCoreApplication::sendEvent(field_, &end);
    turn();
  }

  std::shared_ptr<InMemoryUserDefaults> defaults_ = InMemoryUserDefaults::make();
  UserDefaultsInstallation installation_{defaults_};
  static inline int count_ = 1;
  static inline char name_[] = "test";
  static inline char* arguments_[] = {name_, nullptr};
  std::optional<QApplication> application_;
  std::optional<Qt6::MainLoopAdapter> adapter_;
  std::optional<QWidget> window_;
  QLabel* label_ = nullptr;
  QCheckBox* check_ = nullptr;
  QSlider* slider_ = nullptr;
  QComboBox* list_ = nullptr;
  QLineEdit* field_ = nullptr;
  QSpinBox* spin_ = nullptr;
  QDoubleSpinBox* realSpin_ = nullptr;
  std::function<void()> whenSlid_;
};

INSTANTIATE_TYPED_TEST_SUITE_P(Qt, BoundWidget, QtWidgetsOfTest);

TEST_F(QtWidgetsOfTest, FewerDecimalsAreNoChoice) {
  const auto key = Default<double>::Key("gain", 0.25).within(0, 1);
  bindRealSpin(Default<double>(key));
  realSpin_->setDecimals(1);
  EXPECT_EQ(Default<double>::value(key), 0.25);
  realSpin_->setValue(0.7);
  EXPECT_EQ(Default<double>::value(key), 0.7);
}

TEST_F(QtWidgetsOfTest, ChoiceWithTheSameTextIsStored) {
  class Loudness final : public QDoubleSpinBox {
   public:
    [[nodiscard]] QString textFromValue(double value) const override { return value < 0.5 ? "soft" : "loud"; }
  };
  const auto key = Default<double>::Key("gain", 0.1).within(0, 1);
  Loudness box;
  Qt6::bind(&box, Default<double>(key));
  box.setValue(0.2);
  EXPECT_EQ(Default<double>::value(key), 0.2);
}

// Qt uses the slider after the slots of its new range.
TEST_F(QtWidgetsOfTest, SlotMayDestroyTheSliderAtAWiderRange) {
  const auto key = Default<int>::Key("volume", 80).within(0, 100);
  bindSlider(Default<int>(key));
  slider_->setRange(0, 60);
  bool isRangeSet = false;
  whenSlid_ = [&] {
    EXPECT_TRUE(isRangeSet);
    EXPECT_EQ(sliderValue(), 80);
    destroyWidgets();
  };
  slider_->setRange(0, 100);
  isRangeSet = true;
  turn();
  EXPECT_TRUE(areGone());
}

TEST_F(QtWidgetsOfTest, ActionFollowsAndStoresItsSetting) {
  const Default<bool>::Key key{"hidden", true};
  QAction action;
  action.setCheckable(true);
  Qt6::bind(&action, Default<bool>(key));
  EXPECT_TRUE(action.isChecked());
  action.trigger();
  EXPECT_FALSE(Default<bool>::value(key));
  Default<bool>::setValue(key, true);
  turn();
  EXPECT_TRUE(action.isChecked());
}

class WindowWithAModel : public QWidget {
 public:
  explicit WindowWithAModel(int& calls) : label(new QLabel(this)) {
    Qt6::bind(label, &QLabel::setText, [this, &calls] {
      ++calls;
      return QString::number(count.value());
    });
  }

  QLabel* const label;
  Property<int> count{1};
};

TEST_F(QtWidgetsOfTest, ComputeMayUseMembersThatEndBeforeTheWidget) {
  int calls = 0;
  auto window = std::make_unique<WindowWithAModel>(calls);
  EXPECT_EQ(window->label->text(), "1");
  window->count = 2;
  turn();
  EXPECT_EQ(window->label->text(), "2");
  window->count = 3;
  window.reset();  // With a change that the label does not show yet.
  turn();
  EXPECT_EQ(calls, 2);
}

TEST(QtBindingDeathTest, BindingOutsideTheMainThreadStopsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(
      {
        MainQueue::adopt();
        QObject object;
        std::thread([&] { Qt6::bind(&object, [](QObject*, int) {}, [] { return 1; }); }).join();
      },
      "Incorrect actor executor assumption; Expected same executor as MainQueue");
}

}  // namespace
}  // namespace Tessaly
