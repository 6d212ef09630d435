// SPDX-License-Identifier: MIT
#include "Tessaly/SystemServices/PasteboardService.hpp"

#include "Tessaly/Platform/Pasteboard/PasteboardBackend.hpp"

namespace Tessaly::inline v1::PasteboardService {
namespace {

void write(std::string_view text, PasteboardType type) {
  PasteboardBackend& pasteboard = PasteboardBackend::current();
  pasteboard.clearContents();
  pasteboard.setString(text, type);
}

}  // namespace

void write(std::string_view string) { write(string, PasteboardType::string); }

void write(const URL& url) { write(url.absoluteString(), PasteboardType::url); }

}  // namespace Tessaly::inline v1::PasteboardService
