// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Formatters/TimeZone.hpp"

#include <time.h>
#include <unicode/timezone.h>
#include <unicode/unistr.h>

#include <atomic>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <ostream>

#include "Tessaly/Core/Base/detail/PerThread.hpp"
#include "Tessaly/Core/Locks/UnfairLock.hpp"

namespace Tessaly::inline v1 {
namespace {

constinit std::atomic<const TimeZone*> replaced = nullptr;

std::string identifierOf(const icu::TimeZone& zone) {
  icu::UnicodeString identifier;
  std::string text;
  return zone.getID(identifier).toUTF8String(text);
}

/// The present offset of local time from Greenwich, by the rules of the C library.
std::string presentDistance() {
  ::tzset();
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  ::localtime_r(&now, &local);
  const long minutes = local.tm_gmtoff / 60;
  const long magnitude = minutes < 0 ? -minutes : minutes;
  const auto twoDigits = [](long number) { return (number < 10 ? "0" : "") + std::to_string(number); };
  return (minutes < 0 ? "GMT-" : "GMT+") + twoDigits(magnitude / 60) + ":" + twoDigits(magnitude % 60);
}

/// The zone of the variable `TZ`. Null means that the variable is not set, so the zone of the system counts.
std::optional<TimeZone> zoneOf(const char* variable) {
  if (variable != nullptr) {
    const std::string_view name = variable;
    if (auto zone = TimeZone::from(name.substr(name.starts_with(':') ? 1 : 0))) return zone;
    return TimeZone::from(presentDistance());  // The variable spells out rules, which have no name.
  }
  static constinit UnfairLock lock;  // ICU keeps the system's zone if there is no variable.
  const UnfairLock::Guard guard(lock);
  const std::unique_ptr<icu::TimeZone> host(icu::TimeZone::detectHostTimeZone());
  return TimeZone::from(identifierOf(*host));
}

struct SystemZone {
  bool isKnown = false;
  std::string variable;
  std::optional<TimeZone> zone;
};

}  // namespace

std::optional<TimeZone> TimeZone::from(std::string_view identifier) {
  const std::unique_ptr<icu::TimeZone> zone(icu::TimeZone::createTimeZone(
      icu::UnicodeString::fromUTF8(icu::StringPiece(identifier.data(), static_cast<std::int32_t>(identifier.size())))));
  if (*zone == icu::TimeZone::getUnknown()) return std::nullopt;
  return TimeZone(identifierOf(*zone));
}

namespace detail {

const TimeZone& currentTimeZone() {
  if (const TimeZone* replacement = replaced.load(std::memory_order_acquire)) return *replacement;
  auto& known = PerThread<SystemZone>::current();
  const char* variable = std::getenv("TZ");
  // A missing variable differs from an empty one, which means UTC.
  const std::string_view text = variable == nullptr ? std::string_view("\n") : std::string_view(variable);
  if (!known.isKnown || text != known.variable) {
    known.zone = zoneOf(variable);
    known.variable = text;
    known.isKnown = true;
  }
  if (!known.zone) known.zone = TimeZone::gmt();
  return *known.zone;
}

}  // namespace detail

TimeZone TimeZone::current() { return detail::currentTimeZone(); }

std::ostream& operator<<(std::ostream& stream, const TimeZone& zone) { return stream << zone.identifier(); }

TimeZone::Replacement::Replacement(const TimeZone& zone) noexcept
    : previous_(replaced.exchange(&zone, std::memory_order_acq_rel)) {}
TimeZone::Replacement::~Replacement() { replaced.store(previous_, std::memory_order_release); }

}  // namespace Tessaly::inline v1
