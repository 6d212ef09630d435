// SPDX-License-Identifier: MIT
#include "Tessaly/Concurrency/detail/Listeners.hpp"

namespace Tessaly::inline v1 {

std::uint64_t detail::nextListVersion() noexcept {
  static constinit std::atomic<std::uint64_t> last{0};
  return last.fetch_add(1, std::memory_order_relaxed) + 1;
}

}  // namespace Tessaly::inline v1
