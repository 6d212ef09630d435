// SPDX-License-Identifier: MIT

// Keeper, a window on a directory, in Qt 6. With KEEPER_HEARTBEAT in the environment it writes, at its end, how long
// the window did not answer.

#include <QApplication>
#include <QStandardPaths>
#include <QTimer>
#include <string>

#include "Desk.hpp"
#include "Heartbeat.hpp"
#include "Opening.hpp"
#include "Preferences.hpp"
#include "Shelf.hpp"
#include "Tessaly/Adapters/Qt/MainLoop.hpp"
#include "Tessaly/Adapters/QtWidgets/Pasteboard.hpp"
#include "Window.hpp"
#include "Words.hpp"

int main(int count, char** arguments) {
  QApplication application(count, arguments);
  QCoreApplication::setApplicationName("Keeper");
  QGuiApplication::setDesktopFileName("org.example.keeper");
  QGuiApplication::setLayoutDirection(keeper::isRightToLeft() ? Qt::RightToLeft : Qt::LeftToRight);
  const Tessaly::Qt6::MainLoopAdapter adapter;
  const Tessaly::Qt6::PasteboardAdapter pasteboard;
  keeper::publishPreferences();
  const std::string downloads = QStandardPaths::writableLocation(QStandardPaths::DownloadLocation).toStdString();
  keeper::Shelf shelf(keeper::directoryToShow(count > 1 ? arguments[1] : "", downloads));
  keeper::Desk desk(shelf);
  keeper::Window window(desk);
  window.show();
  keeper::Heartbeat heartbeat;
  QTimer timer;
  timer.setTimerType(Qt::PreciseTimer);
  QObject::connect(&timer, &QTimer::timeout, [&] { heartbeat.beat(); });
  timer.start(keeper::Heartbeat::interval);
  const int result = QApplication::exec();
  heartbeat.report();
  return result;
}
