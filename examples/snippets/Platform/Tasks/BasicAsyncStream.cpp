// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Tasks/BasicAsyncStream.hpp"

#include <concepts>

#include "Tessaly/Platform/Tasks/AsyncStream.hpp"

namespace Tessaly {

static_assert(std::same_as<AsyncStream<int>, BasicAsyncStream<int, Never>>);

}  // namespace Tessaly
