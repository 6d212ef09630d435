// SPDX-License-Identifier: MIT
#include "Tessaly/Adapters/Qt/MainLoop.hpp"

#include <QCoreApplication>

namespace Tessaly {

int showMainLoopAdapter(int argumentCount, char** arguments) {
  QCoreApplication application(argumentCount, arguments);
  Qt6::MainLoopAdapter adapter;
  return application.exec();
}

}  // namespace Tessaly
