// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Testing/ScriptedDirectory.hpp"

#include "Tessaly/Core/Foundation/URL.hpp"
#include "Tessaly/SystemServices/FileManager+DirectoryChanges.hpp"

namespace Tessaly {

void showScriptedDirectory() {
  ScriptedFileManager files;
  ScriptedDirectory notes;
  notes.answer(files);
  notes.put("a.txt");
  auto changes = directoryChanges(files, URL::fileURLWithPath("/notes")).makeAsyncIterator();
}

}  // namespace Tessaly
