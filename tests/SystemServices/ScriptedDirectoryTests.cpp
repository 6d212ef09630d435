// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Tessaly/Core/Foundation/POSIXError.hpp"
#include "Tessaly/Core/Foundation/URL.hpp"
#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/Platform/Testing/ManualClock.hpp"
#include "Tessaly/Platform/Testing/ScriptedDirectory.hpp"
#include "Tessaly/SystemServices/FileManager+DirectoryChanges.hpp"

namespace Tessaly {
namespace {

class ScriptedDirectoryTest : public testing::Test {
 protected:
  ScriptedDirectoryTest() { notes_->answer(files_); }
  [[nodiscard]] DirectoryChanges followed() { return directoryChanges(files_, url_, {}, clock_); }
  /// The next element, a text for each change.
  template <typename Iterator>
  static std::vector<std::string> next(Iterator& iterator) {
    std::vector<std::string> texts;
    using Changes = std::vector<DirectoryChange>;
    const auto element =
        syncWait([&]() -> Async<std::optional<Changes>> { co_return co_await iterator.next(); }).value();
    for (const DirectoryChange& change : element) {
      const std::string former = change.formerPath.empty() ? "" : change.formerPath + " > ";
      texts.push_back(std::string(description(change.kind)) + ' ' + former + change.entry.path + ' ' +
                      std::to_string(change.entry.attributes.size));
    }
    return texts;
  }
  static FileAttributes sized(std::int64_t size) {
    FileAttributes attributes = ScriptedDirectory::regularFile;
    attributes.size = size;
    return attributes;
  }

  const URL url_ = URL::fileURLWithPath("/notes");
  ManualClock clock_;
  ScriptedFileManager files_;
  std::optional<ScriptedDirectory> notes_{std::in_place};
};

using Texts = std::vector<std::string>;

TEST_F(ScriptedDirectoryTest, FirstElementListsTheEntries) {
  notes_->put("b", sized(2));
  notes_->put("a", sized(1));
  auto iterator = followed().makeAsyncIterator();
  EXPECT_EQ(next(iterator), (Texts{"appeared a 1", "appeared b 2"}));
  EXPECT_EQ(files_.contentsOfDirectory(url_).size(), 2U);
}

TEST_F(ScriptedDirectoryTest, ChangesComeInTheirOrder) {
  auto iterator = followed().makeAsyncIterator();
  EXPECT_EQ(next(iterator), Texts());
  notes_->put("a", sized(1));
  notes_->put("a", sized(2));
  notes_->put("c", sized(3));
  notes_->rename("a", "c");
  notes_->remove("c");
  EXPECT_EQ(next(iterator), (Texts{"appeared a 1", "changed a 2", "appeared c 3", "disappeared c 3", "renamed a > c 2",
                                   "disappeared c 2"}));
}

TEST_F(ScriptedDirectoryTest, OneChangeStandsForAllBelowADirectory) {
  notes_->put("d");
  notes_->put("d/a", sized(1));
  notes_->put("db", sized(2));
  notes_->rename("d", "e");
  auto iterator = followed().makeAsyncIterator();
  EXPECT_EQ(next(iterator), (Texts{"appeared db 2", "appeared e 0", "appeared e/a 1"}));
  notes_->remove("e");
  EXPECT_EQ(next(iterator), Texts{"disappeared e 0"});
  EXPECT_EQ(files_.contentsOfDirectory(url_).size(), 1U);
}

TEST_F(ScriptedDirectoryTest, EveryFollowerGetsEveryChange) {
  auto first = followed().makeAsyncIterator();
  auto second = followed().makeAsyncIterator();
  EXPECT_EQ(next(first), Texts());
  EXPECT_EQ(next(second), Texts());
  notes_->put("a", sized(1));
  notes_.reset();  // The followers may live longer.
  EXPECT_EQ(next(first), Texts{"appeared a 1"});
  EXPECT_EQ(next(second), Texts{"appeared a 1"});
}

TEST_F(ScriptedDirectoryTest, ErrorReachesListing) {
  notes_->setError(EACCES);
  EXPECT_THROW(static_cast<void>(files_.contentsOfDirectory(url_)), POSIXError);
  auto iterator = followed().makeAsyncIterator();
  EXPECT_THROW(next(iterator), POSIXError);
}

TEST_F(ScriptedDirectoryTest, WrongPathStopsTheTest) { EXPECT_DEATH(notes_->remove("a"), "There is no entry 'a'"); }

}  // namespace
}  // namespace Tessaly
