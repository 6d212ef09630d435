// SPDX-License-Identifier: MIT
#pragma once

#include <cstdlib>

namespace Tessaly::Tests {

/// The number of repetitions of a test of concurrency: `count`, or ten times as many if the environment says
/// `TESSALY_STRESS=1` (as `./run stress` does).
inline int repetitions(int count) {
  const char* stress = std::getenv("TESSALY_STRESS");
  return stress != nullptr && stress[0] == '1' ? count * 10 : count;
}

}  // namespace Tessaly::Tests
