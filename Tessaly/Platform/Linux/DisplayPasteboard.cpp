// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Linux/DisplayPasteboard.hpp"

#include "Tessaly/Core/Base/detail/ForkGuard.hpp"
#include "Tessaly/Platform/Linux/WaylandSelection.hpp"
#include "Tessaly/Platform/Linux/X11Selection.hpp"

namespace Tessaly::inline v1 {

detail::DisplaySelection::~DisplaySelection() = default;

DisplayPasteboard::DisplayPasteboard() = default;
DisplayPasteboard::~DisplayPasteboard() = default;

void DisplayPasteboard::clearContents() {
  const UnfairLock::Guard guard(lock_);
  contents_ = {};
}

bool DisplayPasteboard::setString(std::string_view text, PasteboardType type) {
  detail::stopIfForkedChild();
  const UnfairLock::Guard guard(lock_);
  contents_.set(text, type);
  if (selection_ == nullptr || selection_->isLost()) connect();
  if (selection_ == nullptr) return false;
  problem_ = selection_->offer(contents_);
  return problem_ == PasteboardProblem::none;
}

PasteboardStatus DisplayPasteboard::status() const {
  const UnfairLock::Guard guard(lock_);
  if (selection_ == nullptr) return {PasteboardServer::none, problem_, false};
  if (selection_->isLost()) return {server_, PasteboardProblem::displayLost, false};
  return {server_, problem_, selection_->isOwner()};
}

void DisplayPasteboard::waitWhileServing() const {
  std::shared_ptr<detail::DisplaySelection> selection;
  {
    const UnfairLock::Guard guard(lock_);
    selection = selection_;
  }
  if (selection != nullptr) selection->waitWhileServing();
}

void DisplayPasteboard::connect() {
  server_ = PasteboardServer::none;
  selection_ = detail::connectToWayland(problem_);
  if (selection_ != nullptr) {
    server_ = PasteboardServer::wayland;
    return;
  }
  const PasteboardProblem former = problem_;
  selection_ = detail::connectToX11(problem_);
  if (selection_ != nullptr) {
    server_ = PasteboardServer::x11;
  } else if (problem_ == PasteboardProblem::noDisplay) {
    problem_ = former;
  }
}

PasteboardBackend& PasteboardBackend::system() {
  static auto& backend = *new DisplayPasteboard;
  return backend;
}

}  // namespace Tessaly::inline v1
