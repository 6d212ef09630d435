// SPDX-License-Identifier: MIT
#pragma once

#include "ThreadTeam.hpp"

namespace Tessaly::Benchmarks {

/// A team of this thread and a second one.
class TwoThreads : public ThreadTeam {
 public:
  TwoThreads() : ThreadTeam(2) {}
};

}  // namespace Tessaly::Benchmarks
