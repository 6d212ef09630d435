// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "Tessaly/Core/Tasks/Isolation.hpp"
#include "Tessaly/Core/Tasks/MainQueue.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"
#include "Tessaly/Platform/Pasteboard/PasteboardBackend.hpp"

namespace Tessaly::inline v1::detail {

/// The texts that this program offers to other programs.
struct OfferedTexts {
  std::optional<std::string> string;
  std::optional<std::string> url;

  /// The text for programs that paste plain text: `string` if it is present, otherwise `url`. One of the two must be
  /// present.
  [[nodiscard]] const std::string& plain() const { return string ? *string : *url; }
};

/// The common part of the pasteboards of every toolkit. If a thread other than the main thread writes, the toolkit
/// receives the latest texts later, on the main thread, and only `status()` reports their refusal. The object must live
/// until the process ends, because other threads may still use it. `PasteboardBackendInstallation` keeps the object
/// alive.
class ToolkitPasteboard : public PasteboardBackend {
 public:
  explicit ToolkitPasteboard(PasteboardServer server) : server_(server) {
    assertMainIsolated("Tessaly/PasteboardAdapter", __LINE__);
  }

  void clearContents() final {
    const std::scoped_lock lock(mutex_);
    isNew_ = true;
  }
  bool setString(std::string_view text, PasteboardType type) final {
    if (server_ == PasteboardServer::none || !isOpen_) return false;
    add(text, type);
    if (MainQueue::isMainThread()) return offerTexts();
    // The task reads the latest texts, because the tasks of two threads may run in another order than the writes.
    Task<>::detached({.isolation = Isolation::main()}, [this] {
      if (isOpen_) offerTexts();
    });
    return true;
  }
  [[nodiscard]] PasteboardStatus status() const final {
    if (server_ == PasteboardServer::none) return {.problem = PasteboardProblem::noDisplay};
    if (!isOpen_) return {.server = server_, .problem = PasteboardProblem::displayLost};
    const PasteboardProblem problem = isRefused_ ? PasteboardProblem::refused : PasteboardProblem::none;
    return {.server = server_, .problem = problem, .isOwner = isOwner_};
  }

  /// Disconnects from the toolkit. Afterwards `setString` returns false, and the toolkit may be shut down.
  void close() {
    isOpen_ = false;
    isOwner_ = false;
    disconnect();
  }

 protected:
  ~ToolkitPasteboard() override = default;

  void setIsOwner(bool isOwner) noexcept { isOwner_ = isOwner; }

 private:
  /// Passes the texts to the toolkit, which offers them to other programs. Returns whether the toolkit accepted them.
  /// Runs on the main thread.
  virtual bool offer(const OfferedTexts& texts) = 0;
  bool offerTexts() {
    const bool isAccepted = offer(texts());
    isRefused_ = !isAccepted;
    isOwner_ = isAccepted;
    return isAccepted;
  }
  /// Disconnects the handlers of the toolkit's signals. Runs on the main thread.
  virtual void disconnect() = 0;

  void add(std::string_view text, PasteboardType type) {
    const std::scoped_lock lock(mutex_);
    if (std::exchange(isNew_, false)) texts_ = {};
    (type == PasteboardType::url ? texts_.url : texts_.string) = text;
  }
  [[nodiscard]] OfferedTexts texts() {
    const std::scoped_lock lock(mutex_);
    return texts_;
  }

  const PasteboardServer server_;
  std::atomic<bool> isOpen_ = true;
  std::atomic<bool> isOwner_ = false;
  std::atomic<bool> isRefused_ = false;
  std::mutex mutex_;
  bool isNew_ = false;
  OfferedTexts texts_;
};

}  // namespace Tessaly::inline v1::detail
