// SPDX-License-Identifier: MIT
// Exceptions, and coroutines that are destroyed where they are suspended.

#include <cstdlib>
#include <new>
#include <stdexcept>
#include <string>

#include "Probes.hpp"

namespace probes {
namespace {

struct Failure {
  int number;
};

Job<int> failSoon(Counted parameter) {
  Counted local(1);
  co_await soon(0);
  if (parameter.value() == 0) throw Failure{7};
  co_return local.value();
}

PROBE(ExceptionReachesAwaiter) {
  return run([]() -> Job<int> {
           try {
             co_return co_await failSoon(0);
           } catch (const Failure& failure) {
             co_return failure.number;
           }
         }()) == 7;
}

PROBE(ExceptionBeforeFirstSuspension) {
  try {
    run([]() -> Job<int> {
      Counted local(1);
      if (local.value() == 1) throw Failure{1};
      co_return co_await soon(0);
    }());
  } catch (const Failure& failure) {
    return failure.number == 1;
  }
  return false;
}

PROBE(ExceptionThroughThreeFrames) {
  return run([]() -> Job<int> {
           auto middle = []() -> Job<int> {
             Counted local(2);
             co_return co_await failSoon(0) + local.value();
           };
           auto outer = [](auto middle) -> Job<int> {
             Counted local(3);
             co_return co_await middle() + local.value();
           };
           try {
             co_return co_await outer(middle);
           } catch (const Failure& failure) {
             co_return failure.number;
           }
         }()) == 7;
}

struct ThrowsOnResume {
  bool await_ready() const noexcept { return !suspends; }
  void await_suspend(std::coroutine_handle<> caller) { pending.push_back(caller); }
  int await_resume() { throw Failure{2}; }
  Counted kept;
};

PROBE(ExceptionOfAwaitResume) {
  return run([]() -> Job<int> {
           try {
             Counted local(1);
             co_return co_await ThrowsOnResume{1};
           } catch (const Failure& failure) {
             co_return failure.number;
           }
         }()) == 2;
}

struct ThrowsOnSuspend {
  bool await_ready() const noexcept { return false; }
  void await_suspend(std::coroutine_handle<>) { throw Failure{3}; }
  int await_resume() { return 0; }
  Counted kept;
};

PROBE(ExceptionOfAwaitSuspendResumesCoroutine) {
  return run([]() -> Job<int> {
           int number = 0;
           try {
             co_await ThrowsOnSuspend{1};
           } catch (const Failure& failure) {
             number = failure.number;
           }
           co_return number + co_await soon(10);
         }()) == 13;
}

PROBE(ExceptionBetweenTemporaries) {
  auto fail = [](const Counted&, int number) -> Soon<int> { throw Failure{number}; };
  return run([](auto fail) -> Job<int> {
           try {
             co_return co_await fail(Counted(1), co_await soon(4));
           } catch (const Failure& failure) {
             co_return failure.number + Counted::living;
           }
         }(fail)) == 4;
}

PROBE(AwaitAfterHandler) {
  return run([]() -> Job<int> {
           int caught = 0;
           for (int i = 0; i < 3; ++i) {
             bool failed = false;
             try {
               co_await failSoon(i % 2);
             } catch (const Failure&) {
               failed = true;
             }
             if (failed) caught += co_await soon(1);
           }
           co_return caught;
         }()) == 2;
}

PROBE(NestedTryWithAwaits) {
  return run([]() -> Job<int> {
           int trace = 0;
           try {
             try {
               co_await failSoon(0);
             } catch (...) {
               trace += 1;
               throw;
             }
           } catch (const Failure& failure) {
             trace += failure.number * 10;
           }
           co_return trace;
         }()) == 71;
}

struct ThrowsWhenCopied {
  ThrowsWhenCopied() = default;
  ThrowsWhenCopied(const ThrowsWhenCopied&) { throw Failure{5}; }
};

Job<int> takeBoth(Counted counted, ThrowsWhenCopied) { co_return counted.value(); }

PROBE(ExceptionOfParameterCopy) {
  const ThrowsWhenCopied original;
  try {
    run(takeBoth(1, original));
  } catch (const Failure& failure) {
    return failure.number == 5;
  }
  return false;
}

PROBE(ExceptionUnwindsLoopBody) {
  return run([]() -> Job<int> {
           int sum = 0;
           try {
             for (int i = 1;; ++i) {
               Counted local(i);
               sum += co_await soon(local.value());
               if (i == 3) throw Failure{0};
             }
           } catch (const Failure&) {
             sum += Counted::living;
           }
           co_return sum;
         }()) == 6;
}

struct Forever {
  bool await_ready() const noexcept { return false; }
  void await_suspend(std::coroutine_handle<>) noexcept {}
  int await_resume() noexcept { return 0; }
  Counted kept = 1;
};

Job<int> holdForever(Counted parameter) {
  Counted local(2);
  co_return co_await Forever{} + local.value() + parameter.value();
}

PROBE(DestructionBeforeStart) {
  {
    auto job = holdForever(1);
  }
  return Counted::living == 0;
}

PROBE(DestructionDestroysLocalsAndParameters) {
  return startAndDestroy([] { return holdForever(1); });
}

Forever waitWith(const Counted&, Counted) { return {}; }

PROBE(DestructionDestroysTemporariesOfAwait) {
  return startAndDestroy([]() -> Job<int> { co_return co_await waitWith(Counted(1), Counted(2)); });
}

PROBE(DestructionDestroysAwaitedChild) {
  return startAndDestroy([]() -> Job<int> {
    Counted local(1);
    co_return co_await holdForever(2) + local.value();
  });
}

PROBE(DestructionDestroysBindings) {
  return startAndDestroy([]() -> Job<int> {
    for (suspends = false;;) {
      auto [first, second] = co_await soon(std::pair<Counted, Counted>(1, 2));
      co_await Forever{};
    }
  });
}

PROBE(DestructionInsideTryBlock) {
  return startAndDestroy([]() -> Job<int> {
    try {
      Counted local(1);
      co_return co_await Forever{} + local.value();
    } catch (...) {
      co_return 1;
    }
  });
}

/// A coroutine without an owner.
struct Detached {
  struct promise_type {
    Detached get_return_object() const noexcept { return {}; }
    std::suspend_never initial_suspend() const noexcept { return {}; }
    std::suspend_never final_suspend() const noexcept { return {}; }
    void return_void() const noexcept {}
    void unhandled_exception() const noexcept { std::abort(); }
  };
};

struct DestroysItsCaller {
  bool await_ready() const noexcept { return false; }
  void await_suspend(std::coroutine_handle<> caller) noexcept { caller.destroy(); }
  void await_resume() noexcept {}
};

PROBE(DestructionInsideAwaitSuspend) {
  bool continued = false;
  [](bool& continued, Counted) -> Detached {
    Counted local(1);
    co_await DestroysItsCaller{};
    continued = true;
  }(continued, 2);
  return !continued && Counted::living == 0;
}

struct DestroysAndTransfers {
  bool await_ready() const noexcept { return false; }
  std::coroutine_handle<> await_suspend(std::coroutine_handle<> caller) noexcept {
    caller.destroy();
    return std::noop_coroutine();
  }
  void await_resume() noexcept {}
};

PROBE(DestructionInsideTransfer) {
  for (int i = 0; i < 3; ++i) {
    [](Counted) -> Detached {
      auto [first, second] = std::pair<Counted, Counted>(1, 2);
      co_await DestroysAndTransfers{};
      std::abort();
    }(1);
  }
  return Counted::living == 0;
}

int allocated = 0;
int freed = 0;

struct Sized {
  struct promise_type : Detached::promise_type {
    Sized get_return_object() const noexcept { return {}; }
    void* operator new(std::size_t size) {
      allocated += static_cast<int>(size);
      return std::malloc(size);
    }
    void operator delete(void* frame, std::size_t size) {
      freed += static_cast<int>(size);
      std::free(frame);
    }
  };
};

PROBE(FrameIsFreedOnceWithItsSize) {
  [](Counted) -> Sized { co_await soon(0); }(1);
  if (!pending.empty()) pending.front().resume();
  pending.clear();
  return allocated > 0 && allocated == freed;
}

}  // namespace
}  // namespace probes
