// SPDX-License-Identifier: MIT
// Awaiting expressions in conditions, loops and operators.

#include <map>
#include <string>

#include "Probes.hpp"

namespace probes {
namespace {

bool continued = false;

Job<void> ifWithoutLocals() {
  if (co_await soon(true)) continued = true;
}

PROBE(IfInCoroutineWithoutLocals) {
  run(ifWithoutLocals());
  return continued;
}

PROBE(IfNot) {
  return run([]() -> Job<int> {
           if (!co_await soon(true)) co_return 1;
           co_return 2;
         }()) == 2;
}

PROBE(IfWithInitializer) {
  return run([]() -> Job<int> {
           if (int value = co_await soon(3); value == co_await soon(3)) co_return value;
           co_return 0;
         }()) == 3;
}

PROBE(IfWithDeclaration) {
  return run([]() -> Job<int> {
           if (auto value = co_await soon(std::optional<Counted>(4))) co_return value->value();
           co_return 0;
         }()) == 4;
}

PROBE(ElseIf) {
  return run([]() -> Job<int> {
           if (co_await soon(false)) {
             co_return 1;
           } else if (co_await soon(true)) {
             co_return 2;
           }
           co_return 3;
         }()) == 2;
}

PROBE(AndSkipsItsRightSide) {
  return run([]() -> Job<int> {
           int calls = 0;
           auto count = [&](bool answer) {
             ++calls;
             return soon(answer);
           };
           if (co_await count(false) && co_await count(true)) calls += 10;
           if (co_await count(true) && co_await count(true)) calls += 100;
           co_return calls;
         }()) == 103;
}

PROBE(OrSkipsItsRightSide) {
  return run([]() -> Job<int> {
           int calls = 0;
           auto count = [&](bool answer) {
             ++calls;
             return soon(answer);
           };
           if (co_await count(true) || co_await count(true)) calls += 10;
           if (co_await count(false) || co_await count(false)) calls += 100;
           co_return calls;
         }()) == 13;
}

PROBE(AndKeepsTemporaryOfItsRightSide) {
  return run([]() -> Job<int> {
           auto take = [](const Counted& counted) { return soon(counted.value() > 0); };
           co_return co_await soon(true) && co_await take(Counted(1)) ? 1 : 0;
         }()) == 1;
}

PROBE(ConditionalChoosesOneBranch) {
  return run([]() -> Job<int> {
           const int first = co_await soon(true) ? co_await soon(1) : co_await soon(2);
           const int second = co_await soon(false) ? co_await soon(10) : 20;
           co_return first + second;
         }()) == 21;
}

PROBE(ConditionalDestroysTemporaryOfTakenBranch) {
  return run([]() -> Job<int> {
           const Counted value = co_await soon(true) ? co_await soon(Counted(1)) : Counted(2);
           co_return value.value();
         }()) == 1;
}

PROBE(While) {
  return run([]() -> Job<int> {
           int count = 0;
           while (co_await soon(count < 5)) ++count;
           co_return count;
         }()) == 5;
}

PROBE(WhileWithDeclaration) {
  return run([]() -> Job<int> {
           int count = 3, sum = 0;
           while (auto value = co_await soon(count ? std::optional<Counted>(count) : std::nullopt)) {
             sum += value->value();
             if (--count == 1) continue;
           }
           co_return sum;
         }()) == 6;
}

// g++ 14 awaits the right side whatever the left side is, but only in the condition of a loop.
constexpr const char* awaitInTheBody = "await in the body of the loop, and leave it with break";

int callsInLoop = 0;

Soon<bool> countedCall() {
  ++callsInLoop;
  return soon(true);
}

PROBE(WhileSkipsRightSideOfAnd, awaitInTheBody) {
  run([]() -> Job<void> {
    int round = 0;
    while (round < 2 && co_await countedCall()) ++round;
  }());
  return callsInLoop == 2;
}

PROBE(ForSkipsRightSideOfAnd, awaitInTheBody) {
  run([]() -> Job<void> {
    for (int round = 0; round < 2 && co_await countedCall(); ++round) {
    }
  }());
  return callsInLoop == 2;
}

PROBE(LoopSkipsRightSideOfOr, awaitInTheBody) {
  run([]() -> Job<void> {
    for (int round = 0; !(round >= 2 || !co_await countedCall()); ++round) {
    }
  }());
  return callsInLoop == 2;
}

PROBE(DoWhile) {
  return run([]() -> Job<int> {
           int count = 0;
           do {
             if (count == 7) break;
           } while (co_await soon(++count < 10));
           co_return count;
         }()) == 7;
}

PROBE(ForWithAwaitInEveryPart) {
  return run([]() -> Job<int> {
           int sum = 0;
           for (int i = co_await soon(1); co_await soon(i < 5); i += co_await soon(1)) sum += co_await soon(i);
           co_return sum;
         }()) == 10;
}

PROBE(SwitchOnResult) {
  return run([]() -> Job<int> {
           switch (co_await soon(2)) {
             case 1:
               co_return co_await soon(10);
             case 2: {
               Counted local(20);
               co_await soon(0);
               co_return local.value();
             }
             default:
               co_return 30;
           }
         }()) == 20;
}

PROBE(OperandsKeepTheirOrder) {
  return run([]() -> Job<std::string> {
           std::string text;
           auto add = [&](const char* part) {
             text += part;
             return soon(0);
           };
           co_await add("a"), co_await add("b");
           const int list[] = {co_await add("c"), co_await add("d")};
           co_return text + std::to_string(std::size(list));
         }()) == "abcd2";
}

// g++ 14 evaluates the left side first.
PROBE(AssignmentTakesRightSideFirst, "name the result before it is assigned to an element or member") {
  return run([]() -> Job<int> {
           std::map<int, int> table;
           table[static_cast<int>(table.size())] = co_await [](auto& table) -> Job<int> {
             co_await soon(0);
             table[7] = 1;
             co_return 5;
           }(table);
           co_return table.contains(1) ? table.at(1) : -1;
         }()) == 5;
}

PROBE(ArithmeticKeepsLeftOperand) {
  return run([]() -> Job<int> {
           int left = 1;
           const int sum = (left += 1) * 10 + co_await soon(3) + (co_await soon(4)) * 2;
           co_return sum;
         }()) == 31;
}

}  // namespace
}  // namespace probes
