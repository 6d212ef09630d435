// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Tessaly/Core/Foundation/POSIXError.hpp"
#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"
#include "Tessaly/Platform/Testing/ManualClock.hpp"
#include "Tessaly/Platform/Testing/ScriptedFileManager.hpp"
#include "Tessaly/SystemServices/FileManager+DirectoryChanges.hpp"
#include "tests/Support/DirectoryModel.hpp"
#include "tests/Support/LoweredLimit.hpp"
#include "tests/Support/TemporaryFolder.hpp"

namespace Tessaly {
namespace {

using namespace std::chrono_literals;
using Tests::DirectoryModel;
using Changes = std::vector<DirectoryChange>;

class DirectoryChangesTest : public testing::Test {
 protected:
  [[nodiscard]] std::string path(const std::string& name) const { return folder_.path() + "/" + name; }
  void put(const std::string& name, std::string_view text = "text") const {
    std::ofstream(path(name), std::ios::binary) << text;
  }
  [[nodiscard]] DirectoryChanges changes(DirectoryOptions options = {}) {
    return directoryChanges(FileManager::default_(), folder_.url(), options, clock_);
  }

  Tests::TemporaryFolder folder_;
  ManualClock clock_;
};

/// A source whose changes a test scripts.
struct Script {
  std::vector<std::function<Changes()>> takes;
  std::function<void()> wake;
  bool isRemote = false;
  /// The thread on which the source ended.
  std::promise<std::thread::id> end;
};

class ScriptedSource final : public DirectorySource {
 public:
  explicit ScriptedSource(std::shared_ptr<Script> script) : script_(std::move(script)) {}
  ScriptedSource(const ScriptedSource&) = delete;
  ScriptedSource& operator=(const ScriptedSource&) = delete;
  ~ScriptedSource() override { script_->end.set_value(std::this_thread::get_id()); }
  Changes takeChanges() override {
    if (script_->takes.empty()) return {};
    const auto take = std::move(script_->takes.front());
    script_->takes.erase(script_->takes.begin());
    return take();
  }
  bool needsPolling() const noexcept override { return script_->isRemote; }

 private:
  std::shared_ptr<Script> script_;
};

class ScriptedDirectoryChanges : public DirectoryChangesTest {
 protected:
  ScriptedDirectoryChanges() {
    files_.directorySource = [this](const URL&, DirectoryDepth depth, std::function<void()> wake) {
      depth_ = depth;
      script_->wake = std::move(wake);
      return std::make_unique<ScriptedSource>(script_);
    };
  }
  [[nodiscard]] DirectoryChanges scripted(DirectoryOptions options = {}) {
    return directoryChanges(files_, folder_.url(), options, clock_);
  }
  static Changes appearance(const std::string& path) {
    return {{.kind = DirectoryChange::Kind::appeared, .entry = {.path = path, .attributes = {}}, .formerPath = ""}};
  }

  ScriptedFileManager files_;
  std::shared_ptr<Script> script_ = std::make_shared<Script>();
  DirectoryDepth depth_ = DirectoryDepth::entries;
};

TEST_F(DirectoryChangesTest, FirstElementListsAnEmptyDirectoryToo) {
  syncWait([&]() -> Async<void> {
    auto iterator = changes().makeAsyncIterator();
    EXPECT_EQ(co_await iterator.next(), Changes());
    put("a");
    DirectoryModel model;
    while (model.listing() != "a 0 4\n") model.apply((co_await iterator.next()).value());
  });
}

using DirectoryChangesDeathTest = DirectoryChangesTest;

TEST_F(DirectoryChangesDeathTest, OnlyOneTaskMayAwaitChanges) {
  const auto wait = [](DirectoryChanges followed) -> Async<void> {
    auto iterator = followed.makeAsyncIterator();
    co_await iterator.next();
  };
  EXPECT_DEATH(syncWait([&]() -> Async<void> {
                 const DirectoryChanges followed = changes();
                 co_await wait(followed);  // Takes the listing.
                 Task<> first([&] { return wait(followed); });
                 Task<> second([&] { return wait(followed); });
                 co_await first.value();
                 co_await second.value();
               }),
               "Two tasks wait for the changes of one file or directory");
}

TEST_F(DirectoryChangesTest, MissingDirectoryFailsAtOnce) {
  syncWait([&]() -> Async<void> {
    auto iterator = directoryChanges(FileManager::default_(), URL::fileURLWithPath(path("none"))).makeAsyncIterator();
    try {
      co_await iterator.next();
      ADD_FAILURE() << "nothing was thrown";
    } catch (const POSIXError& error) {
      EXPECT_EQ(error.code(), ENOENT);
    }
  });
}

TEST_F(DirectoryChangesTest, RemovedDirectoryFailsAfterOneSecond) {
  std::filesystem::create_directory(path("followed"));
  syncWait([&]() -> Async<void> {
    auto iterator = directoryChanges(FileManager::default_(), URL::fileURLWithPath(path("followed")), {}, clock_)
                        .makeAsyncIterator();
    co_await iterator.next();
    std::filesystem::remove(path("followed"));
    Task<int> next([&]() -> Async<int> {
      try {
        co_await iterator.next();
        co_return 0;
      } catch (const POSIXError& error) {
        co_return static_cast<int>(error.code());
      }
    });
    while (clock_.timerCount() == 0) co_await Task<>::yield();
    EXPECT_FALSE(next.isFinished());
    clock_.advance(1s);
    EXPECT_EQ(co_await next.value(), ENOENT);
    EXPECT_EQ(co_await iterator.next(), std::nullopt);
  });
}

TEST_F(DirectoryChangesTest, CancellationEndsTheSequenceOfAMissingDirectory) {
  std::filesystem::create_directory(path("followed"));
  syncWait([&]() -> Async<void> {
    auto iterator = directoryChanges(FileManager::default_(), URL::fileURLWithPath(path("followed")), {}, clock_)
                        .makeAsyncIterator();
    co_await iterator.next();
    std::filesystem::remove(path("followed"));
    Task<bool> next([&]() -> Async<bool> { co_return (co_await iterator.next()).has_value(); });
    while (clock_.timerCount() == 0) co_await Task<>::yield();
    next.cancel();
    EXPECT_FALSE(co_await next.value());
  });
}

TEST_F(DirectoryChangesTest, DirectoryRestoredWithinASecondIsFollowed) {
  std::filesystem::create_directory(path("followed"));
  put("followed/old");
  syncWait([&]() -> Async<void> {
    auto iterator = directoryChanges(FileManager::default_(), URL::fileURLWithPath(path("followed")), {}, clock_)
                        .makeAsyncIterator();
    DirectoryModel model;
    model.apply((co_await iterator.next()).value());
    std::filesystem::rename(path("followed"), path("away"));
    Task<Changes> next([&]() -> Async<Changes> { co_return (co_await iterator.next()).value(); });
    while (clock_.timerCount() == 0) co_await Task<>::yield();
    std::filesystem::create_directory(path("followed"));
    put("followed/new");
    clock_.advance(1s);
    model.apply(co_await next.value());
    EXPECT_EQ(model.listing(), "new 0 4\n");
  });
}

TEST_F(DirectoryChangesTest, DeepTreeIsListedAgainWithFewDescriptors) {
  constexpr int levels = 100;
  const std::string deepest = Tests::pathOfDepth(levels);
  std::filesystem::create_directories(path("followed/" + deepest));
  syncWait([&]() -> Async<void> {
    auto iterator = directoryChanges(FileManager::default_(), URL::fileURLWithPath(path("followed")),
                                     {.depth = DirectoryDepth::tree}, clock_)
                        .makeAsyncIterator();
    co_await iterator.next();
    std::filesystem::rename(path("followed"), path("away"));
    Task<Changes> next([&]() -> Async<Changes> { co_return (co_await iterator.next()).value(); });
    while (clock_.timerCount() == 0) co_await Task<>::yield();
    std::filesystem::rename(path("away"), path("followed"));
    put("followed/" + deepest + "/added");
    const auto limit = Tests::fewDescriptors(levels / 2);
    clock_.advance(1s);
    EXPECT_EQ((co_await next.value()).back().entry.path, deepest + "/added");
  });
}

TEST_F(ScriptedDirectoryChanges, DebounceCollectsLaterChanges) {
  syncWait([&]() -> Async<void> {
    auto iterator = scripted({.depth = DirectoryDepth::tree, .debounce = 200ms}).makeAsyncIterator();
    co_await iterator.next();
    EXPECT_EQ(depth_, DirectoryDepth::tree);
    Task<Changes> next([&]() -> Async<Changes> { co_return (co_await iterator.next()).value(); });
    script_->wake();
    while (clock_.timerCount() == 0) co_await Task<>::yield();
    script_->takes.push_back([] { return appearance("late"); });
    clock_.advance(199ms);
    for (int turn = 0; turn < 50; ++turn) co_await Task<>::yield();
    EXPECT_FALSE(next.isFinished());
    clock_.advance(1ms);
    EXPECT_EQ(co_await next.value(), appearance("late"));
  });
}

// Changes wait whenever the source is asked, as in a directory that another program writes all the time.
TEST_F(ScriptedDirectoryChanges, DebounceSeparatesElementsOfABusyDirectory) {
  script_->takes.assign(4, [] { return appearance("busy"); });
  syncWait([&]() -> Async<void> {
    auto iterator = scripted({.debounce = 300ms}).makeAsyncIterator();
    co_await iterator.next();
    for (std::size_t left = 3; left > 0; --left) {
      Task<Changes> next([&]() -> Async<Changes> { co_return (co_await iterator.next()).value(); });
      while (clock_.timerCount() == 0 && !next.isFinished()) co_await Task<>::yield();
      clock_.advance(299ms);
      EXPECT_EQ(script_->takes.size(), left) << "the element came early";
      clock_.advance(1ms);
      EXPECT_EQ(co_await next.value(), appearance("busy"));
    }
  });
}

TEST_F(ScriptedDirectoryChanges, SlowConsumerGetsChangesAtOnceAfterTheDebounce) {
  script_->takes.assign(2, [] { return appearance("earlier"); });
  syncWait([&]() -> Async<void> {
    auto iterator = scripted({.debounce = 300ms}).makeAsyncIterator();
    co_await iterator.next();
    clock_.advance(300ms);
    EXPECT_EQ(co_await iterator.next(), appearance("earlier"));
    EXPECT_EQ(clock_.timerCount(), 0U);
  });
}

TEST_F(ScriptedDirectoryChanges, LastChangeOfABurstIsDeliveredWithinTheDebounce) {
  syncWait([&]() -> Async<void> {
    auto iterator = scripted({.debounce = 300ms}).makeAsyncIterator();
    co_await iterator.next();
    Task<Changes> next([&]() -> Async<Changes> { co_return (co_await iterator.next()).value(); });
    script_->wake();
    while (clock_.timerCount() == 0) co_await Task<>::yield();
    clock_.advance(100ms);
    script_->takes.push_back([] { return appearance("last"); });
    clock_.advance(200ms);
    EXPECT_EQ(co_await next.value(), appearance("last"));
  });
}

TEST_F(ScriptedDirectoryChanges, CancellationEndsTheSequenceDuringADebounce) {
  syncWait([&]() -> Async<void> {
    auto iterator = scripted({.depth = DirectoryDepth::entries, .debounce = 1h}).makeAsyncIterator();
    co_await iterator.next();
    Task<bool> next([&]() -> Async<bool> { co_return (co_await iterator.next()).has_value(); });
    script_->wake();
    while (clock_.timerCount() == 0) co_await Task<>::yield();
    next.cancel();
    EXPECT_FALSE(co_await next.value());
  });
}

TEST_F(ScriptedDirectoryChanges, DirectoryIsWatchedBesideTheThreadOfTheCaller) {
  std::thread::id maker;
  files_.directorySource = [&, make = files_.directorySource](const URL& url, DirectoryDepth depth,
                                                              std::function<void()> wake) {
    maker = std::this_thread::get_id();
    return make(url, depth, std::move(wake));
  };
  syncWait([&]() -> Async<void> {
    const DirectoryChanges followed = scripted();
    EXPECT_EQ(maker, std::thread::id());
    auto iterator = followed.makeAsyncIterator();
    EXPECT_EQ(co_await iterator.next(), Changes());
  });
  EXPECT_NE(maker, std::thread::id());
  EXPECT_NE(maker, std::this_thread::get_id());
}

TEST_F(ScriptedDirectoryChanges, SourceEndsBesideTheThreadOfTheCaller) {
  syncWait([&]() -> Async<void> {
    auto iterator = scripted().makeAsyncIterator();
    co_await iterator.next();
  });
  EXPECT_NE(script_->end.get_future().get(), std::this_thread::get_id());
}

TEST_F(ScriptedDirectoryChanges, RemoteDirectoryIsPolledEverySecond) {
  script_->isRemote = true;
  syncWait([&]() -> Async<void> {
    auto iterator = scripted().makeAsyncIterator();
    co_await iterator.next();
    Task<Changes> next([&]() -> Async<Changes> { co_return (co_await iterator.next()).value(); });
    while (clock_.timerCount() == 0) co_await Task<>::yield();
    script_->takes.push_back([] { return appearance("theirs"); });
    clock_.advance(1s);
    EXPECT_EQ(co_await next.value(), appearance("theirs"));
  });
}

TEST_F(ScriptedDirectoryChanges, LimitOfWatchesFailsTheSequence) {
  script_->takes.push_back([]() -> Changes { throw POSIXError(ENOSPC); });
  syncWait([&]() -> Async<void> {
    auto iterator = scripted().makeAsyncIterator();
    try {
      co_await iterator.next();
      ADD_FAILURE() << "nothing was thrown";
    } catch (const POSIXError& error) {
      EXPECT_EQ(error.code(), ENOSPC);
    }
  });
}

TEST(ScriptedFileManagerTest, ListsScriptedEntries) {
  ScriptedFileManager files;
  files.list = [](const URL&) { return std::vector<DirectoryEntry>{{.path = "a", .attributes = {}}}; };
  EXPECT_EQ(files.contentsOfDirectory(URL::fileURLWithPath("/")).at(0).path, "a");
}

TEST(ScriptedFileManagerTest, LetsWritesAndNewDirectoriesFail) {
  ScriptedFileManager files;
  files.writing = [](const Data&, const URL&) { throw POSIXError(ENOSPC); };
  files.directoryCreation = [](const URL&, IntermediateDirectories) { throw POSIXError(EROFS); };
  const URL url = URL::fileURLWithPath("/never-written");
  EXPECT_THROW(files.write(Data("text"), url), POSIXError);
  EXPECT_THROW(files.createDirectory(url, IntermediateDirectories::created), POSIXError);
}

}  // namespace
}  // namespace Tessaly
