// expected: no matching constructor|no matching function
// SPDX-License-Identifier: MIT
#include "Tessaly/Concurrency/ReducedReplayAsyncStream.hpp"

void reduce() {
  using Sums = Tessaly::ReducedReplayAsyncStream<int>;
  const auto build = [](const Sums::Continuation& continuation) { continuation.finish(); };
#ifdef ALLOWED
  const Sums sums(Tessaly::BufferingPolicy::unbounded(), 0, [](int& sum, int number) { sum += number; }, build);
#else
  const Sums sums(Tessaly::BufferingPolicy::unbounded(), 0, [](int sum, int number) { return sum + number; }, build);
#endif
}
