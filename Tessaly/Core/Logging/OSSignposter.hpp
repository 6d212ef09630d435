// SPDX-License-Identifier: MIT
// Component: Tessaly::Logging
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Base/IsAsync.hpp"
#include "Tessaly/Core/Base/TypeName.hpp"
#include "Tessaly/Core/Logging/LogRecord.hpp"
#include "Tessaly/Core/Logging/Logger.hpp"

namespace Tessaly::inline v1 {

/// The identifier of a signpost. It distinguishes intervals of one name that run at the same time.
///
/// Thread contract: thread-compatible.
///
///     const OSSignpostID id = signposter.makeSignpostID();
class OSSignpostID {
 public:
  constexpr explicit OSSignpostID(std::uint64_t rawValue) noexcept : rawValue_(rawValue) {}
  [[nodiscard]] constexpr std::uint64_t rawValue() const noexcept { return rawValue_; }
  friend constexpr bool operator==(OSSignpostID, OSSignpostID) noexcept = default;

  /// The identifier for a name with at most one running interval at a time.
  static const OSSignpostID exclusive;

 private:
  std::uint64_t rawValue_;
};

inline constexpr OSSignpostID OSSignpostID::exclusive{0xEEEE'B0B5'B2B2'EEEE};

/// An interval that was begun. The caller must pass it to `endInterval`, because its destructor does not end the
/// interval. Ending it a second time does nothing.
///
/// Thread contract: thread-compatible.
///
///     OSSignpostIntervalState state = signposter.beginInterval("parse");
///     signposter.endInterval("parse", state);
class OSSignpostIntervalState {
 public:
  OSSignpostIntervalState(OSSignpostIntervalState&& other) noexcept
      : id_(other.id_), isOpen_(std::exchange(other.isOpen_, false)) {}
  OSSignpostIntervalState& operator=(OSSignpostIntervalState&& other) noexcept {
    id_ = other.id_;
    isOpen_ = std::exchange(other.isOpen_, false);
    return *this;
  }

  [[nodiscard]] OSSignpostID signpostID() const noexcept { return id_; }

 private:
  friend class OSSignposter;
  OSSignpostIntervalState(OSSignpostID id, bool isOpen) noexcept : id_(id), isOpen_(isOpen) {}

  OSSignpostID id_;
  bool isOpen_;
};

/// Marks intervals and moments on a timeline. The marks are entries with a `signpost` in the log store of the process.
/// The store evicts marks in the same way as records. Marks do not reach the journal or standard error. If signposts
/// are disabled for the log, each call costs one load and a branch.
///
/// Use short literals as names, because tools show the names as column headings.
///
/// Thread contract: thread-safe.
///
///     const OSSignposter signposter("Export", Type<Exporter>());
///     const int rows = signposter.withIntervalSignpost("write", [&] { return exporter.write(); });
class TESSALY_EXPORT OSSignposter {
 public:
  OSSignposter(std::string_view subsystem, std::string_view category) : log_(subsystem, category) {}
  /// Makes a signposter. The subsystem is exactly the given text: the main bundle's identifier is not added. The
  /// category is the type's unqualified name.
  template <typename T>
  OSSignposter(std::string_view subsystem, Type<T>) : log_(subsystem, typeName<T>()) {}
  explicit OSSignposter(const OSLog& log) noexcept : log_(log) {}
  explicit OSSignposter(const Logger& logger) noexcept : log_(logger.log()) {}

  /// The underlying log.
  [[nodiscard]] const OSLog& log() const noexcept TESSALY_LIFETIMEBOUND { return log_; }
  [[nodiscard]] bool isEnabled() const noexcept { return log_.areSignpostsEnabled(); }

  /// An identifier that no other call in this process returns.
  [[nodiscard]] OSSignpostID makeSignpostID() const noexcept;

  /// Marks the beginning of an interval.
  [[nodiscard]] OSSignpostIntervalState beginInterval(std::string_view name,
                                                      OSSignpostID id = OSSignpostID::exclusive) const noexcept {
    const bool isOpen = isEnabled();
    if (isOpen) detail::writeSignpost(log_, {LogSignpostKind::begin, id.rawValue(), name});
    return {id, isOpen};
  }
  /// Marks the end of an interval. The name must be the name that the caller passed to `beginInterval`. Does nothing if
  /// signposts were disabled when `beginInterval` was called, or if the end is marked already.
  void endInterval(std::string_view name, OSSignpostIntervalState& state) const noexcept {
    if (!std::exchange(state.isOpen_, false)) return;
    detail::writeSignpost(log_, {LogSignpostKind::end, state.id_.rawValue(), name});
  }
  /// Marks a moment.
  void emitEvent(std::string_view name, OSSignpostID id = OSSignpostID::exclusive) const noexcept {
    if (isEnabled()) detail::writeSignpost(log_, {LogSignpostKind::event, id.rawValue(), name});
  }

  /// Calls the body within an interval and returns the body's result. An exception of the body ends the interval and
  /// reaches the caller.
  template <typename Body>
  decltype(auto) withIntervalSignpost(std::string_view name, OSSignpostID id, Body&& body) const {
    static_assert(!isAsync<std::remove_cvref_t<std::invoke_result_t<Body>>>,
                  "the body must not be asynchronous: the interval would end before it ran");
    struct Interval {
      const OSSignposter& signposter;
      std::string_view name;
      OSSignpostIntervalState state;
      ~Interval() { signposter.endInterval(name, state); }
    } interval{*this, name, beginInterval(name, id)};
    return std::invoke(std::forward<Body>(body));
  }
  template <typename Body>
  decltype(auto) withIntervalSignpost(std::string_view name, Body&& body) const {
    return withIntervalSignpost(name, OSSignpostID::exclusive, std::forward<Body>(body));
  }

 private:
  OSLog log_;
};

}  // namespace Tessaly::inline v1
