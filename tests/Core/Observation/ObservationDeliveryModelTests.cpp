// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

// A model of the delivery of changes: every interleaving of the steps of three threads, each with a store buffer. It
// shows that the protocol of `ObservationPoint` keeps its promises, and that each of its precautions is needed.
//
// A step is one access to memory that several threads share, or one critical section of the point's lock. A plain store
// enters the thread's buffer and reaches memory at some later step. A thread sees its own buffer. A critical section
// and a fence in all threads empty buffers.

namespace Tessaly {
namespace {

constexpr int threadCount = 3;
constexpr int observerCount = 2;

/// The steps of a thread, in the order of its life.
enum class Role : std::uint8_t {
  idle,
  /// Changes the value once.
  changer,
  /// Ends the first observer and then destroys what its handler captured.
  ender,
};

/// The action of the first observer's handler when it is called for the first time.
enum class Handler : std::uint8_t { returns, changesOnce, endsItself, endsTheOther, waitsForTheOther };

/// A precaution that a broken variant leaves out.
enum class Omission : std::uint8_t {
  none,
  fence,
  lookAfterTheMark,
  lookAfterTheCall,
  lateRemoval,
  settlingWithoutCaller
};

struct Scenario {
  std::array<Role, threadCount> roles;
  Handler handler;
  Omission omission;
};

enum class At : std::uint8_t {
  begin,
  next,
  mark,
  look,
  callAlone,
  unmark,
  lookAgain,
  enterShared,
  callShared,
  leaveShared,
  settle,
  discardSettled,
  endTurn,
  endObserver,
  waitForSettling,
  done,
};

/// One delivery of a thread; a nested one lies above it.
struct Frame {
  At at;
  std::uint8_t index;
  bool isShared;
  bool wasCalled;
  bool isNestedCaller;
  bool isInHandler;
  /// The observers in the list at the beginning of the turn, as bits.
  std::uint8_t present;
};

struct Buffered {
  std::uint8_t observer;
  bool value;
};

struct Thread {
  std::uint8_t depth;
  std::uint8_t buffered;
  std::array<Frame, 3> frames;
  std::array<Buffered, 3> buffer;
};

struct Observer {
  bool isCalled;
  bool hasEnded;
  bool hasMissedOne;
  bool discardIsDue;
  bool isDiscarded;
  bool isFreed;
  std::uint8_t caller;
  std::uint8_t seen;
  std::uint8_t calls;
  /// The threads that are in the handler, as bits.
  std::uint8_t inside;
};

struct State {
  std::array<Thread, threadCount> threads;
  std::array<Observer, observerCount> observers;
  std::uint8_t version;
  std::uint8_t turns;
  std::uint8_t holder;
  bool isShared;
  bool hasActed;
  bool isGone;
};

/// Explores all states that can be reached.
class Model {
 public:
  explicit Model(const Scenario& scenario) : scenario_(scenario) {}

  /// The first promise that is broken in some order, or nothing.
  [[nodiscard]] std::string explore() {
    State first;
    std::memset(&first, 0, sizeof first);
    for (int t = 0; t < threadCount; ++t) {
      Thread& thread = first.threads[t];
      thread.depth = scenario_.roles[t] == Role::idle ? 0 : 1;
      thread.frames[0].at = scenario_.roles[t] == Role::ender ? At::endObserver : At::begin;
    }
    push(first);
    while (!open_.empty() && broken_.empty()) {
      const State state = open_.back();
      open_.pop_back();
      bool moved = false;
      for (int t = 0; t < threadCount; ++t) {
        moved = flush(state, t) || moved;
        moved = step(state, t) || moved;
      }
      if (!moved) checkEnd(state);
    }
    return broken_;
  }
  [[nodiscard]] std::size_t stateCount() const { return known_.size(); }

 private:
  static std::uint8_t number(int thread) { return static_cast<std::uint8_t>(thread + 1); }

  void push(const State& state) {
    if (known_.emplace(reinterpret_cast<const char*>(&state), sizeof state).second) open_.push_back(state);
  }
  void fail(std::string_view promise) {
    if (broken_.empty()) broken_ = promise;
  }
  void require(bool holds, std::string_view promise) {
    if (!holds) fail(promise);
  }

  // Memory.

  static void drain(State& state, int t) {
    Thread& thread = state.threads[t];
    for (int i = 0; i < thread.buffered; ++i)
      state.observers[thread.buffer[i].observer].isCalled = thread.buffer[i].value;
    thread.buffered = 0;
    thread.buffer = {};
  }
  bool flush(State state, int t) {
    Thread& thread = state.threads[t];
    if (thread.buffered == 0) return false;
    state.observers[thread.buffer[0].observer].isCalled = thread.buffer[0].value;
    for (int i = 1; i < thread.buffered; ++i) thread.buffer[i - 1] = thread.buffer[i];
    thread.buffer[--thread.buffered] = {};
    push(state);
    return true;
  }
  static bool loadCalled(const State& state, int t, int o) {
    bool value = state.observers[o].isCalled;
    const Thread& thread = state.threads[t];
    for (int i = 0; i < thread.buffered; ++i) {
      if (thread.buffer[i].observer == o) value = thread.buffer[i].value;
    }
    return value;
  }
  void storeCalled(State& state, int t, int o, bool value) {
    require(!state.observers[o].isFreed, "an observer is not touched once it is freed");
    Thread& thread = state.threads[t];
    if (thread.buffered == thread.buffer.size()) drain(state, t);
    thread.buffer[thread.buffered++] = {static_cast<std::uint8_t>(o), value};
  }

  // Critical sections. The lock empties the thread's buffer.

  static std::uint8_t callerOf(const State& state, const Observer& observer) {
    if (observer.caller != 0) return observer.caller;
    return observer.isCalled ? state.holder : 0;
  }
  void share(State& state, int t) {
    if (state.isShared) return;
    state.isShared = true;
    if (state.holder == number(t) || scenario_.omission == Omission::fence) return;
    for (int other = 0; other < threadCount; ++other) drain(state, other);
  }
  void beginTurn(State& state, int t) {
    if (state.turns == 0) {
      state.holder = number(t);
    } else if (state.holder != number(t)) {
      share(state, t);
    }
    ++state.turns;
  }
  void endTurn(State& state) {
    if (--state.turns > 0) return;
    state.isShared = false;
    for (Observer& observer : state.observers) {
      if (observer.hasEnded) observer.isFreed = true;
    }
  }
  /// True if another thread is in a call.
  bool end(State& state, int t, int o) {
    Observer& observer = state.observers[o];
    const bool isFirst = !observer.hasEnded;
    observer.hasEnded = true;
    if (state.turns == 0) {
      if (isFirst) discard(observer);
      observer.isFreed = true;
      return false;
    }
    share(state, t);
    const std::uint8_t caller = callerOf(state, observer);
    if (isFirst && caller == 0) discard(observer);
    if (isFirst && caller != 0) observer.discardIsDue = true;
    if (scenario_.omission == Omission::lateRemoval && caller == 0) observer.isFreed = true;
    return caller != 0 && caller != number(t);
  }
  void discard(Observer& observer) {
    require(observer.inside == 0, "nothing is destroyed that a call uses");
    require(!observer.isDiscarded, "what was captured is destroyed once");
    observer.isDiscarded = true;
    observer.discardIsDue = false;
  }

  // Calls.

  void enterHandler(State& state, int t, int o) {
    Observer& observer = state.observers[o];
    require(!observer.isDiscarded, "no call begins after the end");
    require((observer.inside & ~(1 << t)) == 0, "one thread at a time is in a handler");
    observer.inside = static_cast<std::uint8_t>(observer.inside | (1 << t));
    observer.seen = state.version;
    ++observer.calls;
  }
  /// Runs the rest of the handler. Returns false if it must wait.
  bool leaveHandler(State& state, int t, int o, At next) {
    Thread& thread = state.threads[t];
    Frame& frame = thread.frames[thread.depth - 1];
    const Handler handler = o == 0 ? scenario_.handler : Handler::returns;
    if (handler == Handler::waitsForTheOther) {
      // The second thread has changed the value, and calls the free observer.
      if (t == 0 && state.observers[1].calls == 0) return false;
    } else if (handler != Handler::returns && !state.hasActed) {
      state.hasActed = true;
      drain(state, t);
      if (handler == Handler::changesOnce) {
        frame.at = next;
        frame.isInHandler = true;
        thread.frames[thread.depth++] = {};
        return true;
      }
      static_cast<void>(end(state, t, handler == Handler::endsItself ? 0 : 1));
    }
    leaveCompletely(state, t, o);
    frame.at = next;
    return true;
  }
  static void leaveCompletely(State& state, int t, int o) {
    const Thread& thread = state.threads[t];
    for (int depth = 0; depth + 1 < thread.depth; ++depth) {
      if (thread.frames[depth].isInHandler && thread.frames[depth].index == o) return;
    }
    state.observers[o].inside = static_cast<std::uint8_t>(state.observers[o].inside & ~(1 << t));
  }

  bool step(State state, int t) {
    Thread& thread = state.threads[t];
    if (thread.depth == 0) return false;
    Frame& frame = thread.frames[thread.depth - 1];
    if (frame.isInHandler) {
      // The nested change is over.
      frame.isInHandler = false;
      leaveCompletely(state, t, frame.index);
    }
    if (!advance(state, t, thread, frame)) return false;
    push(state);
    return true;
  }

  bool advance(State& state, int t, Thread& thread, Frame& frame) {
    switch (frame.at) {
      case At::begin:
        drain(state, t);
        ++state.version;
        beginTurn(state, t);
        frame = {};
        frame.at = At::next;
        frame.isShared = state.isShared;
        for (int o = 0; o < observerCount; ++o) frame.present |= state.observers[o].isFreed ? 0 : 1 << o;
        return true;
      case At::endTurn:
        drain(state, t);
        endTurn(state);
        thread.frames[--thread.depth] = {};
        return true;
      case At::endObserver:
        drain(state, t);
        frame.at = end(state, t, 0) ? At::waitForSettling : At::done;
        return true;
      case At::waitForSettling:
        if (state.observers[0].discardIsDue || !state.observers[0].isDiscarded) return false;
        frame.at = At::done;
        return true;
      case At::done:
        require(state.observers[0].inside == 0, "the end waits for a call on another thread");
        state.isGone = true;
        thread.frames[--thread.depth] = {};
        return true;
      default:
        return advanceAlone(state, t, frame) || advanceShared(state, t, frame);
    }
  }

  bool advanceAlone(State& state, int t, Frame& frame) {
    const int o = frame.index;
    switch (frame.at) {
      case At::next:
        if (o == observerCount) {
          frame.at = At::endTurn;
        } else if ((frame.present >> o & 1) == 0) {
          ++frame.index;
        } else {
          frame.at = frame.isShared ? At::enterShared : At::mark;
        }
        return true;
      case At::mark:
        frame.wasCalled = loadCalled(state, t, o);
        storeCalled(state, t, o, true);
        frame.at = At::look;
        return true;
      case At::look:
        if (state.isShared && scenario_.omission != Omission::lookAfterTheMark) {
          storeCalled(state, t, o, frame.wasCalled);
          frame.isShared = true;
          frame.at = At::enterShared;
        } else {
          enterHandler(state, t, o);
          frame.at = At::callAlone;
        }
        return true;
      case At::callAlone:
        return leaveHandler(state, t, o, At::unmark);
      case At::unmark:
        storeCalled(state, t, o, frame.wasCalled);
        frame.at = At::lookAgain;
        return true;
      case At::lookAgain:
        frame.isShared = state.isShared;
        frame.at = state.isShared && scenario_.omission != Omission::lookAfterTheCall ? At::settle : At::next;
        if (frame.at == At::next) ++frame.index;
        return true;
      default:
        return false;
    }
  }

  bool advanceShared(State& state, int t, Frame& frame) {
    const int o = frame.index;
    Observer& observer = state.observers[o];
    switch (frame.at) {
      case At::enterShared: {
        drain(state, t);
        const std::uint8_t caller = callerOf(state, observer);
        const bool isTaken = caller != 0 && caller != number(t);
        if (caller != number(t)) observer.hasMissedOne = isTaken;
        frame.isNestedCaller = observer.caller == number(t);
        if (isTaken) {
          frame.at = At::next;
          ++frame.index;
        } else if (observer.hasEnded) {
          frame.at = At::settle;
        } else {
          observer.caller = number(t);
          enterHandler(state, t, o);
          frame.at = At::callShared;
        }
        return true;
      }
      case At::callShared:
        return leaveHandler(state, t, o, At::leaveShared);
      case At::leaveShared:
        drain(state, t);
        observer.caller = frame.isNestedCaller ? number(t) : 0;
        frame.at = At::settle;
        return true;
      case At::settle:
        return settle(state, t, frame, observer);
      case At::discardSettled:
        discard(observer);
        frame.at = At::next;
        ++frame.index;
        return true;
      default:
        return false;
    }
  }

  bool settle(State& state, int t, Frame& frame, Observer& observer) {
    drain(state, t);
    const bool isOver = callerOf(state, observer) == 0 || scenario_.omission == Omission::settlingWithoutCaller;
    const bool discards = isOver && observer.discardIsDue;
    if (discards) observer.discardIsDue = false;
    const bool repeats = isOver && !observer.hasEnded && observer.hasMissedOne;
    if (repeats) observer.hasMissedOne = false;
    frame.at = discards ? At::discardSettled : repeats ? At::enterShared : At::next;
    if (frame.at == At::next) ++frame.index;
    return true;
  }

  void checkEnd(const State& state) {
    for (const Thread& thread : state.threads) require(thread.depth == 0, "no thread waits for ever");
    for (const Observer& observer : state.observers) {
      require(observer.hasEnded || observer.seen == state.version, "the last value is delivered");
      require(!observer.hasEnded || (observer.isDiscarded && observer.isFreed), "an ended observer leaves nothing");
    }
    require(state.turns == 0, "every turn is given back");
  }

  const Scenario scenario_;
  std::vector<State> open_;
  std::unordered_set<std::string> known_;
  std::string broken_;
};

constexpr std::array<Handler, 4> handlers = {Handler::returns, Handler::changesOnce, Handler::endsItself,
                                             Handler::endsTheOther};

TEST(ObservationDeliveryModel, KeepsItsPromisesInEveryOrder) {
  for (const Handler handler : handlers) {
    for (const Role third : {Role::idle, Role::changer, Role::ender}) {
      Model model({{Role::changer, Role::ender, third}, handler, Omission::none});
      EXPECT_EQ(model.explore(), "") << static_cast<int>(handler) << " " << static_cast<int>(third);
      EXPECT_GT(model.stateCount(), 40U);
    }
    Model model({{Role::changer, Role::changer, Role::idle}, handler, Omission::none});
    EXPECT_EQ(model.explore(), "") << static_cast<int>(handler);
  }
}

TEST(ObservationDeliveryModel, SecondThreadCallsObserversThatAreFree) {
  Model model({{Role::changer, Role::changer, Role::idle}, Handler::waitsForTheOther, Omission::none});
  EXPECT_EQ(model.explore(), "");
}

/// Whether some scenario shows the omission.
bool isCaught(Omission omission) {
  for (const Handler handler : handlers) {
    for (const Role second : {Role::changer, Role::ender}) {
      for (const Role third : {Role::idle, Role::changer, Role::ender}) {
        Model model({{Role::changer, second, third}, handler, omission});
        if (!model.explore().empty()) return true;
      }
    }
  }
  return false;
}

TEST(ObservationDeliveryModel, FindsAnEndWithoutFence) { EXPECT_TRUE(isCaught(Omission::fence)); }

TEST(ObservationDeliveryModel, FindsAMissingCheckAfterTheMark) { EXPECT_TRUE(isCaught(Omission::lookAfterTheMark)); }

TEST(ObservationDeliveryModel, FindsAMissingCheckAtTheEndOfACall) { EXPECT_TRUE(isCaught(Omission::lookAfterTheCall)); }

TEST(ObservationDeliveryModel, FindsAnObserverFreedDuringATurn) { EXPECT_TRUE(isCaught(Omission::lateRemoval)); }

TEST(ObservationDeliveryModel, FindsADiscardDuringAnotherCall) {
  EXPECT_TRUE(isCaught(Omission::settlingWithoutCaller));
}

}  // namespace
}  // namespace Tessaly
