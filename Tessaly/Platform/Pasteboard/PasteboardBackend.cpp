// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Pasteboard/PasteboardBackend.hpp"

namespace Tessaly::inline v1 {

PasteboardBackend::~PasteboardBackend() = default;

PasteboardBackend& PasteboardBackend::current() { return detail::backendInUse<PasteboardBackend>(); }

InstalledBackend<PasteboardBackend>& PasteboardBackend::installed() noexcept {
  static constinit InstalledBackend<PasteboardBackend> installed{nullptr};
  return installed;
}

}  // namespace Tessaly::inline v1
