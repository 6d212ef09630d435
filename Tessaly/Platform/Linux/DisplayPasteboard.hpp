// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string_view>

#include "Tessaly/Core/Locks/UnfairLock.hpp"
#include "Tessaly/Platform/Pasteboard/PasteboardBackend.hpp"
#include "Tessaly/Platform/Pasteboard/detail/PasteboardContents.hpp"

namespace Tessaly::inline v1 {

namespace detail {

/// A connection to a display. The connection's thread answers programs that paste.
///
/// Thread contract: thread-safe.
class DisplaySelection {
 public:
  virtual ~DisplaySelection();
  /// Offers `contents` instead of the contents offered before. Waits at most 2 s for the display.
  virtual PasteboardProblem offer(const PasteboardContents& contents) = 0;
  [[nodiscard]] virtual bool isOwner() const = 0;
  /// Whether the connection to the display ended.
  [[nodiscard]] virtual bool isLost() const = 0;
  /// Blocks until this process does not own the pasteboard and no program is pasting this process's contents.
  virtual void waitWhileServing() const = 0;
};

}  // namespace detail

/// The pasteboard of the session's display. `setString` connects if there is no connection, or if the connection has
/// ended.
///
/// The contents stay available until they are replaced, the connection to the display ends, or this process ends. A
/// thread answers programs that paste.
///
/// Thread contract: thread-safe.
///
///     DisplayPasteboard pasteboard;
///     pasteboard.setString("to paste", PasteboardType::string);
class TESSALY_EXPORT DisplayPasteboard final : public PasteboardBackend {
 public:
  DisplayPasteboard();
  ~DisplayPasteboard() override;

  void clearContents() override;
  bool setString(std::string_view text, PasteboardType type) override;
  [[nodiscard]] PasteboardStatus status() const override;
  /// Blocks while other programs can paste the contents from this process, and then until the running transfers have
  /// ended. Only a program that has nothing else to do should call this function.
  void waitWhileServing() const;

 private:
  void connect() TESSALY_REQUIRES(lock_);

  mutable UnfairLock lock_;
  detail::PasteboardContents contents_ TESSALY_GUARDED_BY(lock_);
  std::shared_ptr<detail::DisplaySelection> selection_ TESSALY_GUARDED_BY(lock_);
  PasteboardServer server_ TESSALY_GUARDED_BY(lock_) = PasteboardServer::none;
  PasteboardProblem problem_ TESSALY_GUARDED_BY(lock_) = PasteboardProblem::none;
};

}  // namespace Tessaly::inline v1
