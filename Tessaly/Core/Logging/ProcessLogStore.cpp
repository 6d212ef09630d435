// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Logging/ProcessLogStore.hpp"

#include <algorithm>
#include <utility>

namespace Tessaly::inline v1 {

namespace {

// Threads read the clock before they take the ring's lock, so neighbouring records may be out of order. The clock may
// also have been set back.
void sortByDate(std::vector<LogEntry>& entries) {
  if (std::ranges::is_sorted(entries, {}, &LogEntry::date)) return;
  std::vector<std::pair<LogTime, std::size_t>> order;
  order.reserve(entries.size());
  for (const auto& entry : entries) order.emplace_back(entry.date, order.size());
  std::ranges::sort(order);
  std::vector<LogEntry> sorted;
  sorted.reserve(entries.size());
  for (const auto& [date, index] : order) sorted.push_back(std::move(entries[index]));
  entries = std::move(sorted);
}

}  // namespace

LogEntry::Level LogEntry::level() const noexcept {
  switch (type) {
    case OSLogType::debug:
      return Level::debug;
    case OSLogType::info:
      return Level::info;
    case OSLogType::default_:
      return Level::notice;
    case OSLogType::error:
      return Level::error;
    case OSLogType::fault:
      return Level::fault;
  }
  return Level::undefined;
}

std::vector<LogEntry> ProcessLogStore::entries(LogTime since) const {
  std::vector<LogEntry> entries;
  LogChunk chunk;
  const LogCursor end = ring_.end();
  for (auto cursor = ring_.begin(); ring_.read(cursor, end, chunk);) {
    while (const auto record = chunk.next()) {
      if (record->time < since) continue;
      entries.push_back({.date = record->time,
                         .type = record->type,
                         .log = record->log,
                         .composedMessage = std::string(record->message),
                         .processIdentifier = record->processIdentifier,
                         .threadIdentifier = record->threadIdentifier,
                         .signpost = {}});
      if (const auto& signpost = record->signpost) {
        entries.back().signpost = LogEntry::Signpost{signpost->kind, signpost->id, std::string(signpost->name)};
      }
    }
  }
  sortByDate(entries);
  return entries;
}

}  // namespace Tessaly::inline v1
