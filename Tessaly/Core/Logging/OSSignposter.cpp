// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Logging/OSSignposter.hpp"

#include <atomic>

namespace Tessaly::inline v1 {
namespace {

constinit std::atomic<std::uint64_t> lastSignpostID{0};

}  // namespace

OSSignpostID OSSignposter::makeSignpostID() const noexcept {
  return OSSignpostID(lastSignpostID.fetch_add(1, std::memory_order_relaxed) + 1);
}

}  // namespace Tessaly::inline v1
