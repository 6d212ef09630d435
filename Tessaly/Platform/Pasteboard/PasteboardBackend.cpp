// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Pasteboard/PasteboardBackend.hpp"

#include "Tessaly/Platform/Linux/DisplayPasteboard.hpp"

namespace Tessaly::inline v1 {

PasteboardBackend::~PasteboardBackend() = default;

PasteboardBackend& PasteboardBackend::current() {
  if (auto* backend = installed().load(std::memory_order_acquire)) return *backend;
  static auto& display = *new DisplayPasteboard;
  return display;
}

std::atomic<PasteboardBackend*>& PasteboardBackend::installed() noexcept {
  static constinit std::atomic<PasteboardBackend*> installed{nullptr};
  return installed;
}

}  // namespace Tessaly::inline v1
