// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace Tessaly::Tests {

using Byte = std::uint8_t;

/// The order of the writes of several processes to one key.
///
/// All journals are parts of one log of writes, because each begins where the former one ends. A process that has a
/// lock has the journal at the path; `SettingsStoreModelTests.cpp` explores how it finds that one. A write may find a
/// full disk, and then stays in memory until it is stored. Another program replaces the property list and leaves the
/// key as it is. A power cut keeps old or new entries of the directory, and of each journal any beginning.
///
/// A write is later than the writes that had returned when it began. A later write is never replaced by an earlier one.
/// There is one exception: a value that could not be stored, and whose loss the status names, gives way to any record
/// that another process adds meanwhile.
struct OrderModel {
  enum class Variant : Byte {
    asWritten,
    /// A value that could not be stored is stored under the shared lock.
    storesUnderSharedLock,
    /// A value that could not be stored is stored though another process has written the key since.
    storesOverNewer,
    /// A list of another program is compared with a value that could not be stored.
    comparesWithUnstored,
    /// A checkpoint waits for the directory before it removes the old journal.
    removesLast,
  };
  /// The number of each event.
  struct Bounds {
    Byte writes = 2;  // Of each process.
    Byte failures = 0;
    Byte checkpoints = 0;
    Byte replacements = 0;
    bool isCut = false;
  };
  enum class At : Byte { idle, locks, reads, appends, checks, rotates, writesList, puts, removes, waits };
  enum class Purpose : Byte { write, store, adopt, beginCheckpoint, endCheckpoint };

  static constexpr std::size_t writers = 2;
  static constexpr std::size_t checkpointer = writers;  // A third process.
  static constexpr std::size_t maximumLog = 10;
  static constexpr std::size_t maximumWrites = 5;  // The first one is the value at the beginning.
  static constexpr Byte none = 0xFF;

  /// The part of the log that is one journal file.
  struct File {
    Byte begin = 0;
    Byte end = none;  // The file grows.
    friend bool operator==(const File&, const File&) = default;
  };
  struct Directory {
    Byte list = 0;
    Byte hasOld = 0;
    File old;
    File journal;
    friend bool operator==(const Directory&, const Directory&) = default;
  };
  struct Process {
    At at;
    Purpose purpose;
    Byte seen;     // The part of the log that it has read.
    Byte current;  // Its present write.
    Byte unstored;
    Byte writes;
    friend bool operator==(const Process&, const Process&) = default;
  };
  struct State {
    std::array<Byte, maximumLog> log;
    Byte count;
    Directory latest;
    Directory synchronized;
    std::array<Process, writers + 1> all;
    Byte shared;  // The holders of the shared lock.
    Byte owner;   // Of the exclusive lock.
    Byte hasForeignList;
    Byte snapshot;
    std::array<Byte, maximumWrites> earlier;  // By write: the writes that had returned when it began.
    Byte writes;
    Byte returned;
    Byte failures;
    Byte checkpoints;
    Byte replacements;
    Byte isCut;
    Byte left;  // The value after the power cut.
    friend bool operator==(const State&, const State&) = default;
  };

  Variant variant = Variant::asWritten;
  Bounds bounds = {};

  [[nodiscard]] State initial() const;

  template <typename Emit>
  void steps(const State& state, Emit emit) const {
    if (state.isCut != 0) return;
    for (std::size_t i = 0; i <= checkpointer; ++i) {
      if (state.all[i].at == At::idle) {
        begin(state, i, emit);
      } else {
        goOn(state, i, emit);
      }
    }
    if (state.replacements < bounds.replacements && state.hasForeignList == 0) {
      State next = state;
      ++next.replacements;
      next.hasForeignList = 1;
      emit("the list is replaced", next);
    }
    if (bounds.isCut) cut(state, emit);
  }

  template <typename Emit>
  void begin(const State& state, std::size_t index, Emit& emit) const {
    const auto start = [&](Purpose purpose, const std::string& text) {
      State next = state;
      next.all[index].purpose = purpose;
      next.all[index].at = At::locks;
      if (purpose == Purpose::write) {
        ++next.all[index].writes;
        next.all[index].current = next.writes;
        next.earlier[next.writes++] = state.returned;
      }
      emit("process " + std::to_string(index) + text, next);
    };
    const Process& process = state.all[index];
    if (index == checkpointer) {
      if (state.checkpoints < bounds.checkpoints) start(Purpose::beginCheckpoint, " begins a checkpoint");
      return;
    }
    if (process.writes < bounds.writes) start(Purpose::write, " writes");
    if (process.unstored != 0) start(Purpose::store, " tries again");
    if (state.hasForeignList != 0) start(Purpose::adopt, " notices the list");
  }

  template <typename Emit>
  void goOn(const State& state, std::size_t index, Emit& emit) const {
    constexpr std::array names{"is idle",
                               "locks",
                               "reads",
                               "appends",
                               "checks",
                               "rotates",
                               "writes the list",
                               "puts the list",
                               "removes the old journal",
                               "waits"};
    const Process& process = state.all[index];
    const std::string name = "process " + std::to_string(index) + " ";
    if (process.at == At::appends && process.purpose == Purpose::write && state.failures < bounds.failures) {
      State next = state;
      ++next.failures;
      next.all[index].unstored = process.current;
      finishWrite(next, index);
      emit(name + "finds a full disk", next);
    }
    State next = state;
    if (advance(next, index)) emit(name + names[static_cast<std::size_t>(process.at)], next);
  }

  /// Makes the process's next step; false if it must wait.
  [[nodiscard]] bool advance(State& state, std::size_t index) const;

  [[nodiscard]] bool advanceCheckpoint(State& state, Process& process) const;

  /// False if the lock is not free.
  [[nodiscard]] bool lock(State& state, std::size_t index) const;
  static void leave(State& state, std::size_t index, At at);
  static void finishWrite(State& state, std::size_t index);
  static void append(State& state, Byte write) { state.log[state.count++] = write; }

  void read(State& state, std::size_t index) const;

  void decide(State& state, std::size_t index) const;

  /// Another program left the key in the list as it was. Its list differs from the known one if that is not known.
  void adopt(State& state, Process& process) const;

  [[nodiscard]] static Byte storedValue(const State& state);
  /// The value that a new process reads: the list, then the old journal, then the journal, each up to an end.
  template <typename End>
  [[nodiscard]] static Byte replayed(const State& state, const Directory& directory, End end) {
    Byte value = directory.list;
    const auto replay = [&](const File& file) {
      const Byte last = end(file, state.count);
      if (last > file.begin) value = state.log[last - 1U];
    };
    if (directory.hasOld != 0) replay(directory.old);
    replay(directory.journal);
    return value;
  }

  template <typename Emit>
  void cut(const State& state, Emit& emit) const {
    for (unsigned kept = 0; kept < 8; ++kept) {
      Directory directory = state.latest;
      if ((kept & 1) != 0) directory.list = state.synchronized.list;
      if ((kept & 2) != 0) directory.hasOld = state.synchronized.hasOld, directory.old = state.synchronized.old;
      if ((kept & 4) != 0) directory.journal = state.synchronized.journal;
      for (Byte oldEnd = 0; oldEnd <= state.count; ++oldEnd) {
        for (Byte journalEnd = 0; journalEnd <= state.count; ++journalEnd) {
          const auto end = [&](const File& file, Byte count) {
            const bool isJournal = file.begin == directory.journal.begin;  // Both names may lead to one file.
            return std::min({isJournal ? journalEnd : oldEnd, fileEnd(state, file), count});
          };
          State next = state;
          next.isCut = 1;
          next.left = replayed(state, directory, end);
          emit("the power fails", next);
        }
      }
    }
  }
  /// A journal whose successor stands at the path has ended.
  [[nodiscard]] static Byte fileEnd(const State& state, const File& file);

  /// Whether a later write than the value has returned.
  [[nodiscard]] static bool isReplaced(const State& state, Byte value, Byte among);

  [[nodiscard]] std::string wrong(const State& state) const;
  [[nodiscard]] bool mayEnd(const State& state) const;
};

}  // namespace Tessaly::Tests
