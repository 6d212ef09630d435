// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Tasks/GlobalExecutor.hpp"

namespace Tessaly {

class HostExecutor final : public Executor {
 public:
  void enqueue(Job& job) noexcept override;
};

void snippet() {
  static HostExecutor executor;
  GlobalExecutor::install(executor);
}

}  // namespace Tessaly
