// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <QAccessible>
#include <QApplication>
#include <QProgressBar>
#include <QTreeView>
#include <array>
#include <memory>
#include <string>

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

}  // namespace
}  // namespace keeper
