// SPDX-License-Identifier: MIT
// Component: Tessaly::Foundation
#pragma once

#include <compare>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1 {

/// The version of an operating system, ordered by its numbers.
///
/// Thread contract: thread-compatible.
///
///     OperatingSystemVersion bookworm{.major = 12};
///     std::cout << bookworm;  // 12.0.0
struct OperatingSystemVersion {
  std::int64_t major = 0;
  std::int64_t minor = 0;
  std::int64_t patch = 0;

  /// Parses up to three decimal numbers with dots between them. Parsing ends at the first unexpected character, or
  /// before a number of 2^32 or more. Numbers that were not parsed are 0.
  [[nodiscard]] TESSALY_EXPORT static OperatingSystemVersion from(std::string_view text) noexcept;

  /// All three numbers: "12.0.0".
  [[nodiscard]] TESSALY_EXPORT std::string description() const;

  friend constexpr auto operator<=>(const OperatingSystemVersion&, const OperatingSystemVersion&) noexcept = default;
};

/// Writes `description()`.
TESSALY_EXPORT std::ostream& operator<<(std::ostream& stream, const OperatingSystemVersion& version);

/// Facts about this process and the machine that it runs on.
///
/// Thread contract: thread-safe, as long as no other thread changes the environment.
///
///     const ProcessInfo& process = ProcessInfo::processInfo();
///     if (process.environmentValue("DISPLAY")) std::cout << process.processName() << '\n';
class ProcessInfo {
 public:
  /// Facts that replace those of the running system.
  struct Overrides {
    /// The directory that replaces "/" for reading the os-release file.
    std::string rootFolder = {};
    std::optional<std::map<std::string, std::string>> environment = std::nullopt;
    std::optional<OperatingSystemVersion> operatingSystemVersion = std::nullopt;
  };

  /// The `ProcessInfo` that the latest existing `Replacement` installed, or else the one of the running process. The
  /// `ProcessInfo` of the running process is made at its first use, and is never destroyed.
  [[nodiscard]] TESSALY_EXPORT static const ProcessInfo& processInfo() noexcept;

  /// The facts of the running process. The facts in `overrides` replace those of the process.
  TESSALY_EXPORT explicit ProcessInfo(Overrides overrides);

  /// Replaces the result of `processInfo()` for a scope, in all threads. `Replacement` objects must be destroyed in the
  /// reverse order of their construction. The `ProcessInfo` that is passed to the constructor must outlive the
  /// `Replacement`.
  class Replacement {
   public:
    TESSALY_EXPORT explicit Replacement(const ProcessInfo& replacement) noexcept;
    Replacement(const Replacement&) = delete;
    Replacement& operator=(const Replacement&) = delete;
    TESSALY_EXPORT ~Replacement();

   private:
    const ProcessInfo* previous_;
  };

  /// The environment from `Overrides`, or else the current environment of the process. O(size of the environment).
  [[nodiscard]] TESSALY_EXPORT std::map<std::string, std::string> environment() const;
  /// The value of one variable of `environment()`. Absent if the variable is not set.
  [[nodiscard]] TESSALY_EXPORT std::optional<std::string> environmentValue(const std::string& name) const;
  /// The arguments of the process, the program's name first. Empty if the system does not give them.
  [[nodiscard]] TESSALY_EXPORT std::vector<std::string> arguments() const;
  /// The path of the executable. Empty if the system does not give it.
  [[nodiscard]] TESSALY_EXPORT std::string executablePath() const;
  /// The executable's file name, or else the file name in the first argument.
  [[nodiscard]] TESSALY_EXPORT std::string processName() const;
  [[nodiscard]] TESSALY_EXPORT std::int32_t processIdentifier() const noexcept;
  /// Seconds since the system started, without the time in which the system was suspended.
  [[nodiscard]] TESSALY_EXPORT double systemUptime() const noexcept;
  /// The number of processors that the calling thread may run on, at least 1. On a machine with more than 1,024
  /// processors, the result is the number of online processors.
  [[nodiscard]] TESSALY_EXPORT std::int64_t activeProcessorCount() const noexcept;
  /// The number of bytes of memory in the machine. 0 if the system does not report it.
  [[nodiscard]] TESSALY_EXPORT std::uint64_t physicalMemory() const noexcept;
  [[nodiscard]] TESSALY_EXPORT std::string hostName() const;
  /// The overridden version, or else `VERSION_ID` of the os-release file, which the constructor reads. Missing parts
  /// are 0.
  [[nodiscard]] TESSALY_EXPORT OperatingSystemVersion operatingSystemVersion() const noexcept;
  /// The version that replaces the running system's version, if any.
  [[nodiscard]] const std::optional<OperatingSystemVersion>& overriddenOperatingSystemVersion() const noexcept
      TESSALY_LIFETIMEBOUND {
    return overrides_.operatingSystemVersion;
  }

 private:
  Overrides overrides_;
  OperatingSystemVersion operatingSystemVersion_;
};

}  // namespace Tessaly::inline v1
