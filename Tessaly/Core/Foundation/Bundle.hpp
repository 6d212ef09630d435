// SPDX-License-Identifier: MIT
// Component: Tessaly::Foundation
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Foundation/URL.hpp"

namespace Tessaly::inline v1 {

/// The facts that a host application gives about itself.
///
/// Thread contract: thread-compatible.
///
///     Bundle::setMain({.identifier = "org.example.player", .shortVersion = "1.2.3", .build = "42"});
struct BundleInformation {
  /// The identifier, in reverse domain-name form.
  std::optional<std::string> identifier = std::nullopt;
  /// The version that users see, such as "1.2.3".
  std::optional<std::string> shortVersion = std::nullopt;
  /// The number of the build, such as "42".
  std::optional<std::string> build = std::nullopt;
  /// The languages of the application, such as "en" or "pt_BR". The original language comes first.
  std::vector<std::string> localizations = {};
  /// The languages to use, best first. If the list is absent, the environment chooses.
  std::optional<std::vector<std::string>> preferredLocalizations = std::nullopt;
  /// Further entries of the information dictionary. "PolkitAction" names the action for which `LAContext` requests the
  /// user's consent. `tessaly_bundle(... POLKIT_ACTION ...)` sets the same entry.
  std::map<std::string, std::string> information = {};

  friend bool operator==(const BundleInformation&, const BundleInformation&) = default;
};

/// The facts about the application: its identifier, its versions, its languages.
///
/// The facts come from `setMain` or from an ELF note in the main executable. The CMake function `tessaly_bundle` makes
/// the note. The note survives stripping and the removal of unused sections.
///
/// Thread contract: thread-safe.
///
///     const Bundle& bundle = Bundle::main();
///     std::cout << bundle.bundleIdentifier().value_or("none") << '\n';
class Bundle {
 public:
  Bundle(const Bundle&) = delete;
  Bundle& operator=(const Bundle&) = delete;

  /// The bundle of the running application. The first call of `main` reads the bundle's identifier, versions and
  /// languages from the executable, unless `setMain` has set them.
  [[nodiscard]] TESSALY_EXPORT static const Bundle& main();

  /// Sets the identifier, the versions and all other facts of the main bundle in code. The facts in the executable,
  /// which come from `tessaly_bundle`, are then ignored. Stops the process if `Bundle::main` or `setMain` was called
  /// before.
  TESSALY_EXPORT static void setMain(BundleInformation information);

  /// The identifier of the application: the entry "CFBundleIdentifier" of the information dictionary.
  [[nodiscard]] const std::optional<std::string>& bundleIdentifier() const noexcept TESSALY_LIFETIMEBOUND {
    return facts_.identifier;
  }
  /// The version that users see: the entry "CFBundleShortVersionString" of the information dictionary.
  [[nodiscard]] const std::optional<std::string>& shortVersionString() const noexcept TESSALY_LIFETIMEBOUND {
    return facts_.shortVersion;
  }
  /// The number of the build: the entry "CFBundleVersion" of the information dictionary.
  [[nodiscard]] const std::optional<std::string>& buildVersion() const noexcept TESSALY_LIFETIMEBOUND {
    return facts_.build;
  }
  /// The languages of the application, the original one first.
  [[nodiscard]] const std::vector<std::string>& localizations() const noexcept TESSALY_LIFETIMEBOUND {
    return facts_.localizations;
  }

  /// The localizations that suit the user, best first. If `BundleInformation::preferredLocalizations` is present, it is
  /// the result. Otherwise the environment variable LANGUAGE decides. If LANGUAGE is empty, the locale decides: the
  /// first of LC_ALL, LC_MESSAGES and LANG that is not empty. LANGUAGE is ignored if the locale is missing, "C" or
  /// "POSIX". An encoding, as in "C.UTF-8", makes no difference. If no localization fits, the result is the original
  /// localization. If the application names no localizations, the result is "en".
  [[nodiscard]] TESSALY_EXPORT std::vector<std::string> preferredLocalizations() const;

  /// The value of a key, such as "CFBundleVersion", in the information dictionary. Absent if the key is missing.
  [[nodiscard]] TESSALY_EXPORT std::optional<std::string> infoValue(std::string_view key) const;

  /// The URL of the executable.
  [[nodiscard]] TESSALY_EXPORT URL executableURL() const;

 private:
  explicit Bundle(BundleInformation facts) noexcept;

  BundleInformation facts_;
};

}  // namespace Tessaly::inline v1
