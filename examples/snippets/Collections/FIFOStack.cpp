// SPDX-License-Identifier: MIT
#include "Tessaly/Collections/FIFOStack.hpp"

namespace Tessaly {

struct Job {};
void run(const Job& job);

void showFIFOStack(Job job) {
  FIFOStack<Job> pending;
  pending.enqueue(job);
  while (auto next = pending.dequeue()) run(*next);
}

}  // namespace Tessaly
