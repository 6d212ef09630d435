// SPDX-License-Identifier: MIT
#pragma once

#include <csignal>
#include <cstddef>

#include "Tessaly/Core/Base/detail/Sanitizers.hpp"

// Shows, without a clock, that the cost of an operation does not grow.

#if defined(__x86_64__) && TESSALY_IS_SANITIZED == 0
#define TESSALY_COUNTS_INSTRUCTIONS 1

namespace Tessaly::Tests {

inline volatile std::size_t instructionCount = 0;

/// The number of instructions that this thread executes in a function. The processor stops after each one, which takes
/// about 1 us.
template <typename Function>
std::size_t instructionsOf(Function function) {
  struct sigaction action{};
  action.sa_handler = [](int) { instructionCount = instructionCount + 1; };
  struct sigaction before{};
  ::sigaction(SIGTRAP, &action, &before);
  instructionCount = 0;
  // The trap flag. The stack below the 128 bytes that a function may use is free.
  asm volatile("lea -128(%%rsp), %%rsp; pushfq; orq $0x100, (%%rsp); popfq; lea 128(%%rsp), %%rsp" ::: "memory", "cc");
  function();
  asm volatile("lea -128(%%rsp), %%rsp; pushfq; andq $~0x100, (%%rsp); popfq; lea 128(%%rsp), %%rsp" ::
                   : "memory", "cc");
  ::sigaction(SIGTRAP, &before, nullptr);
  return instructionCount;
}

}  // namespace Tessaly::Tests

#else
#define TESSALY_COUNTS_INSTRUCTIONS 0
#endif
