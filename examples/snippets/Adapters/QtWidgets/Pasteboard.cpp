// SPDX-License-Identifier: MIT
#include "Tessaly/Adapters/QtWidgets/Pasteboard.hpp"

#include <QApplication>

#include "Tessaly/Adapters/Qt/MainLoop.hpp"

namespace Tessaly {

int showPasteboardAdapter(int argumentCount, char** arguments) {
  const QApplication application(argumentCount, arguments);
  const Qt6::MainLoopAdapter adapter;
  const Qt6::PasteboardAdapter pasteboard;
  return QApplication::exec();
}

}  // namespace Tessaly
