// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Tasks/Isolation.hpp"

#include "Tessaly/Core/Tasks/Task.hpp"

namespace Tessaly {

void redraw();

void snippet() {
  Isolation storage = Isolation::serial();
  Task<> onTheMainThread({.isolation = Isolation::main()}, [] { redraw(); });
}

}  // namespace Tessaly
