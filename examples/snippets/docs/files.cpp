// SPDX-License-Identifier: MIT
#include <cerrno>
#include <functional>
#include <string>
#include <vector>

#include "Tessaly/Core/Foundation/POSIXError.hpp"
#include "Tessaly/Core/Tasks/BlockingWork.hpp"
#include "Tessaly/Platform/Bookmarks/Bookmarks.hpp"
#include "Tessaly/Platform/Bookmarks/DocumentError.hpp"
#include "Tessaly/SystemServices/FileManager+DirectoryChanges.hpp"

using namespace Tessaly;

Async<void> followWherever(Data token, std::function<void(const std::vector<DirectoryChange>&)> show) {
  for (;;) {
    // On a thread that may block, because the search may read many directories. Throws if the directory is gone.
    const ResolvedBookmark found =
        co_await runBlocking([&] { return Bookmarks::shared().resolve(token, BookmarkResolutionOptions::none); });
    try {
      auto changes = directoryChanges(FileManager::default_(), found.url).makeAsyncIterator();
      while (auto some = co_await changes.next()) show(*some);
      co_return;  // The task was cancelled.
    } catch (const POSIXError& error) {
      if (error.code() != ENOENT) throw;
    }
  }
}

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
