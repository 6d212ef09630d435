// SPDX-License-Identifier: MIT
#pragma once

#include <csignal>
#include <cstdint>
#include <functional>
#include <string>

#include "tests/Support/PrivateBus.hpp"
#include "tests/Support/Process.hpp"

namespace Tessaly::Tests {

/// The real portal of documents on a private bus, with its file system. The application of the sandbox is
/// "org.example.player".
class DocumentPortal {
 public:
  static constexpr const char* name = "org.freedesktop.portal.Documents";
  static constexpr const char* object = "/org/freedesktop/portal/documents";
  static constexpr const char* program = "/usr/libexec/xdg-document-portal";

  explicit DocumentPortal(const PrivateBus& bus);
  DocumentPortal(const DocumentPortal&) = delete;
  DocumentPortal& operator=(const DocumentPortal&) = delete;
  ~DocumentPortal();

  /// The reason why it does not run. Empty if it runs.
  [[nodiscard]] const std::string& reason() const { return reason_; }
  /// The directory that shows the documents.
  [[nodiscard]] std::string directory() const { return runtime_ + "/doc"; }
  /// The directory in which the file system is mounted.
  [[nodiscard]] const std::string& runtime() const { return runtime_; }

  /// Starts the portal, which mounts its file system in this directory.
  void start(const std::string& runtime);
  /// Ends the portal, and waits until its file system and its name on the bus are gone. With SIGTERM the portal
  /// unmounts its file system.
  void stop(int signal = SIGTERM);
  /// Lets the bus start the portal when a program asks for it.
  void letTheBusStartIt() const;
  /// Whether the file system answers in this process.
  [[nodiscard]] bool isMounted() const;

  enum class Lifetime : std::uint32_t { untilThePortalEnds = 0, persistent = 2 };
  /// Grants a file or a directory to the application. Returns the document's identifier, or an empty text.
  [[nodiscard]] std::string grant(const std::string& path, Lifetime lifetime = Lifetime::persistent) const;
  /// Removes a document.
  [[nodiscard]] bool remove(const std::string& identifier) const;

  /// Runs the body in a new process, as another start of the application. The process sees only the documents that
  /// the application may see, as Flatpak mounts them. Returns the result of the body, or the description of its error.
  [[nodiscard]] std::string inApplication(const std::function<std::string()>& body) const;

 private:
  [[nodiscard]] bool isSaved(const std::string& identifier) const;

  const PrivateBus& bus_;
  std::string runtime_;
  Process permissions_;
  Process process_;
  std::string reason_;
};

}  // namespace Tessaly::Tests
