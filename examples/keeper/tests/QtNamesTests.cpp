// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <QAccessible>
#include <QApplication>
#include <QProgressBar>
#include <filesystem>
#include <memory>

#include "Desk.hpp"
#include "Shelf.hpp"
#include "Tessaly/Adapters/Qt/MainLoop.hpp"
#include "Tessaly/Platform/Testing/InMemoryUserDefaults.hpp"
#include "Window.hpp"
#include "tests/Support/TemporaryFolder.hpp"

namespace keeper {
namespace {

using namespace Tessaly;

TEST(KeeperQtNames, EveryControlHasANameForScreenReaders) {
  qputenv("QT_QPA_PLATFORM", "offscreen");
  int count = 1;
  char name[] = "test";
  char* arguments[] = {name, nullptr};
  const QApplication application(count, arguments);
  const Qt6::MainLoopAdapter adapter;
  const UserDefaultsInstallation settings(InMemoryUserDefaults::make());
  const Tests::TemporaryFolder folder;
  Shelf shelf(folder.url());
  Desk desk(shelf);
  Window window(desk);
  window.show();
  int controls = 0;
  for (QWidget* widget : window.findChildren<QWidget*>()) {
    const bool isControl = widget->focusPolicy() != Qt::NoFocus || qobject_cast<QProgressBar*>(widget) != nullptr;
    if (!isControl || widget->objectName().startsWith("qt_")) continue;
    ++controls;
    QAccessibleInterface* accessible = QAccessible::queryAccessibleInterface(widget);
    ASSERT_NE(accessible, nullptr);
    EXPECT_FALSE(accessible->text(QAccessible::Name).isEmpty()) << widget->metaObject()->className();
  }
  EXPECT_GE(controls, 12);
}

}  // namespace
}  // namespace keeper
