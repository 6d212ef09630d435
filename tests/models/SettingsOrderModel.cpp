// SPDX-License-Identifier: MIT
#include "tests/models/SettingsOrderModel.hpp"

namespace Tessaly::Tests {

OrderModel::State OrderModel::initial() const {
  State state{};
  state.writes = state.returned = 1;
  state.owner = none;
  return state;
}

bool OrderModel::advance(State& state, std::size_t index) const {
  Process& process = state.all[index];
  switch (process.at) {
    case At::locks:
      process.at = At::reads;
      return lock(state, index);
    case At::reads:
      read(state, index);
      decide(state, index);
      return true;
    case At::appends:
      append(state, process.purpose == Purpose::write ? process.current : process.unstored);
      process.at = At::checks;
      return true;
    case At::checks:
      process.unstored = 0;
      process.seen = state.count;
      if (process.purpose == Purpose::write) {
        finishWrite(state, index);
      } else {
        leave(state, index, At::idle);
      }
      return true;
    default:
      return advanceCheckpoint(state, process);
  }
}

bool OrderModel::advanceCheckpoint(State& state, Process& process) const {
  Directory& directory = state.latest;
  switch (process.at) {
    case At::rotates:
      state.snapshot = storedValue(state);
      directory.journal = {.begin = state.count};
      leave(state, checkpointer, At::writesList);
      return true;
    case At::writesList:
      process.purpose = Purpose::endCheckpoint;
      process.at = At::locks;
      return true;
    case At::puts:
      state.latest.list = state.snapshot;
      leave(state, checkpointer, variant == Variant::removesLast ? At::waits : At::removes);
      return true;
    case At::removes:
      directory.hasOld = 0;
      process.at = variant == Variant::removesLast ? At::idle : At::waits;
      return true;
    case At::waits:
      state.synchronized = directory;
      ++state.checkpoints;
      process.at = variant == Variant::removesLast ? At::removes : At::idle;
      return true;
    default:
      return false;
  }
}

bool OrderModel::lock(State& state, std::size_t index) const {
  const Purpose purpose = state.all[index].purpose;
  const bool isShared =
      purpose == Purpose::write || (purpose == Purpose::store && variant == Variant::storesUnderSharedLock);
  if (state.owner != none || (!isShared && state.shared != 0)) return false;
  if (isShared) state.shared |= static_cast<Byte>(1U << index);
  if (!isShared) state.owner = static_cast<Byte>(index);
  return true;
}

void OrderModel::leave(State& state, std::size_t index, At at) {
  state.shared &= static_cast<Byte>(~(1U << index));
  if (state.owner == index) state.owner = none;
  state.all[index].at = at;
}

void OrderModel::finishWrite(State& state, std::size_t index) {
  state.returned |= static_cast<Byte>(1U << state.all[index].current);
  leave(state, index, At::idle);
}

void OrderModel::read(State& state, std::size_t index) const {
  Process& process = state.all[index];
  if (process.seen < state.count && process.unstored != 0 && variant != Variant::storesOverNewer) {
    state.returned &= static_cast<Byte>(~(1U << process.unstored));
    process.unstored = 0;
  }
  process.seen = state.count;
}

void OrderModel::decide(State& state, std::size_t index) const {
  Process& process = state.all[index];
  if (process.purpose >= Purpose::adopt && state.hasForeignList != 0) adopt(state, process);
  switch (process.purpose) {
    case Purpose::write:
      process.at = At::appends;
      return;
    case Purpose::store:
      if (process.unstored == 0) return leave(state, index, At::idle);
      process.at = At::appends;
      return;
    case Purpose::adopt:
      return leave(state, index, At::idle);
    case Purpose::beginCheckpoint:
      if (state.latest.journal.begin == state.count) return leave(state, index, At::waits);
      state.latest.hasOld = 1;
      state.latest.old = {.begin = state.latest.journal.begin, .end = state.count};
      process.at = At::rotates;
      return;
    case Purpose::endCheckpoint:
      process.at = At::puts;
      return;
  }
}

void OrderModel::adopt(State& state, Process& process) const {
  state.hasForeignList = 0;
  const bool hasChanged = storedValue(state) != state.latest.list;
  const bool isMistaken = variant == Variant::comparesWithUnstored && process.unstored != 0 && !hasChanged;
  if (!isMistaken) return;
  append(state, state.latest.list);
  process.unstored = 0;
  process.seen = state.count;
}

Byte OrderModel::storedValue(const State& state) {
  return replayed(state, state.latest, [](const File& file, Byte count) { return std::min(file.end, count); });
}

Byte OrderModel::fileEnd(const State& state, const File& file) {
  return file.begin < state.latest.journal.begin ? std::min(file.end, state.latest.journal.begin) : file.end;
}

bool OrderModel::isReplaced(const State& state, Byte value, Byte among) {
  for (Byte write = 1; write < state.writes; ++write) {
    if (((among >> write) & 1) != 0 && ((state.earlier[write] >> value) & 1) != 0) return true;
  }
  return false;
}

std::string OrderModel::wrong(const State& state) const {
  if (state.count >= maximumLog - 1) return "too long a log";
  if (state.isCut != 0) {
    const bool isOlder = isReplaced(state, state.left, static_cast<Byte>(1U << state.synchronized.list));
    return isOlder ? "a power cut replaces a synchronized value by an earlier one" : "";
  }
  if (!mayEnd(state)) return {};
  return isReplaced(state, storedValue(state), state.returned) ? "an earlier write replaces a later one" : "";
}

bool OrderModel::mayEnd(const State& state) const {
  return state.isCut != 0 || (state.hasForeignList == 0 && std::ranges::all_of(state.all, [](const Process& process) {
                                return process.at == At::idle && process.unstored == 0;
                              }));
}
}  // namespace Tessaly::Tests
