// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Logging/OSLog.hpp"

#include <array>
#include <functional>
#include <memory>

#include "Tessaly/Core/Logging/LogConfiguration.hpp"
#include "Tessaly/Core/Logging/detail/WellFormed.hpp"

namespace Tessaly::inline v1 {
namespace {

constexpr std::uint32_t enabledAtFirst = detail::logTypeBit(OSLogType::default_) |
                                         detail::logTypeBit(OSLogType::error) | detail::logTypeBit(OSLogType::fault) |
                                         detail::signpostBit;

constinit std::atomic<std::uint32_t> processEnabled{enabledAtFirst};

// A hash table that only grows. It has no lock, so the child of a fork can always use it.
constinit std::array<std::atomic<detail::LogIdentity*>, 128> buckets{};

// Computes the value again until neither input changes during the computation. So the last write to either input always
// counts.
void updateEnabled(detail::LogIdentity& identity) noexcept {
  std::uint32_t process;
  std::uint32_t overrides;
  do {
    process = processEnabled.load();
    overrides = identity.overrides.load();
    const std::uint32_t mask = overrides >> 16;
    identity.enabled.store((process & ~mask) | (overrides & mask));
  } while (process != processEnabled.load() || overrides != identity.overrides.load());
}

void setProcessBit(std::uint32_t bit, LogSwitch state) noexcept {
  if (state == LogSwitch::on) {
    processEnabled.fetch_or(bit);
  } else {
    processEnabled.fetch_and(~bit);
  }
  for (auto& bucket : buckets) {
    for (auto* identity = bucket.load(); identity != nullptr; identity = identity->next) updateEnabled(*identity);
  }
}

}  // namespace

detail::LogIdentity& detail::internLog(std::string_view subsystem, std::string_view category) {
  if (wellFormedPrefix(subsystem) < subsystem.size() || wellFormedPrefix(category) < category.size()) {
    return internLog(wellFormed(subsystem), wellFormed(category));
  }
  const std::size_t hash = std::hash<std::string_view>()(subsystem) * 31 + std::hash<std::string_view>()(category);
  auto& bucket = buckets[hash % buckets.size()];
  std::unique_ptr<LogIdentity> fresh;
  LogIdentity* first = bucket.load();
  LogIdentity* searchedUpTo = nullptr;
  for (;;) {
    for (auto* identity = first; identity != searchedUpTo; identity = identity->next) {
      if (identity->subsystem == subsystem && identity->category == category) return *identity;
    }
    if (fresh == nullptr) {
      fresh = std::make_unique<LogIdentity>(std::string(subsystem), std::string(category));
      updateEnabled(*fresh);
    }
    searchedUpTo = first;
    fresh->next = first;
    if (bucket.compare_exchange_strong(first, fresh.get())) break;
  }
  // A change of the process's types may have missed this log, because the log was not in the table yet.
  updateEnabled(*fresh);
  return *fresh.release();
}

struct LogConfigurationAccess {
  static void override(const OSLog& log, std::uint32_t bit, LogSwitch state) noexcept {
    auto& overrides = log.identity_->overrides;
    std::uint32_t old = overrides.load();
    std::uint32_t changed;
    do {
      changed = (old | (bit << 16)) & ~bit;
      if (state == LogSwitch::on) changed |= bit;
    } while (!overrides.compare_exchange_weak(old, changed));
    updateEnabled(*log.identity_);
  }

  static void reset(const OSLog& log) noexcept {
    log.identity_->overrides.store(0);
    updateEnabled(*log.identity_);
  }
};

void LogConfiguration::setEnabled(OSLogType type, LogSwitch state) noexcept {
  setProcessBit(detail::logTypeBit(type), state);
}

void LogConfiguration::setEnabled(const OSLog& log, OSLogType type, LogSwitch state) noexcept {
  LogConfigurationAccess::override(log, detail::logTypeBit(type), state);
}

void LogConfiguration::setSignpostsEnabled(LogSwitch state) noexcept { setProcessBit(detail::signpostBit, state); }

void LogConfiguration::setSignpostsEnabled(const OSLog& log, LogSwitch state) noexcept {
  LogConfigurationAccess::override(log, detail::signpostBit, state);
}

void LogConfiguration::resetEnabled(const OSLog& log) noexcept { LogConfigurationAccess::reset(log); }

}  // namespace Tessaly::inline v1
