// SPDX-License-Identifier: MIT
#include "tests/stress/StressRound.hpp"

#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

#include "Tessaly/Core/Tasks/GlobalExecutor.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"

namespace Tessaly::Tests {

constinit const TaskLocal<int> stressLocal(0);

namespace {

constexpr int maximumDepth = 4;

/// Counts the last uses of all rounds. A thread that waits for one reads only this counter, and no destroyed round.
constinit std::atomic<std::uint32_t> lastUses{0};

/// Runs a job at once, on the stack of the code that enqueues it.
class InlineExecutor final : public Executor {
 public:
  void enqueue(Job& job) noexcept override { job.run(); }
};

/// `InlineExecutor` that loses every fifth job.
class LossyExecutor final : public Executor {
 public:
  void enqueue(Job& job) noexcept override {
    if (jobs_.fetch_add(1, std::memory_order_relaxed) % 5 != 4) job.run();
  }

 private:
  std::atomic<unsigned> jobs_{0};
};

/// An executor that claims to be serial and is not.
class SharedExecutor final : public Executor {
 public:
  void enqueue(Job& job) noexcept override { GlobalExecutor::shared().enqueue(job); }
};

Isolation serialFor(Breakage breakage) {
  static SharedExecutor shared;
  if (breakage == Breakage::sharedIsolation) return Isolation(shared);
  return Isolation::serial();
}

Isolation inlineFor(Breakage breakage) {
  static InlineExecutor executor;
  static LossyExecutor lossy;
  return breakage == Breakage::lostJob ? Isolation(lossy) : Isolation(executor);
}

void print(const Plan& plan, int indentation, std::string& text) {
  const unsigned begun = plan.begun.load(std::memory_order_relaxed);
  const unsigned ended = plan.ended.load(std::memory_order_relaxed);
  text.append(static_cast<std::size_t>(indentation), ' ');
  text += nameOf(plan.kind);
  if (!plan.isCertain) text += ", may be cancelled";
  text += begun == 0 ? ": not begun" : begun == ended ? ": ended" : ": RUNS";
  if (begun > 1) text += " (begun " + std::to_string(begun) + " times)";
  text += "\n";
  for (const Plan& child : plan.children) print(child, indentation + 2, text);
}

void check(const Round& round, const Plan& plan) {
  const unsigned begun = plan.begun.load(std::memory_order_relaxed);
  const std::string name = nameOf(plan.kind);
  if (begun > 1) round.fail("a " + name + " ran twice");
  if (begun != plan.ended.load(std::memory_order_relaxed)) round.fail("a " + name + " did not end");
  if (plan.isCertain && begun == 0) round.fail("a " + name + " never ran");
  for (const Plan& child : plan.children) check(round, child);
}

}  // namespace

Context::Context(Round& owner) noexcept : round(owner) { round.users_.fetch_add(1, std::memory_order_relaxed); }

Context::Context(const Context& other) noexcept
    : round(other.round), zone(other.zone), owned(other.owned), local(other.local), priority(other.priority) {
  round.users_.fetch_add(1, std::memory_order_relaxed);
}

Context::~Context() {
  if (round.users_.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
  lastUses.fetch_add(1, std::memory_order_release);
  lastUses.notify_all();
}

Context Context::in(Zone* other) const {
  Context context(*this);
  context.zone = other;
  context.owned = nullptr;
  return context;
}

Context Context::withLocal(int value) const {
  Context context(*this);
  context.local = value;
  return context;
}

Context Context::withPriority(TaskPriority least) const {
  Context context(*this);
  context.priority = least;
  return context;
}

Context Context::withOwner(Owned& object) const {
  Context context(*this);
  context.owned = &object;
  return context;
}

Round::Round(std::uint64_t number, Plan::Schedule order, Breakage defect, Clock& time)
    : seed(number), schedule(order), breakage(defect), clock(time), plan([&]() -> Plan {
        StressRandom random(number);
        const int depth = 1 + static_cast<int>(random.below(maximumDepth));
        return Plan(random, depth, order, true);
      }()) {
  zones_[0].isolation = Isolation::main();
  zones_[1].isolation = Isolation::serial();
  zones_[2].isolation = serialFor(breakage);
  zones_[exclusiveZones].isolation = inlineFor(breakage);
  zones_[exclusiveZones].isExclusive = false;
}

void Round::step(const Context& context, const Plan& at) {
  steps.fetch_add(1, std::memory_order_relaxed);
  if (schedule == Plan::Schedule::reproducible) trace = StressRandom(trace ^ at.seed).next();
  Executor* const executor = Isolation::current().executor();
  Executor* const base = executor != nullptr ? &executor->base() : nullptr;
  expect(base == (context.zone != nullptr ? context.zone->isolation.executor() : nullptr), "work left its isolation");
  expect(stressLocal.value() == context.local, "work lost its task-local value");
  expect(Task<>::currentPriority() >= context.priority, "work lost its priority");
  if (context.zone == nullptr || !context.zone->isExclusive) return;
  expect(!context.zone->isInside.exchange(true, std::memory_order_relaxed), "two jobs of one isolation ran at once");
  // Every fourth visit is long enough for another thread to enter.
  if (++context.zone->visits % 4 == 0 && schedule == Plan::Schedule::free) std::this_thread::yield();
  if (context.owned != nullptr) {
    expect(!context.owned->hasEnded, "a task ran after its owner's end");
    ++context.owned->uses;
  }
  context.zone->isInside.store(false, std::memory_order_relaxed);
}

void Round::fail(const std::string& rule) const {
  std::string text = "\nFAILED: " + rule + "\nseed " + std::to_string(seed) + ", step " +
                     std::to_string(steps.load(std::memory_order_relaxed)) + ", in use " +
                     std::to_string(users_.load(std::memory_order_relaxed)) + " times\n";
  print(plan, 2, text);
  std::fputs(text.c_str(), stderr);
  std::abort();
}

Zone* Round::anyZone(StressRandom& random) {
  const std::size_t number = random.below(allZones + 2);
  return number < allZones ? &zones_[number] : nullptr;
}

Owned& Round::makeOwned() {
  while (listsOwned_.test_and_set(std::memory_order_acquire)) {
  }
  Owned& object = owned_.emplace_back();
  listsOwned_.clear(std::memory_order_release);
  return object;
}

void Round::waitUntilUnused() const {
  for (;;) {
    const std::uint32_t seen = lastUses.load(std::memory_order_acquire);
    if (!isUsed()) return;
    lastUses.wait(seen, std::memory_order_acquire);
  }
}

void Round::checkEnd() const { check(*this, plan); }

}  // namespace Tessaly::Tests
