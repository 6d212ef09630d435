// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <QAccessible>
#include <QApplication>
#include <QColor>
#include <QPalette>
#include <QProgressBar>
#include <QTreeView>
#include <algorithm>
#include <array>
#include <cmath>
#include <fstream>
#include <memory>
#include <string>
#include <utility>

#include "Columns.hpp"
#include "Desk.hpp"
#include "Shelf.hpp"
#include "Tessaly/Adapters/Qt/MainLoop.hpp"
#include "Tessaly/Platform/Testing/InMemoryUserDefaults.hpp"
#include "Window.hpp"
#include "tests/Support/TemporaryFolder.hpp"

namespace keeper {
namespace {

using namespace Tessaly;

class KeeperQtWindow : public testing::Test {
 protected:
  KeeperQtWindow() { window_.show(); }

  int count_ = 1;
  std::string name_ = "test";
  std::array<char*, 2> arguments_{name_.data(), nullptr};
  const bool isOffscreen_ = qputenv("QT_QPA_PLATFORM", "offscreen");
  QApplication application_{count_, arguments_.data()};
  Qt6::MainLoopAdapter adapter_;
  std::shared_ptr<InMemoryUserDefaults> settings_ = InMemoryUserDefaults::make();
  UserDefaultsInstallation installation_{settings_};
  Tests::TemporaryFolder folder_;
  Shelf shelf_{folder_.url()};
  Desk desk_{shelf_};
  Window window_{desk_};
};

TEST_F(KeeperQtWindow, EveryControlHasANameForScreenReaders) {
  int controls = 0;
  for (QWidget* widget : window_.findChildren<QWidget*>()) {
    const bool isControl = widget->focusPolicy() != Qt::NoFocus || qobject_cast<QProgressBar*>(widget) != nullptr;
    if (!isControl || widget->objectName().startsWith("qt_")) continue;
    ++controls;
    QAccessibleInterface* accessible = QAccessible::queryAccessibleInterface(widget);
    ASSERT_NE(accessible, nullptr);
    EXPECT_FALSE(accessible->text(QAccessible::Name).isEmpty()) << widget->metaObject()->className();
  }
  EXPECT_GE(controls, 13);
}

TEST_F(KeeperQtWindow, ColumnsFollowTheirSettings) {
  auto* list = window_.findChild<QTreeView*>();
  ASSERT_EQ(list->model()->columnCount(), static_cast<int>(columns.size()) + 1);
  for (int section = 1; const Column& column : columns) {
    EXPECT_EQ(list->model()->headerData(section, Qt::Horizontal).toString().toStdString(), text(column.title));
    for (const bool isShown : {false, true}) {
      settings_->setFromElsewhere(isShown, column.shown.name());
      while (list->isColumnHidden(section) == isShown) QApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
    ++section;
  }
}

TEST_F(KeeperQtWindow, ArabicWindowKeepsTheDirectionOfNames) {
  QGuiApplication::setLayoutDirection(Qt::RightToLeft);
  auto* list = window_.findChild<QTreeView*>();
  list->setAlternatingRowColors(false);
  // In the direction of the window both names would look like the second one.
  for (const char* name : {"1 m", "m 1"}) std::ofstream(folder_.path() + "/" + name).flush();
  while (list->model()->rowCount() != 2) QApplication::processEvents(QEventLoop::WaitForMoreEvents);
  const auto picture = [&](int row) {
    return list->viewport()->grab(list->visualRect(list->model()->index(row, 0))).toImage();
  };
  EXPECT_TRUE(picture(0) != picture(1));
}

/// The relative luminance of a colour, from 0 to 1.
double luminance(const QColor& colour) {
  const auto linear = [](double part) {
    return part <= 0.04045 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
  };
  return 0.2126 * linear(colour.redF()) + 0.7152 * linear(colour.greenF()) + 0.0722 * linear(colour.blueF());
}

double contrast(const QColor& one, const QColor& other) {
  const auto [darker, lighter] = std::minmax({luminance(one), luminance(other)});
  return (lighter + 0.05) / (darker + 0.05);
}

/// The worst contrast of a text with its ground.
double worstContrast(const QPalette& colours, QPalette::ColorGroup group) {
  double worst = 21;
  for (const auto& [text, ground] :
       {std::pair(QPalette::WindowText, QPalette::Window), std::pair(QPalette::Text, QPalette::Base),
        std::pair(QPalette::Text, QPalette::AlternateBase), std::pair(QPalette::PlaceholderText, QPalette::Base),
        std::pair(QPalette::ButtonText, QPalette::Button), std::pair(QPalette::HighlightedText, QPalette::Highlight)}) {
    worst = std::min(worst, contrast(colours.color(group, text), colours.color(group, ground)));
  }
  return worst;
}

TEST_F(KeeperQtWindow, EveryTextHasContrastInBothThemes) {
  const QColor desktop = QApplication::palette().color(QPalette::Window);
  const auto choose = [&](const char* theme, const auto& isShown) {
    settings_->setFromElsewhere(theme, "theme");
    while (!isShown(QApplication::palette().color(QPalette::Window))) {
      QApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
  };
  for (const char* theme : {"dark", "light"}) {
    choose(theme, [&](const QColor& window) { return (window.lightness() < 128) == (std::string(theme) == "dark"); });
    EXPECT_GE(worstContrast(QApplication::palette(), QPalette::Active), 4.5) << theme;
    EXPECT_GE(worstContrast(QApplication::palette(), QPalette::Inactive), 4.5) << theme;
    EXPECT_GE(worstContrast(QApplication::palette(), QPalette::Disabled), 3) << theme;
  }
  choose("system", [&](const QColor& window) { return window == desktop; });
}

}  // namespace
}  // namespace keeper
