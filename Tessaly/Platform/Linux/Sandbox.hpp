// SPDX-License-Identifier: MIT
#pragma once

#include <unistd.h>

#include <fstream>
#include <optional>
#include <string>
#include <string_view>

namespace Tessaly::inline v1::detail {

/// The Flatpak sandbox around this process. In a sandbox, portals take the place of the services that the sandbox
/// hides. Each library that includes this header has its own copy of the code and does not export the copy.
///
/// Thread contract: thread-compatible.
struct Sandbox {
  /// The identifier of the application, such as "org.example.player". Empty if the file that describes the sandbox
  /// names no application.
  std::string application = {};
};

/// The sandbox that the file at the path describes, or nothing if the file does not exist. The file is a key file that
/// Flatpak writes. An unreadable or malformed file counts as a sandbox without an application.
[[nodiscard]] inline std::optional<Sandbox> readSandbox(const char* path = "/.flatpak-info") {
  if (::access(path, F_OK) != 0) return std::nullopt;
  constexpr std::string_view key = "name=";
  std::ifstream file(path);
  bool isInGroup = false;
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with('[')) isInGroup = line == "[Application]";
    if (isInGroup && line.starts_with(key)) return Sandbox{.application = line.substr(key.size())};
  }
  return Sandbox();
}

}  // namespace Tessaly::inline v1::detail
