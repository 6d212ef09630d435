// SPDX-License-Identifier: MIT
#include <dlfcn.h>

#include <cstdio>

#include "Tessaly/Core/Base/Error.hpp"
#include "Tessaly/Formatting/Formatters+CharactersLimit.hpp"
#include "Tessaly/Formatting/FormattingService.hpp"
#include "Tessaly/Platform/Files/FileManager.hpp"
#include "Tessaly/Platform/Pasteboard/PasteboardBackend.hpp"
#include "Tessaly/Platform/Settings/UserDefaults.hpp"

// Reaches the backends of several seams, so that a static link needs their packages.
int main() {
  const bool isThere = Tessaly::FileManager::default_().fileExists("/");
  const std::string size = Tessaly::FormattingService::Bytes::gigaBytes(1'000);
  if (Tessaly::UserDefaults::installed().load() != nullptr) return 1;
  Tessaly::PasteboardBackend& pasteboard = Tessaly::PasteboardBackend::current();
  if (!isThere || size.empty() || &pasteboard != &Tessaly::PasteboardBackend::system()) return 1;
  // `Object::make` finds the classes of the library by such functions.
  if (Tessaly::Formatters::CharactersLimit::make(3) == nullptr) return 1;
  if (::dlsym(RTLD_DEFAULT, "tessaly_register_Tessaly_CharactersLimit") == nullptr) return 1;
  std::printf("a host caught %s\n", Tessaly::CancellationError().what());
}
