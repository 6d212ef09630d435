// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Base/BackendInstallation.hpp"

namespace Tessaly::inline v1::detail {
namespace {

struct Kept {
  std::shared_ptr<void> object;
  Kept* next;
};

constinit std::atomic<Kept*> newest{nullptr};

}  // namespace

void keepUntilExit(std::shared_ptr<void> object) {
  auto* kept = new Kept{std::move(object), newest.load(std::memory_order_relaxed)};
  while (!newest.compare_exchange_weak(kept->next, kept, std::memory_order_release, std::memory_order_relaxed)) {
  }
}

}  // namespace Tessaly::inline v1::detail
