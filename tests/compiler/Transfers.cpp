// SPDX-License-Identifier: MIT
// Symmetric transfer, templates and customised promises.

#include <string>

#include "Probes.hpp"

namespace probes {
namespace {

Job<int> one() { co_return 1; }

PROBE(AMillionChildrenUseNoStack) {
  return run([]() -> Job<int> {
           int sum = 0;
           for (int i = 0; i < 1'000'000; ++i) sum += co_await one();
           co_return sum;
         }()) == 1'000'000;
}

Job<int> depth(int remaining) {
  if (remaining == 0) co_return co_await soon(0);
  co_return 1 + co_await depth(remaining - 1);
}

PROBE(ADepthOfAHundredThousandUsesNoStack) { return run(depth(100'000)) == 100'000; }

/// Two coroutines that hand the turn to each other.
struct Turn {
  std::coroutine_handle<> other;
  struct Pass {
    Turn& turn;
    bool await_ready() const noexcept { return false; }
    std::coroutine_handle<> await_suspend(std::coroutine_handle<> caller) noexcept {
      return std::exchange(turn.other, caller);
    }
    void await_resume() const noexcept {}
  };
  Pass pass() { return Pass{*this}; }
};

Job<int> play(Turn& turn, int rounds) {
  int count = 0;
  while (count < rounds) {
    ++count;
    co_await turn.pass();
  }
  co_return count;
}

PROBE(TwoCoroutinesTakeAMillionTurns) {
  Turn turn{std::noop_coroutine()};
  auto first = play(turn, 1'000'000);
  auto second = play(turn, 1'000'000);
  first.start();   // It hands the turn to nobody and waits.
  second.start();  // It ends last: the other one ends and continues nobody.
  return first.done() && first.result() == 1'000'000;
}

struct TransfersToCaller {
  bool await_ready() const noexcept { return false; }
  std::coroutine_handle<> await_suspend(std::coroutine_handle<> caller) const noexcept { return caller; }
  int await_resume() const noexcept { return 1; }
};

PROBE(TransferToItselfUsesNoStack) {
  return run([]() -> Job<int> {
           int sum = 0;
           for (int i = 0; i < 1'000'000; ++i) sum += co_await TransfersToCaller{};
           co_return sum;
         }()) == 1'000'000;
}

struct DoesNotSuspend {
  bool await_ready() const noexcept { return false; }
  bool await_suspend(std::coroutine_handle<>) const noexcept { return false; }
  Counted await_resume() const { return 2; }
};

PROBE(AwaitSuspendThatAnswersFalse) {
  return run([]() -> Job<int> {
           int sum = 0;
           for (int i = 0; i < 1000; ++i) sum += (co_await DoesNotSuspend{}).value();
           co_return sum;
         }()) == 2000;
}

template <typename Value>
Job<Value> sumInTemplate(Value first, Value second) {
  auto left = co_await soon(first);
  if constexpr (requires { left.size(); }) {
    co_return left + co_await soon(std::move(second));
  } else {
    co_return left + co_await soon(second);
  }
}

PROBE(TemplateOfDependentTypes) {
  return run(sumInTemplate(1, 2)) == 3 && run(sumInTemplate(std::string("a"), std::string("b"))) == "ab";
}

template <typename Sequence>
Job<int> drain(Sequence sequence) {
  int sum = 0;
  while (auto element = co_await sequence.next()) {
    auto made = co_await sequence.transform(*element);
    sum += made.value();
  }
  co_return sum;
}

struct Countdown {
  int remaining = 4;
  Soon<std::optional<int>> next() { return soon(remaining ? std::optional(remaining--) : std::nullopt); }
  Job<Counted> transform(int value) { co_return co_await soon(Counted(value)); }
};

PROBE(TemplateOverSequence) { return run(drain(Countdown())) == 10; }

struct Owner {
  Counted member = 5;
  Job<int> read(int added) {
    co_await soon(0);
    co_return member.value() + added;
  }
  template <typename... Numbers>
  Job<int> readAll(Numbers... numbers) {
    int sum = 0;
    ((sum += co_await read(numbers)), ...);
    co_return sum;
  }
};

PROBE(MemberCoroutine) {
  Owner owner;
  return run(owner.read(1)) == 6;
}

PROBE(FoldOfAwaits) {
  Owner owner;
  return run(owner.readAll(1, 2, 3)) == 21;
}

struct Doubling {
  struct promise_type : Job<int>::promise_type {
    explicit promise_type(const Counted& given, int factor) : factor_(given.value() * factor) {}
    Doubling get_return_object() { return {std::coroutine_handle<promise_type>::from_promise(*this)}; }
    std::suspend_never initial_suspend() const noexcept { return {}; }
    std::suspend_always final_suspend() const noexcept { return {}; }
    Soon<Counted> await_transform(int value) { return soon(Counted(value * factor_)); }
    int factor_;
  };
  std::coroutine_handle<promise_type> handle;
};

Doubling doubling(Counted, int) {
  const int value = (co_await 4).value();
  co_return value + (co_await 1).value();
}

PROBE(PromiseTakesParametersAndTransformsAwaits) {
  auto job = doubling(3, 2);
  while (!pending.empty()) {
    auto next = pending.front();
    pending.pop_front();
    next.resume();
  }
  const int result = job.handle.done() ? job.handle.promise().take() : 0;
  job.handle.destroy();
  return result == 30;
}

struct Convertible {
  Counted value;
  Soon<int> operator co_await() && { return soon(value.value()); }
};

PROBE(OperatorCoAwaitOfTemporary) {
  return run([]() -> Job<int> { co_return co_await Convertible{4} + co_await Convertible{5}; }()) == 9;
}

struct Generator {
  struct promise_type {
    Generator get_return_object() { return {std::coroutine_handle<promise_type>::from_promise(*this)}; }
    std::suspend_always initial_suspend() const noexcept { return {}; }
    std::suspend_always final_suspend() const noexcept { return {}; }
    std::suspend_always yield_value(const Counted& value) {
      current = &value;
      return {};
    }
    void return_void() const noexcept {}
    void unhandled_exception() const { throw; }
    const Counted* current = nullptr;
  };
  std::coroutine_handle<promise_type> handle;
};

PROBE(YieldKeepsTemporary) {
  auto generator = [](int count) -> Generator {
    for (int i = 1; i <= count; ++i) co_yield Counted(i);
  }(4);
  int sum = 0;
  for (generator.handle.resume(); !generator.handle.done(); generator.handle.resume()) {
    sum += generator.handle.promise().current->value();
  }
  generator.handle.destroy();
  return sum == 10;
}

PROBE(LocalReferencesSurviveSuspension) {
  return run([]() -> Job<int> {
           Counted values[3] = {1, 2, 3};
           Counted& last = values[2];
           const Counted* first = &values[0];
           co_await soon(0);
           last = Counted(9);
           co_await soon(0);
           co_return first->value() * 10 + values[2].value();
         }()) == 19;
}

}  // namespace
}  // namespace probes
