// SPDX-License-Identifier: MIT
#include <QApplication>
#include <QLabel>

#include "Session.hpp"
#include "Tessaly/Adapters/Qt/MainLoop.hpp"

int main(int argumentCount, char** arguments) {
  QApplication application(argumentCount, arguments);
  const Tessaly::Qt6::MainLoopAdapter adapter;  // Qt's event loop serves the library's main queue.

  QLabel window;
  window.setWindowTitle("first-hour (Qt)");
  window.resize(420, 120);
  window.setAlignment(Qt::AlignCenter);
  const Session session([&window](const std::string& text) { window.setText(QString::fromStdString(text)); });
  window.show();
  return QApplication::exec();  // The session is destroyed first, and with it the task.
}
