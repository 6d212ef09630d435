// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cstdint>
#include <span>
#include <vector>

#include "Tessaly/Collections/ChunkSequence.hpp"
#include "Tessaly/Collections/FIFOStack.hpp"
#include "Tessaly/Collections/RingArray.hpp"

namespace Tessaly {
namespace {

struct Job {};
void run(const Job&) {}

}  // namespace

double averageOfLast(const RingArray<double>& readings) {
  double sum = 0;
  for (double reading : std::span(readings)) sum += reading;
  return readings.isEmpty() ? 0 : sum / static_cast<double>(readings.count());
}

void runAll(FIFOStack<Job>& pending) {
  while (auto job = pending.dequeue()) run(*job);
}

std::int64_t sumOfBestDays(const std::vector<std::int64_t>& days) {
  std::int64_t best = 0;
  for (auto week : chunked(days, 7)) best += *std::ranges::max_element(week);
  return best;
}

}  // namespace Tessaly
