// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Tasks/Isolation.hpp"

#include "Tessaly/Platform/Tasks/Task.hpp"

namespace Tessaly {

void redraw();

void snippet() {
  Isolation storage = Isolation::serial();
  Task<> onTheMainThread({.isolation = Isolation::main()}, [] { redraw(); });
}

}  // namespace Tessaly
