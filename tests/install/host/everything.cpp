// SPDX-License-Identifier: MIT
#include <cstdio>

#include "Tessaly/Tessaly.hpp"

// One thing of each kind of library: of headers alone, of the floor, of a seam, of a subsystem.
int main() {
  Tessaly::Mutex<std::string> text("a host caught ");
  const Tessaly::RingArray<int> ring(3);
  const bool isThere = Tessaly::FileManager::default_().fileExists("/");
  const std::string size = Tessaly::FormattingService::Bytes::gigaBytes(1'000);
  if (!ring.isEmpty() || !isThere || size.empty()) return 1;
  std::puts(text.withLock([](auto& value) { return value + Tessaly::CancellationError().what(); }).c_str());
}
