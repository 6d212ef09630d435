// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Logging/LogBackend.hpp"

#include <atomic>
#include <chrono>
#include <memory>

namespace Tessaly {

class LineCounter final : public LogBackend {
 public:
  void write(const LogRecord&) noexcept override { ++lines_; }

 private:
  std::atomic<int> lines_{0};
};

void installLineCounter() {
  const LogBackendInstallation installation(std::make_shared<LineCounter>());
  LogBackend::current().flush(std::chrono::seconds(1));
}

}  // namespace Tessaly
