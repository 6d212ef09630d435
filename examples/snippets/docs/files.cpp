// SPDX-License-Identifier: MIT
#include <string>

#include "Tessaly/Core/Foundation/POSIXError.hpp"
#include "Tessaly/Platform/Bookmarks/Bookmarks.hpp"
#include "Tessaly/Platform/Bookmarks/DocumentError.hpp"

using namespace Tessaly;

struct Player {
  void open(const Data& token) {
    try {
      show(Bookmarks::shared().resolve(token, BookmarkResolutionOptions::withSecurityScope).url);
    } catch (const DocumentError& error) {  // The portal is absent, or the user has withdrawn the permission.
      explain(error.localizedDescription());
    } catch (const POSIXError&) {  // The file is gone.
      askForAnotherFile();
    }
  }

  void (*show)(const URL& file);
  void (*explain)(const std::string& text);
  void (*askForAnotherFile)();
};
