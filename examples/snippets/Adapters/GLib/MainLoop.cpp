// SPDX-License-Identifier: MIT
#include "Tessaly/Adapters/GLib/MainLoop.hpp"

namespace Tessaly {

void showMainLoopAdapter(GMainLoop* loop) {
  GLib::MainLoopAdapter adapter;
  g_main_loop_run(loop);
}

}  // namespace Tessaly
