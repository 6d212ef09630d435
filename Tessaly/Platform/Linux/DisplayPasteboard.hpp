// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "Tessaly/Core/Locks/UnfairLock.hpp"
#include "Tessaly/Platform/Pasteboard/PasteboardBackend.hpp"
#include "Tessaly/Platform/Pasteboard/detail/PasteboardContents.hpp"

namespace Tessaly::inline v1 {

namespace detail {

/// A connection to a display, with a thread that answers the programs which paste.
///
/// Thread contract: thread-safe.
class DisplaySelection {
 public:
  virtual ~DisplaySelection();
  /// Offers the contents in the place of whatever is there. Waits for the display, at most two seconds.
  virtual PasteboardProblem offer(const PasteboardContents& contents) = 0;
  [[nodiscard]] virtual bool isOwner() const = 0;
  /// Whether the display went away.
  [[nodiscard]] virtual bool isLost() const = 0;
  /// Returns when it is not the owner and nobody is in the middle of pasting from it.
  virtual void waitWhileServing() const = 0;
};

}  // namespace detail

/// The pasteboard of the session's display. Connects at the first `setString`, and again when the display went away.
///
/// The contents stay available as long as the process lives: a thread answers the programs that paste.
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
  /// Waits as long as what was put there last can be pasted, or is being pasted by somebody who began before it was
  /// replaced. For programs that have nothing else to do.
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
