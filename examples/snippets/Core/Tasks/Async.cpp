// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Tasks/Async.hpp"

#include <vector>

namespace Tessaly {

Async<int> priceOf(int number);

Async<int> total(std::vector<int> numbers) {
  int sum = 0;
  for (int number : numbers) sum += co_await priceOf(number);
  co_return sum;
}

}  // namespace Tessaly
