// SPDX-License-Identifier: MIT
// Component: Tessaly::Logging
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1 {

/// The importance of a record. A warning is written as `error`.
enum class OSLogType : std::uint8_t { default_, info, debug, error, fault };

/// The state of a setting of the log.
enum class LogSwitch : std::uint8_t { off, on };

namespace detail {

struct PointOfInterest;  // Defined in FoundationExtensions/OSLog+Extensions.hpp.

/// The bit of a record type in `LogIdentity::enabled`. Signposts have a separate bit.
constexpr std::uint32_t logTypeBit(OSLogType type) noexcept { return 1U << static_cast<unsigned>(type); }
constexpr std::uint32_t signpostBit = 1U << 5;

/// The log that all handles of one pair of subsystem and category share. Never destroyed once it is in the process's
/// table of logs.
struct LogIdentity {
  const std::string subsystem;
  const std::string category;
  std::atomic<std::uint32_t> enabled{0};
  std::atomic<std::uint32_t> overrides{
      0};  // Upper half: the bits that this log overrides. Lower half: the values of these bits.
  LogIdentity* next = nullptr;
};

TESSALY_EXPORT LogIdentity& internLog(std::string_view subsystem, std::string_view category);

}  // namespace detail

/// A handle to a log. A log has a subsystem, a category, and a set of enabled types of records.
///
/// All handles of one pair of subsystem and category share one log. The log is made at the first use of the pair and
/// lives until the process ends, so a host must use a bounded number of pairs. Copying a handle copies a pointer.
/// Signposts and the types `default_`, `error` and `fault` are enabled by default; `info` and `debug` are not.
/// `LogConfiguration` changes these defaults for the process or for one log.
///
/// Thread contract: thread-safe.
///
///     const OSLog log("app.identifier.Export", "Exporter");
///     if (log.isEnabled(OSLogType::debug)) dumpTables();
class OSLog {
 public:
  /// The category of a log. Well-known categories are static members. A `Category` does not copy its text, so the text
  /// must outlive the `Category`.
  class Category {
   public:
    constexpr explicit Category(std::string_view rawValue) noexcept : rawValue_(rawValue) {}
    [[nodiscard]] constexpr std::string_view rawValue() const noexcept { return rawValue_; }

    /// The category "PointsOfInterest". It is meant for signposts on the timeline of a profiler.
    static const Category pointsOfInterest;

   private:
    std::string_view rawValue_;
  };

  /// A handle to the log of this pair. If the names are well-formed UTF-8, only the first use of a pair allocates.
  /// U+FFFD replaces ill-formed UTF-8 in the names.
  OSLog(std::string_view subsystem, std::string_view category) : identity_(&detail::internLog(subsystem, category)) {}
  OSLog(std::string_view subsystem, Category category) : OSLog(subsystem, category.rawValue()) {}

  /// A log with the category `Category::pointsOfInterest`. Its subsystem is the main bundle's identifier, "." and the
  /// given subsystem. Stops the process if the main bundle has no identifier. Include
  /// FoundationExtensions/OSLog+Extensions.hpp.
  template <typename Definition = detail::PointOfInterest>
  [[nodiscard]] static OSLog pointOfInterest(std::string_view subsystem) {
    static_assert(requires { sizeof(Definition); }, "include Tessaly/FoundationExtensions/OSLog+Extensions.hpp");
    return Definition::make(subsystem);
  }

  [[nodiscard]] const std::string& subsystem() const noexcept { return identity_->subsystem; }
  [[nodiscard]] const std::string& category() const noexcept { return identity_->category; }

  /// Whether records of this type are written. Costs one relaxed load.
  [[nodiscard]] bool isEnabled(OSLogType type) const noexcept {
    return (identity_->enabled.load(std::memory_order_relaxed) & detail::logTypeBit(type)) != 0;
  }
  /// Whether signposts are written. Costs one relaxed load.
  [[nodiscard]] bool areSignpostsEnabled() const noexcept {
    return (identity_->enabled.load(std::memory_order_relaxed) & detail::signpostBit) != 0;
  }

  /// Whether both handles refer to the same log.
  friend bool operator==(const OSLog&, const OSLog&) noexcept = default;

 private:
  friend class LogRing;
  friend class LogChunk;
  friend struct LogConfigurationAccess;
  explicit OSLog(detail::LogIdentity* identity) noexcept : identity_(identity) {}

  detail::LogIdentity* identity_;
};

inline constexpr OSLog::Category OSLog::Category::pointsOfInterest{"PointsOfInterest"};

}  // namespace Tessaly::inline v1
