// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Tasks/TaskLocal.hpp"

namespace Tessaly {

void show(int number);

constinit TaskLocal<int> requestNumber(0);

void handleRequest() {
  requestNumber.withValue(7, [] { show(requestNumber.value()); });
}

}  // namespace Tessaly
