// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Tasks/OS_dispatch_queue.hpp"

#include <chrono>

namespace Tessaly {

void redraw();
void tidyUp();

void snippet() {
  OS_dispatch_queue::main().async([] { redraw(); });
  OS_dispatch_queue::global(QualityOfService::background).asyncAfter(std::chrono::seconds(5), [] { tidyUp(); });
}

}  // namespace Tessaly
