// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Logging/LogRing.hpp"

#include <sched.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <new>
#include <utility>

#include "Tessaly/Core/Base/detail/Futex.hpp"

namespace Tessaly::inline v1 {
namespace {

constexpr std::size_t smallestCapacity = 4096;
constexpr std::size_t longestMessage = 32'768;
constexpr std::size_t longestName = 512;
constexpr std::size_t bytesReadAtOnce = 8'192;
constexpr std::uint8_t noSignpost = 0xFF;

constexpr std::size_t alignUp(std::size_t size) noexcept { return (size + 7) & ~std::size_t{7}; }

std::string_view name(std::string_view text) noexcept { return text.substr(0, longestName); }

}  // namespace

// The header before a record's texts, which are the message, file, function and signpost name. Records start at
// multiples of 8 and do not wrap around the end of the block. A filler takes up the unused end of the block. It
// consists of the first two members only.
struct LogRing::Header {
  std::uint32_t size;
  bool isFiller;
  OSLogType type;
  std::uint8_t signpostKind;
  std::uint32_t messageLength;
  std::uint16_t fileLength;
  std::uint16_t functionLength;
  std::uint16_t nameLength;
  std::uint32_t line;
  std::int32_t processIdentifier;
  std::uint32_t threadIdentifier;
  std::int64_t time;
  std::uint64_t signpostID;
  detail::LogIdentity* identity;
};

LogChunk::LogChunk()
    : bytes_(new std::byte[std::max(bytesReadAtOnce,
                                    alignUp(sizeof(LogRing::Header) + longestMessage + 3 * longestName))]) {}

std::optional<StoredLogRecord> LogChunk::next() noexcept {
  if (at_ >= size_) return std::nullopt;
  LogRing::Header header;
  std::memcpy(&header, bytes_.get() + at_, sizeof(header));
  const char* text = reinterpret_cast<const char*>(bytes_.get() + at_ + sizeof(header));
  at_ += header.size;
  cursor_.position += header.size;
  ++cursor_.sequence;
  const auto take = [&text](std::size_t length) {
    return std::string_view(std::exchange(text, text + length), length);
  };
  StoredLogRecord record{.time = LogTime(std::chrono::nanoseconds(header.time)),
                         .type = header.type,
                         .log = OSLog(header.identity),
                         .processIdentifier = header.processIdentifier,
                         .threadIdentifier = header.threadIdentifier,
                         .message = take(header.messageLength),
                         .file = take(header.fileLength),
                         .function = take(header.functionLength),
                         .line = header.line,
                         .signpost = {}};
  if (header.signpostKind != noSignpost) {
    record.signpost = LogSignpost{.kind = static_cast<LogSignpostKind>(header.signpostKind),
                                  .id = header.signpostID,
                                  .name = take(header.nameLength)};
  }
  return record;
}

LogCursor LogChunk::cursor() const noexcept { return cursor_; }

LogRing::LogRing(std::size_t capacityInBytes)
    : capacity_(std::bit_floor(std::max(capacityInBytes, smallestCapacity))),
      maximumMessageBytes_(std::min(longestMessage, capacity_ / 8)),
      bytes_(new std::byte[capacity_]) {}

LogRing::Header& LogRing::headerAt(std::uint64_t position) const noexcept {
  return *std::launder(reinterpret_cast<Header*>(bytes_.get() + (position & (capacity_ - 1))));
}

void LogRing::evictFor(std::size_t size) noexcept {
  const std::uint64_t tail = tail_.load(std::memory_order_relaxed);
  std::uint64_t head = head_.load(std::memory_order_relaxed);
  std::uint64_t evicted = evicted_.load(std::memory_order_relaxed);
  if (tail + size - head <= capacity_) return;
  while (tail + size - head > capacity_) {
    const Header& oldest = headerAt(head);
    if (!oldest.isFiller) ++evicted;
    head += oldest.size;
  }
  evicted_.store(evicted, std::memory_order_relaxed);
  head_.store(head, std::memory_order_release);
}

void LogRing::append(const LogRecord& record) noexcept {
  const std::string_view file = name(record.location.file);
  const std::string_view function = name(record.location.function);
  const std::string_view signpostName = record.signpost ? name(record.signpost->name) : std::string_view();
  const std::size_t namesLength = file.size() + function.size() + signpostName.size();
  const std::size_t messageLimit = std::min(record.composedLengthLimit(), maximumMessageBytes_);
  const std::size_t sizeLimit = alignUp(sizeof(Header) + messageLimit + namesLength);

  const UnfairLock::Guard guard(lock_);
  const std::size_t room = capacity_ - (tail_.load(std::memory_order_relaxed) & (capacity_ - 1));
  if (room < sizeLimit) {
    evictFor(room);
    const std::uint64_t tail = tail_.load(std::memory_order_relaxed);
    Header& filler = headerAt(tail);
    filler.size = static_cast<std::uint32_t>(room);
    filler.isFiller = true;
    tail_.store(tail + room, std::memory_order_release);
  }
  evictFor(sizeLimit);

  const std::uint64_t tail = tail_.load(std::memory_order_relaxed);
  Header& header = headerAt(tail);
  char* const texts = reinterpret_cast<char*>(&header) + sizeof(Header);
  const std::size_t messageLength = record.compose(texts, messageLimit);
  char* out = texts + messageLength;
  for (const auto text : {file, function, signpostName}) {
    out = std::copy(text.begin(), text.end(), out);
  }
  header = {.size = static_cast<std::uint32_t>(alignUp(sizeof(Header) + messageLength + namesLength)),
            .isFiller = false,
            .type = record.type,
            .signpostKind = record.signpost ? static_cast<std::uint8_t>(record.signpost->kind) : noSignpost,
            .messageLength = static_cast<std::uint32_t>(messageLength),
            .fileLength = static_cast<std::uint16_t>(file.size()),
            .functionLength = static_cast<std::uint16_t>(function.size()),
            .nameLength = static_cast<std::uint16_t>(signpostName.size()),
            .line = record.location.line,
            .processIdentifier = record.processIdentifier,
            .threadIdentifier = record.threadIdentifier,
            .time = record.time.time_since_epoch().count(),
            .signpostID = record.signpost ? record.signpost->id : 0,
            .identity = record.log.identity_};
  tail_.store(tail + header.size, std::memory_order_release);
  appended_.store(appended_.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
}

LogCursor LogRing::begin() const noexcept {
  const UnfairLock::Guard guard(lock_);
  return {head_.load(std::memory_order_relaxed), evicted_.load(std::memory_order_relaxed)};
}

LogCursor LogRing::end() const noexcept {
  const UnfairLock::Guard guard(lock_);
  return {tail_.load(std::memory_order_relaxed), appended_.load(std::memory_order_relaxed)};
}

bool LogRing::read(LogCursor& cursor, const LogCursor& end, LogChunk& chunk) const noexcept {
  chunk.size_ = 0;
  chunk.at_ = 0;
  chunk.lostRecords_ = 0;
  {
    const UnfairLock::Guard guard(lock_);
    const std::uint64_t head = head_.load(std::memory_order_relaxed);
    if (cursor.position < head) {
      const std::uint64_t evicted = evicted_.load(std::memory_order_relaxed);
      chunk.lostRecords_ = evicted - std::min(evicted, cursor.sequence);
      cursor = {head, evicted};
    }
    if (cursor.position < end.position && headerAt(cursor.position).isFiller) {
      cursor.position += headerAt(cursor.position).size;
    }
    chunk.cursor_ = cursor;
    if (cursor.position >= end.position) return chunk.lostRecords_ > 0;
    const std::size_t firstSize = headerAt(cursor.position).size;
    const std::size_t untilWrap = capacity_ - (cursor.position & (capacity_ - 1));
    const std::size_t available = std::min<std::uint64_t>(untilWrap, end.position - cursor.position);
    chunk.size_ = std::min(available, std::max(firstSize, bytesReadAtOnce));
    std::memcpy(chunk.bytes_.get(), &headerAt(cursor.position), chunk.size_);
  }
  // The chunk keeps only whole records.
  std::size_t at = 0;
  std::uint64_t count = 0;
  while (chunk.size_ - at >= sizeof(std::uint64_t)) {
    Header header;
    std::memcpy(&header, chunk.bytes_.get() + at, std::min(sizeof(header), chunk.size_ - at));
    if (header.isFiller || header.size > chunk.size_ - at) break;
    at += header.size;
    ++count;
  }
  chunk.size_ = at;
  cursor.position += at;
  cursor.sequence += count;
  return true;
}

std::size_t LogRing::usedBytes() const noexcept {
  const UnfairLock::Guard guard(lock_);
  return tail_.load(std::memory_order_relaxed) - head_.load(std::memory_order_relaxed);
}

bool LogRing::isLockObtainable() const noexcept {
  for (int attempt = 0; attempt < 100; ++attempt) {
    if (lock_.lockIfAvailable()) {
      lock_.unlock();
      return true;
    }
    ::sched_yield();
  }
  return false;
}

void LogRing::resetAfterFork() noexcept { new (&lock_) UnfairLock; }

}  // namespace Tessaly::inline v1
