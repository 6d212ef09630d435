// SPDX-License-Identifier: MIT
// Temporaries, closures, aggregates and structured bindings in awaiting expressions.

#include <array>
#include <functional>
#include <initializer_list>
#include <memory>
#include <string>
#include <tuple>

#include "Probes.hpp"

namespace probes {
namespace {

struct Pair {
  Counted first;
  Counted second = 9;
};

Job<int> sumOf(Pair pair) {
  co_await soon(0);
  co_return pair.first.value() + pair.second.value();
}

Job<int> valueOf(const Counted& counted) {
  co_await soon(0);
  co_return counted.value();
}

Job<int> lengthOf(const std::string& text) {
  co_await soon(0);
  co_return static_cast<int>(text.size());
}

Job<int> call(std::function<int()> function) {
  co_await soon(0);
  co_return function();
}

template <typename Function>
Job<int> callGeneric(Function function) {
  co_await soon(0);
  co_return function();
}

PROBE(TemporaryLivesUntilResult) {
  return run([]() -> Job<int> { co_return co_await valueOf(Counted(5)); }()) == 5;
}

PROBE(TemporaryDiesAtEndOfStatement) {
  return run([]() -> Job<int> {
           co_await valueOf(Counted(5));
           co_return Counted::living;
         }()) == 0;
}

PROBE(TemporaryStringIsFreedOnce) {
  return run([]() -> Job<int> {
           const int length = co_await lengthOf(std::string(100, 'x') + std::string(50, 'y'));
           co_return length;
         }()) == 150;
}

PROBE(DefaultArgumentLives) {
  auto take = [](const Counted& counted = Counted(8)) { return soon(counted.value()); };
  return run([](auto take) -> Job<int> { co_return co_await take(); }(take)) == 8;
}

PROBE(DiscardedResultIsDestroyed) {
  return run([]() -> Job<int> {
           co_await soon(Counted(1));
           co_await soon(Counted(2));
           co_return Counted::living;
         }()) == 0;
}

PROBE(ResultBoundToReferenceLives) {
  return run([]() -> Job<int> {
           const Counted& value = co_await soon(Counted(6));
           co_await soon(0);
           co_return value.value();
         }()) == 6;
}

PROBE(MemberOfResult) {
  return run([]() -> Job<int> { co_return (co_await soon(Counted(3))).value() + co_await valueOf(4); }()) == 7;
}

PROBE(InitializerList) {
  auto sum = [](std::initializer_list<Counted> list) {
    int total = 0;
    for (const auto& counted : list) total += counted.value();
    return soon(total);
  };
  return run([](auto sum) -> Job<int> { co_return co_await sum({1, 2, 3}); }(sum)) == 6;
}

PROBE(RangeOfResult) {
  return run([]() -> Job<int> {
           int sum = 0;
           for (const auto& counted : co_await soon(std::vector<Counted>{1, 2, 3})) sum += co_await valueOf(counted);
           co_return sum;
         }()) == 6;
}

PROBE(MoveOnlyResult) {
  return run([]() -> Job<std::unique_ptr<Counted>> { co_return co_await soon(std::make_unique<Counted>(2)); }())
             ->value() == 2;
}

PROBE(TwoAwaitsInOneCall) {
  auto add = [](Counted left, Counted right) { return left.value() - right.value(); };
  return run([](auto add) -> Job<int> { co_return add(co_await soon(Counted(5)), co_await soon(Counted(3))); }(add)) ==
         2;
}

PROBE(AggregateArgumentIsDestroyedOnce) {
  return run([]() -> Job<int> { co_return co_await sumOf(Pair{1, 2}); }()) == 3;
}

PROBE(AggregateWithDefaultMember) {
  return run([]() -> Job<int> { co_return co_await sumOf({.first = 1}); }()) == 10;
}

PROBE(AggregateOfResults) {
  return run([]() -> Job<int> {
           Pair pair{co_await soon(Counted(1)), co_await soon(Counted(2))};
           Pair named{.first = co_await soon(Counted(3)), .second = co_await soon(4)};
           co_return pair.first.value() + pair.second.value() + named.first.value() + named.second.value();
         }()) == 10;
}

PROBE(ArrayOfResults) {
  return run([]() -> Job<int> {
           const std::array<Counted, 2> values{{co_await soon(Counted(1)), co_await soon(Counted(2))}};
           co_return values[0].value() * 10 + values[1].value();
         }()) == 12;
}

PROBE(AggregateIsReturned) {
  return run([]() -> Job<int> {
           auto pair = co_await []() -> Job<Pair> { co_return {co_await soon(Counted(4)), 5}; }();
           co_return pair.first.value() + pair.second.value();
         }()) == 9;
}

PROBE(ClosureArgumentIsDestroyedOnce) {
  return run([]() -> Job<int> {
           Counted captured(3);
           co_return co_await callGeneric([captured] { return captured.value(); });
         }()) == 3;
}

PROBE(ClosureWithMovedCapture) {
  return run([]() -> Job<int> {
           auto owner = std::make_unique<Counted>(4);
           co_return co_await callGeneric([owner = std::move(owner)] { return owner->value(); });
         }()) == 4;
}

PROBE(ClosureInFunctionObject) {
  return run([]() -> Job<int> {
           Counted one(1), two(2);
           std::string text(40, 'x');
           co_return co_await call(
               [one, two, text] { return one.value() + two.value() + static_cast<int>(text.size()); });
         }()) == 43;
}

PROBE(ClosureThatReturnsAwaitable) {
  return run([]() -> Job<int> {
           Counted captured(6);
           co_return co_await [captured] { return soon(captured.value()); }();
         }()) == 6;
}

PROBE(CoroutineOfTemporaryClosure) {
  return run([]() -> Job<int> {
           Counted captured(7);
           co_return co_await [captured]() -> Job<int> {
             co_await soon(0);
             co_return captured.value();
           }();
         }()) == 7;
}

PROBE(GenericClosureCoroutine) {
  auto twice = [](auto value) -> Job<decltype(value)> {
    auto half = co_await soon(value);
    co_return half + value;
  };
  return run(twice(21)) == 42 && run(twice(std::string("a"))) == "aa";
}

PROBE(BindingsOfResult) {
  return run([]() -> Job<int> {
           auto [first, second] = co_await soon(Pair{1, 2});
           co_await soon(0);
           co_return first.value() * 10 + second.value();
         }()) == 12;
}

PROBE(BindingsByReference) {
  return run([]() -> Job<int> {
           const auto& [first, second] = co_await soon(std::pair<Counted, Counted>(3, 4));
           co_await soon(0);
           co_return first.value() * 10 + second.value();
         }()) == 34;
}

PROBE(BindingsOfTuple) {
  return run([]() -> Job<int> {
           auto&& [first, second, third] = co_await soon(std::tuple<Counted, std::string, int>(3, "four", 5));
           co_await soon(0);
           co_return first.value() * 100 + static_cast<int>(second.size()) * 10 + third;
         }()) == 345;
}

PROBE(BindingsInLoopAreDestroyedEachRound) {
  return run([]() -> Job<int> {
           int most = 0;
           for (int i = 0; i < 5; ++i) {
             auto [first, second] = co_await soon(Pair{i, i});
             co_await soon(0);
             if (i == 2) continue;
             most = std::max(most, Counted::living);
           }
           co_return most;
         }()) == 2;
}

}  // namespace
}  // namespace probes
