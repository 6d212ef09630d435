// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "Tessaly/Platform/Files/FileChange.hpp"
#include "Tessaly/Platform/Files/FileSystemEvent.hpp"

namespace Tessaly {
namespace {

TEST(FileSystemEvent, IsASetOfKinds) {
  constexpr FileSystemEvent both = FileSystemEvent::write | FileSystemEvent::extend;
  static_assert(both.contains(FileSystemEvent::write));
  static_assert(!FileSystemEvent::write.contains(both));
  static_assert(both.contains(FileSystemEvent()));
  static_assert((both & FileSystemEvent::extend) == FileSystemEvent::extend);
  static_assert(FileSystemEvent::all.rawValue() == 0x7F);
  EXPECT_TRUE(FileSystemEvent().isEmpty());
}

TEST(FileSystemEvent, NamesItsKinds) {
  EXPECT_EQ((FileSystemEvent::write | FileSystemEvent::delete_).description(), "[delete, write]");
  EXPECT_EQ(FileSystemEvent().description(), "[]");
  EXPECT_EQ(FileSystemEvent::all.description(), "[delete, write, extend, attrib, link, rename, revoke]");
}

TEST(FileChange, HasANameForEachKind) {
  EXPECT_EQ(description(FileChange::contents), "contents");
  EXPECT_EQ(description(FileChange::replaced), "replaced");
  EXPECT_EQ(description(FileChange::removed), "removed");
  EXPECT_EQ(description(FileChange::returned), "returned");
}

}  // namespace
}  // namespace Tessaly
