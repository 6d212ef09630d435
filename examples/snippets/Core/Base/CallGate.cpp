// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Base/CallGate.hpp"

#include <functional>

using namespace Tessaly;

void callUnlessEnded(CallGate& gate, const std::function<void()>& handler) {
  const CallGate::Call call(gate);
  if (call.isAdmitted()) handler();
}
