// SPDX-License-Identifier: MIT
// How several processes write one settings store.
//
// A step is one operation on a file, or several on files that only this process sees. The values are a set of writes,
// because the order of writes to one key is the order of the journal's bytes. A lock that is not free leaves its
// process where it is: the implementation tries again. A process that has been killed has released its locks. One
// program shortens the journal in place without a lock, another one replaces the property list.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <iostream>
#include <string>

#include "tests/models/Exploration.hpp"

namespace Tessaly::Tests {
namespace {

using Byte = std::uint8_t;

struct StoreModel {
  enum class Variant : Byte {
    asWritten,
    /// A new process reads the property list before the old journal.
    readsListFirst,
    /// A checkpoint removes the old journal before the list is in place.
    removesOldJournalEarly,
    /// A process does not compare the known bytes of a journal that has grown.
    trustsGrowth,
    /// A process follows the next journal though the one before was shortened.
    trustsRotation,
  };
  /// The events that may happen, each once.
  struct Bounds {
    bool isKilled = false;
    bool isShortened = false;
    bool isListReplaced = false;
    bool isRead = false;
  };
  enum class At : Byte { idle, locks, looks, appends, checks, links, rotates, writesList, puts, removes, dead };
  enum class Purpose : Byte { look, write, beginCheckpoint, endCheckpoint };

  static constexpr std::size_t processes = 3;  // The last one makes a checkpoint.
  static constexpr std::size_t checkpointer = 2;
  static constexpr std::size_t journals = 6;
  static constexpr Byte none = 0xFF;
  static constexpr Byte oldValue = 0x80;
  static constexpr Byte foreignValue = 0x40;

  struct Journal {
    Byte records;
    Byte isHeadless;
    Byte lineage;
    Byte predecessor;
    Byte holders = 0;   // Of the shared lock.
    Byte owner = none;  // Of the exclusive lock.
    friend bool operator==(const Journal&, const Journal&) = default;
  };
  struct Process {
    At at;
    Purpose purpose;
    Byte memory;
    Byte journal;
    Byte isFollowed;
    Byte former;   // The journal that it followed before.
    Byte hasLost;  // Whether that one was overwritten.
    Byte seen;     // The records that it has read of the journal.
    Byte pending;  // Writes that it must bring into the journal.
    Byte written;  // Whether its write was acknowledged.
    friend bool operator==(const Process&, const Process&) = default;
  };
  struct State {
    std::array<Journal, journals> files;
    std::array<Process, processes> all;
    Byte count;
    Byte path;
    Byte old;
    Byte list;
    Byte hasForeignList;
    Byte directoryOwner;
    Byte snapshot;
    Byte hadOld;
    Byte isOutdated;
    Byte checkpoints;
    Byte acknowledged;
    Byte told;
    Byte kills;
    Byte shortenings;
    Byte replacements;
    Byte reader;  // The steps that a new process has made.
    Byte readerJournal;
    Byte view;
    Byte required;
    friend bool operator==(const State&, const State&) = default;
  };

  Variant variant = Variant::asWritten;
  Bounds bounds = {};

  [[nodiscard]] State initial() const {
    State state{};
    for (Journal& file : state.files) file.predecessor = none;
    for (Process& process : state.all) {
      process.memory = oldValue;
      process.isFollowed = 1;
      process.former = none;
    }
    state.count = 1;
    state.old = state.directoryOwner = none;
    state.list = oldValue;
    state.acknowledged = oldValue;
    return state;
  }

  template <typename Emit>
  void steps(const State& state, Emit emit) const {
    if (state.told != 0) return;  // Nothing more can be lost untold.
    for (std::size_t i = 0; i < processes; ++i) move(state, i, emit);
    if (bounds.isRead) read(state, emit);
    if (bounds.isShortened && state.shortenings == 0) {
      for (const Byte isHeadless : {Byte{0}, Byte{1}}) {
        State next = state;
        next.shortenings = 1;
        next.files[state.path].records = 0;
        next.files[state.path].isHeadless = isHeadless;
        emit(isHeadless != 0 ? "the journal is emptied" : "the journal loses its records", next);
      }
    }
    if (bounds.isListReplaced && state.replacements == 0) {
      State next = state;
      next.replacements = 1;
      next.list |= foreignValue;
      next.hasForeignList = 1;
      emit("the list is replaced", next);
    }
  }

  /// A new process, which reads without a lock.
  template <typename Emit>
  void read(const State& state, Emit& emit) const {
    State next = state;
    ++next.reader;
    const bool isListFirst = variant == Variant::readsListFirst;
    if (state.reader == 0) {
      next.readerJournal = state.path;
      next.required = state.acknowledged;
      return emit("the reader opens the journal", next);
    }
    if (state.reader == (isListFirst ? 2 : 1)) {
      next.view |= state.old != none ? state.files[state.old].records : Byte{0};
      return emit("the reader reads the old journal", next);
    }
    if (state.reader == (isListFirst ? 1 : 2)) {
      next.view |= state.list;
      return emit("the reader reads the list", next);
    }
    if (state.reader != 3) return;
    next.view |= state.files[state.readerJournal].records;
    next.told |= state.files[state.readerJournal].isHeadless;
    emit("the reader reads the journal", next);
  }

  template <typename Emit>
  void move(const State& state, std::size_t index, Emit& emit) const {
    const Process& process = state.all[index];
    if (process.at == At::dead) return;
    const std::string name = "process " + std::to_string(index);
    if (bounds.isKilled && state.kills == 0) {
      State next = state;
      next.kills = 1;
      release(next, index);
      if (next.directoryOwner == index) next.directoryOwner = none;
      next.all[index].at = At::dead;
      emit(name + " is killed", next);
    }
    State next = state;
    if (process.at == At::idle) return begin(next, index, name, emit);
    if (advance(next, index)) emit(name + " " + nameOf(process.at), next);
  }

  template <typename Emit>
  void begin(State next, std::size_t index, const std::string& name, Emit& emit) const {
    Process& process = next.all[index];
    const auto start = [&](Purpose purpose, const std::string& text) {
      process.purpose = purpose;
      process.at = At::locks;
      emit(name + text, next);
    };
    if (index != checkpointer && process.written == 0) {
      start(Purpose::write, " writes");
    } else if (index == checkpointer && next.checkpoints == 0 && next.directoryOwner == none) {
      next.directoryOwner = static_cast<Byte>(index);
      start(Purpose::beginCheckpoint, " begins a checkpoint");
    } else if (process.journal != next.path || isOverwritten(next, process) || process.pending != 0) {
      start(Purpose::look, " is woken");  // By the watch of the directory.
    }
  }

  static std::string nameOf(At at) {
    constexpr std::array names{"is idle", "locks",   "looks",           "appends",       "checks",
                               "links",   "rotates", "writes the list", "puts the list", "removes the old journal",
                               "is dead"};
    return names[static_cast<std::size_t>(at)];
  }

  [[nodiscard]] static bool isOverwritten(const State& state, const Process& process) {
    const Journal& file = state.files[process.journal];
    return file.isHeadless != 0 || (process.seen & ~file.records) != 0;
  }
  static void release(State& state, std::size_t index) {
    for (Journal& file : state.files) {
      file.holders &= static_cast<Byte>(~(1U << index));
      if (file.owner == index) file.owner = none;
    }
  }
  /// False if the lock is not free.
  static bool lock(State& state, std::size_t index, bool isExclusive) {
    Journal& file = state.files[state.all[index].journal];
    const Byte own = static_cast<Byte>(1U << index);
    if (file.owner != none && file.owner != index) return false;
    if (isExclusive && (file.holders & ~own) != 0) return false;
    if (isExclusive) file.owner = static_cast<Byte>(index);
    if (!isExclusive) file.holders |= own;
    return true;
  }
  static void leave(State& state, std::size_t index, At at) {
    release(state, index);
    state.all[index].at = at;
  }
  static Byte addJournal(State& state, const Journal& journal) {
    state.files[state.count] = journal;
    return state.count++;
  }

  /// Makes the process's next step; false if it must wait.
  [[nodiscard]] bool advance(State& state, std::size_t index) const {
    Process& process = state.all[index];
    Journal& file = state.files[process.journal];
    switch (process.at) {
      case At::locks:
        if (process.isFollowed == 0) process.journal = state.path;  // It opens what stands there.
        process.at = At::looks;
        return lock(state, index, process.purpose >= Purpose::beginCheckpoint);
      case At::looks:
        look(state, index);
        return true;
      case At::appends:
        process.pending |= process.purpose == Purpose::write ? static_cast<Byte>(1U << index) : Byte{0};
        file.records |= process.pending;
        process.at = At::checks;
        return true;
      case At::checks:
        check(state, index);
        return true;
      case At::links:
        state.old = process.journal;
        process.at = At::rotates;
        return true;
      case At::rotates: {
        state.snapshot = process.memory;
        state.path =
            addJournal(state, {.records = 0, .isHeadless = 0, .lineage = file.lineage, .predecessor = process.journal});
        process.journal = state.path;
        process.seen = 0;
        leave(state, index, At::writesList);
        return true;
      }
      case At::writesList:
        if (variant == Variant::removesOldJournalEarly) state.old = none;
        process.purpose = Purpose::endCheckpoint;
        process.at = At::locks;
        return true;
      case At::puts:
        // Another program's list that comes in this moment is adopted from the file that the exchange returns.
        if (state.hasForeignList != 0) adopt(state, process);
        state.list = state.snapshot;
        leave(state, index, At::removes);
        return true;
      case At::removes:
        state.old = none;
        endCheckpoint(state, index);
        return true;
      default:
        return false;
    }
  }

  static void adopt(State& state, Process& process) {
    state.files[process.journal].records |= foreignValue;
    process.memory |= foreignValue;
    process.seen |= foreignValue;
    state.hasForeignList = 0;
  }

  static void endCheckpoint(State& state, std::size_t index) {
    Process& process = state.all[index];
    const bool isAgain = state.hadOld != 0 || state.isOutdated != 0;
    state.hadOld = state.isOutdated = 0;
    process.purpose = isAgain ? Purpose::beginCheckpoint : Purpose::look;
    process.at = isAgain ? At::locks : At::idle;
    if (isAgain) return;
    state.directoryOwner = none;
    state.checkpoints = 1;
  }

  /// Under the lock: the journal is still the same, or another one is followed, or a lost one is restored.
  void look(State& state, std::size_t index) const {
    Process& process = state.all[index];
    const Journal& file = state.files[process.journal];
    if (process.journal != state.path) {
      process.hasLost = isOverwritten(state, process) && variant != Variant::trustsRotation ? 1 : 0;
      process.memory |= file.records;
      process.former = process.journal;
      process.isFollowed = 0;
      return leave(state, index, At::locks);
    }
    const bool isLost = file.isHeadless != 0 || (process.isFollowed != 0 && isOverwritten(state, process));
    if (isLost) return restore(state, index);
    if (process.isFollowed == 0) follow(state, index);
    process.memory |= file.records;
    process.seen |= file.records;
    goOn(state, index);
  }

  static void follow(State& state, std::size_t index) {
    Process& process = state.all[index];
    const Journal& file = state.files[process.journal];
    const Byte stored = state.list | (state.old != none ? state.files[state.old].records : Byte{0}) | file.records;
    process.isFollowed = 1;
    process.seen = 0;
    const bool continues = file.lineage == state.files[process.former].lineage && process.hasLost == 0;
    process.hasLost = 0;
    if (continues && file.predecessor == process.former) return;
    if (!continues) {
      state.told = 1;
      process.pending |= static_cast<Byte>(process.memory & ~stored & ~foreignValue);
    }
    process.memory |= stored;
    if (index == checkpointer) state.isOutdated = 1;
  }

  /// Puts a journal of a new lineage in place. Needs the exclusive lock.
  static void restore(State& state, std::size_t index) {
    Process& process = state.all[index];
    if (!lock(state, index, true)) return leave(state, index, At::locks);
    state.told = 1;
    const Byte known = static_cast<Byte>(process.memory & ~state.list);
    state.path =
        addJournal(state, {.records = known, .isHeadless = 0, .lineage = state.count, .predecessor = process.journal});
    process.former = process.journal;
    process.isFollowed = 0;
    leave(state, index, At::locks);
  }

  static void goOn(State& state, std::size_t index) {
    Process& process = state.all[index];
    const bool isCheckpoint = process.purpose >= Purpose::beginCheckpoint;
    if (process.pending != 0 || process.purpose == Purpose::write) {
      process.at = At::appends;
      return;
    }
    if (!isCheckpoint) return leave(state, index, At::idle);
    if (state.hasForeignList != 0) adopt(state, process);
    if (process.purpose == Purpose::endCheckpoint) {
      if (state.isOutdated == 0) {
        process.at = At::puts;
        return;
      }
      release(state, index);
      return endCheckpoint(state, index);
    }
    state.isOutdated = 0;
    state.hadOld = state.old != none ? 1 : 0;
    process.at = At::links;
    if (state.hadOld == 0) return;
    state.snapshot = state.list | state.files[state.old].records;
    leave(state, index, At::writesList);
  }

  void check(State& state, std::size_t index) const {
    Process& process = state.all[index];
    const Journal& file = state.files[process.journal];
    const bool isCompared = variant != Variant::trustsGrowth;
    if (file.isHeadless != 0 || (isCompared && isOverwritten(state, process)) ||
        (process.pending & ~file.records) != 0) {
      return leave(state, index, At::locks);  // Once more, in the journal that is restored first.
    }
    process.memory |= process.pending | file.records;
    process.seen = variant == Variant::trustsGrowth ? file.records : static_cast<Byte>(process.seen | file.records);
    process.pending = 0;
    if (process.purpose == Purpose::write) {
      process.written = 1;
      state.acknowledged |= static_cast<Byte>(1U << index);
    }
    if (process.purpose >= Purpose::beginCheckpoint) return goOn(state, index);
    leave(state, index, At::idle);
  }

  [[nodiscard]] std::string wrong(const State& state) const {
    if (state.count >= journals - 1) return "too many journals";
    if (state.reader == 4 && (state.required & ~state.view) != 0) {
      return "a new process misses a write that no status names";
    }
    const bool isAtRest = std::ranges::all_of(
        state.all, [](const Process& process) { return process.at == At::idle || process.at == At::dead; });
    if (!isAtRest || state.told != 0) return {};
    const bool isBusy = std::ranges::any_of(state.all, [&](const Process& process) {
      return process.at == At::idle && (process.journal != state.path || isOverwritten(state, process));
    });
    if (isBusy || state.files[state.path].isHeadless != 0) return {};
    const Byte stored =
        state.list | state.files[state.path].records | (state.old != none ? state.files[state.old].records : Byte{0});
    const bool hasWitness = std::ranges::any_of(state.all, [&](const Process& process) {
      return process.at != At::dead && (state.acknowledged & ~process.memory) == 0;
    });
    const bool isLost = (state.acknowledged & ~stored) != 0;
    if (isLost && (hasWitness || state.shortenings == 0)) return "a write is lost that no status names";
    if (state.replacements != 0 && (stored & foreignValue) == 0) return "the change of another program is lost";
    return {};
  }
  [[nodiscard]] bool mayEnd(const State& state) const {
    return state.told != 0 || std::ranges::all_of(state.all, [](const Process& process) {
             return process.at == At::idle || process.at == At::dead;
           });
  }
};

void expectNoViolation(const StoreModel::Bounds& bounds) {
  const Exploration result = explore(StoreModel{.bounds = bounds});
  EXPECT_EQ(result.violation, "") << result.description();
  EXPECT_GT(result.states, 5'000U);
  std::cout << result.states << " states\n";
}

TEST(StoreModel, KilledProcessLosesNothing) { expectNoViolation({.isKilled = true, .isListReplaced = true}); }

TEST(StoreModel, NewProcessReadsEveryAcknowledgedWrite) { expectNoViolation({.isKilled = true, .isRead = true}); }

TEST(StoreModel, ShortenedJournalLosesNothingUntold) { expectNoViolation({.isKilled = true, .isShortened = true}); }

TEST(StoreModel, CatchesAListThatIsReadBeforeTheOldJournal) {
  const Exploration result =
      explore(StoreModel{.variant = StoreModel::Variant::readsListFirst, .bounds = {.isRead = true}});
  EXPECT_EQ(result.violation, "a new process misses a write that no status names");
}

TEST(StoreModel, CatchesAnOldJournalThatIsRemovedEarly) {
  const Exploration result =
      explore(StoreModel{.variant = StoreModel::Variant::removesOldJournalEarly, .bounds = {.isKilled = true}});
  EXPECT_NE(result.violation, "");
}

TEST(StoreModel, CatchesTrustInTheSuccessorOfAShortenedJournal) {
  const Exploration result =
      explore(StoreModel{.variant = StoreModel::Variant::trustsRotation, .bounds = {.isShortened = true}});
  EXPECT_EQ(result.violation, "a write is lost that no status names");
}

TEST(StoreModel, CatchesTrustInAJournalThatHasGrown) {
  const Exploration result = explore(
      StoreModel{.variant = StoreModel::Variant::trustsGrowth, .bounds = {.isKilled = true, .isShortened = true}});
  EXPECT_EQ(result.violation, "a write is lost that no status names");
}

}  // namespace
}  // namespace Tessaly::Tests
