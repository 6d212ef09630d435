// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Testing/RecordingLogBackend.hpp"

#include <utility>

namespace Tessaly::inline v1 {

RecordingLogBackend::RecordingLogBackend(Store store) {
  if (store == Store::kept) store_.emplace();
}

RecordingLogBackend::~RecordingLogBackend() = default;

std::vector<RecordedLog> RecordingLogBackend::records() const {
  const UnfairLock::Guard guard(lock_);
  return records_;
}

std::vector<std::string> RecordingLogBackend::messages() const {
  const UnfairLock::Guard guard(lock_);
  std::vector<std::string> messages;
  messages.reserve(records_.size());
  for (const auto& record : records_) messages.push_back(record.composedMessage);
  return messages;
}

std::size_t RecordingLogBackend::flushCount() const noexcept {
  const UnfairLock::Guard guard(lock_);
  return flushCount_;
}

void RecordingLogBackend::write(const LogRecord& record) noexcept {
  if (store_) store_->append(record);
  RecordedLog recorded{.time = record.time,
                       .type = record.type,
                       .subsystem = record.log.subsystem(),
                       .category = record.log.category(),
                       .processIdentifier = record.processIdentifier,
                       .threadIdentifier = record.threadIdentifier,
                       .format = std::string(record.format),
                       .arguments = {},
                       .composedMessage = record.composedMessage(),
                       .file = record.location.file,
                       .function = record.location.function,
                       .line = record.location.line,
                       .signpost = {}};
  for (const auto& argument : record.arguments) {
    recorded.arguments.push_back({std::string(argument.text), argument.privacy});
  }
  if (const auto& signpost = record.signpost) {
    recorded.signpost = LogEntry::Signpost{signpost->kind, signpost->id, std::string(signpost->name)};
  }
  const UnfairLock::Guard guard(lock_);
  records_.push_back(std::move(recorded));
}

void RecordingLogBackend::flush(std::chrono::nanoseconds) noexcept {
  const UnfairLock::Guard guard(lock_);
  ++flushCount_;
}

const ProcessLogStore* RecordingLogBackend::store() const noexcept { return store_ ? &*store_ : nullptr; }

}  // namespace Tessaly::inline v1
