// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Base/BackendInstallation.hpp"

#include "Tessaly/Core/Base/FatalError.hpp"

namespace Tessaly::inline v1::detail {
namespace {

struct Kept {
  std::shared_ptr<const void> object;
  Kept* next;
};

constinit std::atomic<Kept*> newest{nullptr};

}  // namespace

void keepUntilExit(std::shared_ptr<const void> object) {
  auto* kept = new Kept{std::move(object), newest.load(std::memory_order_relaxed)};
  while (!newest.compare_exchange_weak(kept->next, kept, std::memory_order_release, std::memory_order_relaxed)) {
  }
}

void refuseToInstallNothing() { fatalError("There is no backend to install", "Tessaly/BackendInstallation", __LINE__); }

}  // namespace Tessaly::inline v1::detail
