// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "Tessaly/Core/Foundation/Bundle.hpp"
#include "Tessaly/Core/Foundation/POSIXError.hpp"
#include "Tessaly/Core/Foundation/ProcessInfo.hpp"
#include "Tessaly/Core/Logging/LogBackend.hpp"
#include "Tessaly/Core/Tasks/MainQueue.hpp"
#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"
#include "Tessaly/Core/Tasks/detail/InotifyHub.hpp"
#include "Tessaly/Platform/Testing/ManualClock.hpp"
#include "Tessaly/Platform/Testing/RecordingLogBackend.hpp"
#include "Tessaly/Platform/Testing/ScriptedFileManager.hpp"
#include "Tessaly/SystemServices/FileManager+FileSystemEventsExtensions.hpp"
#include "tests/Support/KeptAlive.hpp"
#include "tests/Support/Pause.hpp"
#include "tests/Support/Repetitions.hpp"
#include "tests/Support/TemporaryFolder.hpp"

namespace Tessaly {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using Tests::repetitions;
using Tests::TemporaryFolder;

class FileManagerFileSystemEvents : public testing::Test {
 protected:
  FileManagerFileSystemEvents() { Bundle::setMain({.identifier = "org.example.files"}); }

  [[nodiscard]] std::string path(std::string_view name) const { return folder.path() + "/" + std::string(name); }
  [[nodiscard]] URL url(std::string_view name) const { return URL::fileURLWithPath(path(name)); }
  void put(std::string_view name, std::string_view text) const { std::ofstream(path(name)) << text; }
  void replace(std::string_view name, std::string_view text) const {
    put(std::string(name) + ".new", text);
    std::filesystem::rename(path(std::string(name) + ".new"), path(name));
  }
  /// The number of descriptors of files in the directory.
  [[nodiscard]] int openInFolder() const {
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
      std::error_code ignored;
      count += std::filesystem::read_symlink(entry.path(), ignored).string().starts_with(folder.path()) ? 1 : 0;
    }
    return count;
  }
  /// Lets the other tasks run until the condition holds.
  template <typename Condition>
  static Async<void> until(Condition condition) {
    while (!condition()) co_await Task<>::yield();
  }

  TemporaryFolder folder;
  FileManager& files = FileManager::default_();
  std::shared_ptr<ScriptedFileManager> scripted = Tests::keptAlive(std::make_shared<ScriptedFileManager>());
  std::shared_ptr<RecordingLogBackend> log = std::make_shared<RecordingLogBackend>();
  LogBackendInstallation installation{log};
};

TEST_F(FileManagerFileSystemEvents, EachWriteGivesOneElement) {
  put("a", "one");
  syncWait([&]() -> Async<void> {
    const auto events = writeFileSystemEvents(*scripted, url("a"), 1);
    for (int round = 0; round < 3; ++round) {
      Task<bool> next([events]() -> Async<bool> {
        auto iterator = events.makeAsyncIterator();
        co_return (co_await iterator.next()).has_value();
      });
      co_await until([&] { return scripted->activeSources() == 1; });
      EXPECT_EQ(scripted->fire(FileSystemEvent::write), 1);
      EXPECT_TRUE(co_await next.value());
    }
  });
}

TEST_F(FileManagerFileSystemEvents, UnreadableReplacementEndsTheSequenceWithItsError) {
  put("a", "one");
  scripted->open = [&](const URL&) -> FileHandle {
    replace("a", "two");
    detail::InotifyHub::shared().drain();  // The replacement is known before the error.
    throw POSIXError(EACCES);
  };
  syncWait([&]() -> Async<void> {
    auto iterator = writeFileSystemEvents(*scripted, url("a"), 1).makeAsyncIterator();
    try {
      co_await iterator.next();
      ADD_FAILURE();
    } catch (const POSIXError& error) {
      EXPECT_EQ(error.code(), EACCES);
    }
  });
}

TEST_F(FileManagerFileSystemEvents, NothingIsHeldBetweenElements) {
  put("a", "one");
  syncWait([&]() -> Async<void> {
    auto iterator = writeFileSystemEvents(*scripted, url("a"), 1).makeAsyncIterator();
    for (int round = 0; round < repetitions(50); ++round) {
      Task<> writer([&]() -> Async<void> {
        co_await until([&] { return scripted->activeSources() == 1; });
        EXPECT_EQ(openInFolder(), 1);
        scripted->fire(FileSystemEvent::write);
      });
      EXPECT_TRUE(co_await iterator.next());
      EXPECT_EQ(openInFolder(), 0);
      EXPECT_EQ(scripted->accessesBegun(), round + 1);
      EXPECT_EQ(scripted->accessesEnded(), round + 1);
      co_await writer.value();
    }
  });
}

TEST_F(FileManagerFileSystemEvents, OnlyEventsWithTheWriteKindCount) {
  put("a", "one");
  syncWait([&]() -> Async<void> {
    Task<> next([&]() -> Async<void> {
      auto iterator = writeFileSystemEvents(*scripted, url("a"), 1).makeAsyncIterator();
      EXPECT_TRUE(co_await iterator.next());
    });
    co_await until([&] { return scripted->activeSources() == 1; });
    scripted->fire(FileSystemEvent::extend | FileSystemEvent::attrib);
    scripted->fire(FileSystemEvent::delete_);
    co_await Tests::pause(1000);
    EXPECT_FALSE(next.isFinished());
    EXPECT_EQ(scripted->activeSources(), 1);
    scripted->fire(FileSystemEvent::write | FileSystemEvent::extend);
    co_await next.value();
  });
}

TEST_F(FileManagerFileSystemEvents, PendingElementFollowsAReplacement) {
  put("a", "one");
  syncWait([&]() -> Async<void> {
    Task<> next([&]() -> Async<void> {
      auto iterator = writeFileSystemEvents(*scripted, url("a"), 1).makeAsyncIterator();
      EXPECT_TRUE(co_await iterator.next());
    });
    for (int round = 1; round < repetitions(20); ++round) {
      co_await until([&] { return scripted->accessesBegun() == round && scripted->activeSources() == 1; });
      replace("a", "two");
    }
    co_await until([&] { return scripted->accessesBegun() == repetitions(20) && scripted->activeSources() == 1; });
    co_await Tests::pause(100);
    EXPECT_FALSE(next.isFinished());
    EXPECT_EQ(scripted->accessesEnded(), repetitions(20) - 1);
    EXPECT_EQ(openInFolder(), 1);
    scripted->fire(FileSystemEvent::write);
    co_await next.value();
    EXPECT_EQ(openInFolder(), 0);
    EXPECT_EQ(scripted->accessesEnded(), scripted->accessesBegun());
  });
}

TEST_F(FileManagerFileSystemEvents, PendingElementFollowsARecreatedFile) {
  std::filesystem::create_directory(path("folder"));
  put("folder/a", "one");
  syncWait([&]() -> Async<void> {
    Task<> next([&]() -> Async<void> {
      auto iterator = writeFileSystemEvents(files, url("folder/a"), 0.001).makeAsyncIterator();
      EXPECT_TRUE(co_await iterator.next());
    });
    co_await until([&] { return openInFolder() == 1; });
    std::filesystem::remove(path("folder/a"));
    std::filesystem::rename(path("folder"), path("away"));
    co_await Tests::pause(100);
    EXPECT_FALSE(next.isFinished());
    std::filesystem::create_directory(path("folder"));
    // A write before the watch of the new file is not noticed, so the writer continues until one is noticed.
    while (!next.isFinished()) {
      put("folder/a", "two");
      co_await Task<>::yield();
    }
    co_await next.value();
  });
}

TEST_F(FileManagerFileSystemEvents, MovedFileCountsUntilItIsReplaced) {
  put("a", "one");
  syncWait([&]() -> Async<void> {
    Task<> next([&]() -> Async<void> {
      auto iterator = writeFileSystemEvents(*scripted, url("a"), 1).makeAsyncIterator();
      EXPECT_TRUE(co_await iterator.next());
    });
    co_await until([&] { return scripted->activeSources() == 1; });
    std::filesystem::rename(path("a"), path("b"));
    co_await Tests::pause(100);
    EXPECT_EQ(scripted->accessesEnded(), 0);
    scripted->fire(FileSystemEvent::write);
    co_await next.value();
    EXPECT_EQ(scripted->accessesBegun(), 1);
  });
}

TEST_F(FileManagerFileSystemEvents, MissingFileIsSearchedAtEachInterval) {
  ManualClock clock;
  std::atomic<bool> isThere{false};
  scripted->exists = [&](const std::string& asked) {
    EXPECT_EQ(asked, path("a"));
    return isThere.load();
  };
  put("a", "one");
  syncWait([&]() -> Async<void> {
    Task<> next([&]() -> Async<void> {
      auto iterator = writeFileSystemEvents(*scripted, url("a"), 2.5, clock).makeAsyncIterator();
      EXPECT_TRUE(co_await iterator.next());
    });
    co_await until([&] { return clock.timerCount() == 1; });
    EXPECT_EQ(scripted->existenceChecks(), 1);
    clock.advance(std::chrono::milliseconds(2499));
    co_await Tests::pause(100);
    EXPECT_EQ(scripted->existenceChecks(), 1);
    isThere = true;
    clock.advance(std::chrono::milliseconds(1));
    co_await until([&] { return scripted->activeSources() == 1; });
    EXPECT_EQ(scripted->existenceChecks(), 2);
    scripted->fire(FileSystemEvent::write);
    co_await next.value();
  });
}

TEST_F(FileManagerFileSystemEvents, InvalidIntervalsAreReplacedByLimits) {
  ManualClock clock;
  constexpr double infinity = std::numeric_limits<double>::infinity();
  const auto waits = [&](double interval, std::chrono::nanoseconds expected) -> Async<void> {
    const int before = scripted->existenceChecks();
    Task<> next([&, interval]() -> Async<void> {
      auto iterator = writeFileSystemEvents(*scripted, url("missing"), interval, clock).makeAsyncIterator();
      EXPECT_THROW(co_await iterator.next(), CancellationError);
    });
    co_await until([&] { return clock.timerCount() == 1; });
    clock.advance(expected - std::chrono::nanoseconds(1));
    co_await Tests::pause(100);
    EXPECT_EQ(scripted->existenceChecks(), before + 1) << interval;
    clock.advance(std::chrono::nanoseconds(1));
    co_await until([&] { return scripted->existenceChecks() == before + 2 && clock.timerCount() == 1; });
    next.cancel();
    co_await next.value();
  };
  syncWait([&]() -> Async<void> {
    for (const double interval : {0.0, -1.0, -infinity, std::numeric_limits<double>::quiet_NaN(), 1e-300}) {
      co_await waits(interval, std::chrono::milliseconds(1));
    }
    for (const double interval : {infinity, 1e300}) co_await waits(interval, std::chrono::hours(365 * 24));
  });
}

TEST_F(FileManagerFileSystemEvents, InvalidFileNamesAreTreatedAsMissing) {
  std::filesystem::create_symlink("nowhere", path("dangling"));
  std::filesystem::create_symlink("loop", path("loop"));
  put("file", "");
  std::string deep = "x";
  while (path(deep).size() < 4096) deep += "/abcdefg";
  syncWait([&]() -> Async<void> {
    for (const std::string& name : {std::string("dangling"), std::string("loop"), std::string("file/below"), deep}) {
      ManualClock clock;
      Task<> next([&]() -> Async<void> {
        auto iterator = writeFileSystemEvents(files, url(name), 10, clock).makeAsyncIterator();
        EXPECT_THROW(co_await iterator.next(), CancellationError);
      });
      co_await until([&] { return clock.timerCount() == 1; });
      next.cancel();
      co_await next.value();
    }
  });
  EXPECT_TRUE(log->records().empty());
}

TEST_F(FileManagerFileSystemEvents, WritesToIllFormedNamesAreNoticed) {
  put("\xFF\xFE", "1");
  syncWait([&]() -> Async<void> {
    Task<> next([&]() -> Async<void> {
      auto iterator = writeFileSystemEvents(files, url("\xFF\xFE"), 1).makeAsyncIterator();
      EXPECT_TRUE(co_await iterator.next());
    });
    // A write before the watch is not noticed.
    while (!next.isFinished()) {
      put("\xFF\xFE", "2");
      co_await Task<>::yield();
    }
    co_await next.value();
  });
}

TEST_F(FileManagerFileSystemEvents, UnreadableFileIsAnError) {
  put("a", "1");
  ASSERT_EQ(::chmod(folder.path().c_str(), 0777), 0);
  ASSERT_EQ(::chmod(path("a").c_str(), 0222), 0);
  // Root may read everything, so the test continues as another user.
  constexpr uid_t nobody = 65534;
  if (::geteuid() == 0) ASSERT_EQ(::seteuid(nobody), 0);
  const auto codeOf = [](auto body) -> std::int64_t {
    try {
      syncWait(body);
    } catch (const POSIXError& error) {
      return error.code();
    }
    return 0;
  };
  EXPECT_EQ(codeOf([&]() -> Async<void> {
              auto iterator = writeFileSystemEvents(files, url("a"), 1).makeAsyncIterator();
              co_await iterator.next();
            }),
            EACCES);
  EXPECT_EQ(codeOf([&]() -> Async<void> {
              auto iterator = writeFileSystemEventsWithData(files, url("a"), 1).makeAsyncIterator();
              co_await iterator.next();
            }),
            EACCES);
  EXPECT_EQ(codeOf([&] { return nextFileSystemDelete(files, url("a")); }), EACCES);
  static_cast<void>(::seteuid(::getuid()));
}

TEST_F(FileManagerFileSystemEvents, FailureToCloseTheFileIsIgnored) {
  put("a", "1");
  // No open descriptor has this number, so closing it fails.
  scripted->open = [](const URL&) { return FileHandle(std::numeric_limits<int>::max()); };
  syncWait([&]() -> Async<void> {
    Task<> next([&]() -> Async<void> {
      auto iterator = writeFileSystemEvents(*scripted, url("a"), 1).makeAsyncIterator();
      EXPECT_TRUE(co_await iterator.next());
    });
    co_await until([&] { return scripted->activeSources() == 1; });
    scripted->fire(FileSystemEvent::write);
    co_await next.value();
  });
  EXPECT_TRUE(log->records().empty());
}

TEST_F(FileManagerFileSystemEvents, CancellingTheWaitForAMissingFileThrows) {
  ManualClock clock;
  syncWait([&]() -> Async<void> {
    Task<> next([&]() -> Async<void> {
      auto iterator = writeFileSystemEvents(files, url("missing"), 10, clock).makeAsyncIterator();
      EXPECT_THROW(co_await iterator.next(), CancellationError);
      EXPECT_FALSE(co_await iterator.next());
    });
    co_await until([&] { return clock.timerCount() == 1; });
    next.cancel();
    co_await next.value();
  });
}

TEST_F(FileManagerFileSystemEvents, CancellingAWaitEndsTheSequenceAndClosesTheFile) {
  put("a", "one");
  syncWait([&]() -> Async<void> {
    Task<> next([&]() -> Async<void> {
      auto iterator = writeFileSystemEvents(*scripted, url("a"), 1).makeAsyncIterator();
      EXPECT_FALSE(co_await iterator.next());
    });
    co_await until([&] { return scripted->activeSources() == 1; });
    next.cancel();
    co_await next.value();
    co_await until([&] { return openInFolder() == 0; });
    EXPECT_EQ(scripted->accessesEnded(), 1);
  });
}

TEST_F(FileManagerFileSystemEvents, RefusedAccessIsALoggedErrorWithCode257) {
  put("a", "one");
  scripted->grantsAccess = [](const URL&) { return false; };
  syncWait([&]() -> Async<void> {
    auto iterator = writeFileSystemEvents(*scripted, url("a"), 1).makeAsyncIterator();
    try {
      co_await iterator.next();
      ADD_FAILURE();
    } catch (const POSIXError& error) {
      EXPECT_EQ(error.code(), 257);
      EXPECT_EQ(error.domain(), "NSPOSIXErrorDomain");
    }
    EXPECT_FALSE(co_await iterator.next());
  });
  EXPECT_EQ(scripted->accessesEnded(), 1);
  ASSERT_EQ(log->records().size(), 1u);
  const RecordedLog record = log->records().front();
  EXPECT_EQ(record.subsystem, "org.example.files.Tessaly");
  EXPECT_EQ(record.category, "FileSystemEvent");
  EXPECT_EQ(record.type, OSLogType::error);
  EXPECT_THAT(record.composedMessage, HasSubstr("Error Domain=NSPOSIXErrorDomain Code=257 \"(null)\""));
}

TEST_F(FileManagerFileSystemEvents, UnopenableFileIsALoggedError) {
  scripted->exists = [](const std::string&) { return true; };
  syncWait([&]() -> Async<void> {
    auto iterator = writeFileSystemEvents(*scripted, url("missing"), 1).makeAsyncIterator();
    EXPECT_THROW(co_await iterator.next(), POSIXError);
  });
  EXPECT_EQ(scripted->accessesBegun(), 1);
  EXPECT_EQ(scripted->accessesEnded(), 1);
  ASSERT_EQ(log->messages().size(), 1u);
  EXPECT_THAT(log->messages().front(), HasSubstr("No such file or directory"));
}

TEST_F(FileManagerFileSystemEvents, FirstElementIsTheCurrentContents) {
  put("a", "one");
  syncWait([&]() -> Async<void> {
    auto iterator = writeFileSystemEventsWithData(*scripted, url("a"), 1).makeAsyncIterator();
    const auto first = co_await iterator.next();
    EXPECT_EQ(first->text(), "one");
    co_await until([&] { return scripted->activeSources() == 1; });
    put("a", "two");
    scripted->fire(FileSystemEvent::write);
    const auto second = co_await iterator.next();
    EXPECT_EQ(second->text(), "two");
  });
}

TEST_F(FileManagerFileSystemEvents, FailingLaterReadGivesNoElement) {
  put("a", "one");
  std::atomic<int> reads{0};
  scripted->read = [&](const URL& file) {
    if (++reads == 2) throw POSIXError(EIO);
    return Data::contentsOf(file);
  };
  syncWait([&]() -> Async<void> {
    auto iterator = writeFileSystemEventsWithData(*scripted, url("a"), 1).makeAsyncIterator();
    EXPECT_EQ((co_await iterator.next())->text(), "one");
    Task<> writer([&]() -> Async<void> {
      while (reads < 3) {
        scripted->fire(FileSystemEvent::write);
        co_await Task<>::yield();
      }
    });
    EXPECT_EQ((co_await iterator.next())->text(), "one");
    EXPECT_EQ(reads, 3);
    co_await writer.value();
  });
}

TEST_F(FileManagerFileSystemEvents, FailingFirstReadFailsTheSequence) {
  syncWait([&]() -> Async<void> {
    auto iterator = writeFileSystemEventsWithData(files, url("missing"), 1).makeAsyncIterator();
    EXPECT_THROW(co_await iterator.next(), POSIXError);
    EXPECT_FALSE(co_await iterator.next());
  });
}

TEST_F(FileManagerFileSystemEvents, ContentsOfDirectoriesAndHugeFilesFail) {
  std::filesystem::create_directory(path("folder"));
  put("huge", "");
  // The file is sparse and takes no room on the disk.
  std::filesystem::resize_file(path("huge"), std::uintmax_t{10} << 40);
  const auto codeOf = [&](const char* name) -> std::int64_t {
    try {
      syncWait([&]() -> Async<void> {
        auto iterator = writeFileSystemEventsWithData(files, url(name), 1).makeAsyncIterator();
        co_await iterator.next();
      });
    } catch (const POSIXError& error) {
      return error.code();
    }
    return 0;
  };
  EXPECT_EQ(codeOf("folder"), EISDIR);
  EXPECT_EQ(codeOf("huge"), ENOMEM);
}

TEST_F(FileManagerFileSystemEvents, FailingWatchFailsTheContents) {
  put("a", "one");
  scripted->grantsAccess = [](const URL&) { return false; };
  syncWait([&]() -> Async<void> {
    auto iterator = writeFileSystemEventsWithData(*scripted, url("a"), 1).makeAsyncIterator();
    try {
      // The contents may come before the failure.
      while (co_await iterator.next()) {
      }
      ADD_FAILURE();
    } catch (const POSIXError& error) {
      EXPECT_EQ(error.code(), 257);
    }
    EXPECT_FALSE(co_await iterator.next());
  });
}

using FileManagerFileSystemEventsDeathTest = FileManagerFileSystemEvents;

TEST_F(FileManagerFileSystemEventsDeathTest, FirstReadMustBeOnTheMainThread) {
  put("a", "one");
  EXPECT_DEATH(std::thread([&] { static_cast<void>(writeFileSystemEventsWithData(files, url("a"), 1)); }).join(),
               "Tessaly/FileManager\\+FileSystemEventsExtensions:42: Fatal error: Incorrect actor executor assumption; "
               "Expected same executor as ");
}

TEST_F(FileManagerFileSystemEventsDeathTest, OnlyOneTaskMayAwaitChanges) {
  put("a", "one");
  const auto wait = [](FileChanges changes) -> Async<void> {
    auto iterator = changes.makeAsyncIterator();
    co_await iterator.next();
  };
  EXPECT_DEATH(syncWait([&]() -> Async<void> {
                 const FileChanges changes = fileChanges(files, url("a"));
                 Task<> first([&] { return wait(changes); });
                 Task<> second([&] { return wait(changes); });
                 co_await first.value();
                 co_await second.value();
               }),
               "Two tasks wait for the changes of one file or directory");
}

TEST_F(FileManagerFileSystemEvents, NextDeleteCompletesAtTheDeletion) {
  put("a", "one");
  syncWait([&]() -> Async<void> {
    Task<> wait([&] { return nextFileSystemDelete(*scripted, url("a")); });
    co_await until([&] { return scripted->activeSources() == 1; });
    scripted->fire(FileSystemEvent::write);
    scripted->fire(FileSystemEvent::delete_ | FileSystemEvent::link);
    co_await wait.value();
    EXPECT_EQ(openInFolder(), 0);
    EXPECT_EQ(scripted->accessesEnded(), 1);
  });
}

TEST_F(FileManagerFileSystemEvents, NextDeleteOfAMissingFileFails) {
  EXPECT_THROW(syncWait([&] { return nextFileSystemDelete(files, url("missing")); }), POSIXError);
}

TEST_F(FileManagerFileSystemEvents, NextDeleteWithoutAccessFailsAndIsLogged) {
  put("a", "one");
  scripted->grantsAccess = [](const URL&) { return false; };
  try {
    syncWait([&] { return nextFileSystemDelete(*scripted, url("a")); });
    ADD_FAILURE();
  } catch (const POSIXError& error) {
    EXPECT_EQ(error.code(), 257);
  }
  EXPECT_EQ(scripted->accessesEnded(), 1);
  EXPECT_EQ(log->records().size(), 1u);
}

TEST_F(FileManagerFileSystemEvents, NextDeleteIsSetUpOnTheMainThread) {
  put("a", "one");
  std::atomic<bool> wasMain{false};
  scripted->open = [&](const URL& file) {
    wasMain = MainQueue::isMainThread();
    return files.openForReading(file);
  };
  syncWait([&]() -> Async<void> {
    const auto wait = Task<>::detached([&]() -> Async<void> {
      EXPECT_FALSE(MainQueue::isMainThread());
      co_await nextFileSystemDelete(*scripted, url("a"));
    });
    co_await until([&] { return scripted->activeSources() == 1; });
    scripted->fire(FileSystemEvent::delete_);
    co_await wait.value();
  });
  EXPECT_TRUE(wasMain);
}

TEST_F(FileManagerFileSystemEvents, CancelledNextDeleteThrows) {
  put("a", "one");
  syncWait([&]() -> Async<void> {
    Task<> wait([&] { return nextFileSystemDelete(*scripted, url("a")); });
    co_await until([&] { return scripted->activeSources() == 1; });
    wait.cancel();
    EXPECT_THROW(co_await wait.value(), CancellationError);
    co_await until([&] { return openInFolder() == 0; });
  });
}

TEST_F(FileManagerFileSystemEvents, WritingMakesMissingDirectories) {
  writeData(files, Data(std::string_view("hello")), url("x/y/z/file"), false);
  EXPECT_EQ(Data::contentsOf(url("x/y/z/file")).text(), "hello");
  EXPECT_FALSE(files.isExcludedFromBackup(url("x/y/z")));
  writeData(files, Data(std::string_view("hi")), url("x/y/z/file"), false);
  EXPECT_EQ(Data::contentsOf(url("x/y/z/file")).text(), "hi");
}

TEST_F(FileManagerFileSystemEvents, ExcludingFromBackupMarksTheDirectory) {
  writeData(files, Data(), url("x/y/file"), true);
  EXPECT_TRUE(files.isExcludedFromBackup(url("x/y")));
  EXPECT_FALSE(files.isExcludedFromBackup(url("x/y/file")));
  EXPECT_FALSE(files.isExcludedFromBackup(url("x")));
}

TEST_F(FileManagerFileSystemEvents, FailingStepOfWritingKeepsEarlierSteps) {
  put("file", "");
  EXPECT_THROW(writeData(files, Data(), url("file/below/a"), false), POSIXError);
  std::filesystem::create_directories(path("dir/taken"));
  EXPECT_THROW(writeData(files, Data(), url("dir/taken"), true), POSIXError);
  EXPECT_FALSE(files.isExcludedFromBackup(url("dir")));
  scripted->excludeFromBackup = [](const URL&) { throw POSIXError(EROFS); };
  EXPECT_THROW(writeData(*scripted, Data(std::string_view("kept")), url("new/a"), true), POSIXError);
  EXPECT_EQ(Data::contentsOf(url("new/a")).text(), "kept");
}

TEST_F(FileManagerFileSystemEvents, AvailableMemoryIsThatOfTheHomeVolume) {
  scripted->capacity = [&](const URL& asked) -> std::optional<std::int64_t> {
    EXPECT_EQ(asked, files.homeDirectoryForCurrentUser());
    return 12'345'678'901;
  };
  EXPECT_EQ(availableDiskMemoryBytes(*scripted).value(), 12'345'678'901.0);
  EXPECT_EQ(availableDiskMemoryBytes(*scripted).unit(), UnitInformationStorage::bytes);
  EXPECT_GT(availableDiskMemoryBytes(files).value(), 0);
}

TEST_F(FileManagerFileSystemEvents, UnknownAvailableMemoryIsZero) {
  scripted->capacity = [](const URL&) -> std::optional<std::int64_t> { throw POSIXError(EIO); };
  EXPECT_EQ(availableDiskMemoryBytes(*scripted).value(), 0);
  scripted->capacity = [](const URL&) -> std::optional<std::int64_t> { return std::nullopt; };
  EXPECT_EQ(availableDiskMemoryBytes(*scripted).value(), 0);
}

TEST_F(FileManagerFileSystemEvents, RootDirectoryEndsWithTheIdentifierUnlessSandboxed) {
  const ProcessInfo free({.environment = std::map<std::string, std::string>{{"XDG_DATA_HOME", "/data"}}});
  {
    const ProcessInfo::Replacement replacement(free);
    EXPECT_EQ(rootDirectory(files).absoluteString(), "file:///data/org.example.files/");
  }
  const ProcessInfo boxed(
      {.environment = std::map<std::string, std::string>{{"HOME", "/home/me"}, {"APP_SANDBOX_CONTAINER_ID", ""}}});
  const ProcessInfo::Replacement replacement(boxed);
  EXPECT_EQ(rootDirectory(files).absoluteString(), "file:///home/me/.local/share/");
}

TEST(FileManagerRootDirectory, WithoutIdentifierTheRootDirectoryHasNoSuffix) {
  const ProcessInfo free({.environment = std::map<std::string, std::string>{{"XDG_DATA_HOME", "/data"}}});
  const ProcessInfo::Replacement replacement(free);
  EXPECT_EQ(rootDirectory(FileManager::default_()).path(), "/data");
}

TEST(FileManagerRootDirectoryDeathTest, MissingApplicationSupportDirectoryStopsTheProcess) {
  ScriptedFileManager files;
  files.applicationSupport.emplace();
  EXPECT_DEATH(static_cast<void>(rootDirectory(files)), "Tessaly/FileManager\\+FileSystemEventsExtensions:[0-9]+: ");
}

// The tests below use real files.

TEST_F(FileManagerFileSystemEvents, ChangesDistinguishAllKinds) {
  put("a", "one");
  syncWait([&]() -> Async<void> {
    auto changes = fileChanges(files, url("a")).makeAsyncIterator();
    put("a", "two");
    EXPECT_EQ(co_await changes.next(), FileChange::contents);
    replace("a", "three");
    EXPECT_EQ(co_await changes.next(), FileChange::replaced);
    std::ofstream(path("a"), std::ios::app) << "more";
    EXPECT_EQ(co_await changes.next(), FileChange::contents);
    std::filesystem::remove(path("a"));
    EXPECT_EQ(co_await changes.next(), FileChange::removed);
    put("a", "four");
    EXPECT_EQ(co_await changes.next(), FileChange::returned);
    std::filesystem::rename(path("a"), path("b"));
    EXPECT_EQ(co_await changes.next(), FileChange::removed);
    std::filesystem::rename(path("b"), path("a"));
    EXPECT_EQ(co_await changes.next(), FileChange::returned);
    EXPECT_EQ(::truncate(path("a").c_str(), 1), 0);
    EXPECT_EQ(co_await changes.next(), FileChange::contents);
  });
}

TEST_F(FileManagerFileSystemEvents, ChangesBetweenWaitsAreReported) {
  put("a", "one");
  syncWait([&]() -> Async<void> {
    auto changes = fileChanges(files, url("a")).makeAsyncIterator();
    for (int round = 0; round < repetitions(300); ++round) {
      replace("a", "same");
      EXPECT_EQ(co_await changes.next(), FileChange::replaced);
      put("a", "same");
      EXPECT_EQ(co_await changes.next(), FileChange::contents);
    }
  });
}

TEST_F(FileManagerFileSystemEvents, ChangeOfAttributesIsNoChange) {
  put("a", "one");
  syncWait([&]() -> Async<void> {
    auto changes = fileChanges(files, url("a")).makeAsyncIterator();
    EXPECT_EQ(::chmod(path("a").c_str(), 0600), 0);
    std::filesystem::create_hard_link(path("a"), path("b"));
    put("unrelated", "");
    Task<> next([&]() -> Async<void> { EXPECT_EQ(co_await changes.next(), FileChange::contents); });
    co_await Tests::pause(1000);
    EXPECT_FALSE(next.isFinished());
    put("b", "written under its other name");
    co_await next.value();
  });
}

TEST_F(FileManagerFileSystemEvents, ChangesFollowLinksAndDirectoriesOnThePath) {
  std::filesystem::create_directories(path("one"));
  std::filesystem::create_directories(path("two"));
  put("one/a", "1");
  put("two/a", "2");
  std::filesystem::create_symlink("one", path("current"));
  syncWait([&]() -> Async<void> {
    auto changes = fileChanges(files, url("current/a")).makeAsyncIterator();
    put("one/a", "11");
    EXPECT_EQ(co_await changes.next(), FileChange::contents);
    std::filesystem::create_symlink("two", path("next"));
    std::filesystem::rename(path("next"), path("current"));
    EXPECT_EQ(co_await changes.next(), FileChange::replaced);
    std::filesystem::rename(path("two"), path("away"));
    EXPECT_EQ(co_await changes.next(), FileChange::removed);
    std::filesystem::create_directories(path("two"));
    put("two/a", "22");
    EXPECT_EQ(co_await changes.next(), FileChange::returned);
    replace("two/a", "222");
    EXPECT_EQ(co_await changes.next(), FileChange::replaced);
  });
}

TEST_F(FileManagerFileSystemEvents, ChangesFollowMissingDirectories) {
  syncWait([&]() -> Async<void> {
    auto changes = fileChanges(files, url("x/y/a")).makeAsyncIterator();
    Task<> next([&]() -> Async<void> { EXPECT_EQ(co_await changes.next(), FileChange::returned); });
    co_await Tests::pause(100);
    std::filesystem::create_directories(path("x/y"));
    put("x/y/a", "1");
    co_await next.value();
    std::filesystem::remove_all(path("x"));
    EXPECT_EQ(co_await changes.next(), FileChange::removed);
  });
}

TEST_F(FileManagerFileSystemEvents, DanglingLinkIsAFileOnceItsTargetExists) {
  std::filesystem::create_symlink("target", path("link"));
  EXPECT_FALSE(files.fileExists(path("link")));
  syncWait([&]() -> Async<void> {
    auto changes = fileChanges(files, url("link")).makeAsyncIterator();
    put("target", "1");
    EXPECT_EQ(co_await changes.next(), FileChange::returned);
  });
}

TEST_F(FileManagerFileSystemEvents, FileThatAppearsAndDisappearsBetweenElementsGivesNone) {
  const auto source = files.makeFileChangeSource(url("a"), [] {});
  put("a", "one");
  std::filesystem::remove(path("a"));
  EXPECT_EQ(source->takeChange(), std::nullopt);
  put("a", "two");
  EXPECT_EQ(source->takeChange(), FileChange::returned);
}

TEST_F(FileManagerFileSystemEvents, FileReplacedByADirectoryIsReplacedTwice) {
  put("a", "1");
  syncWait([&]() -> Async<void> {
    auto changes = fileChanges(files, url("a")).makeAsyncIterator();
    std::filesystem::remove(path("a"));
    std::filesystem::create_directory(path("a"));
    EXPECT_EQ(co_await changes.next(), FileChange::replaced);
    std::filesystem::remove(path("a"));
    put("a", "1");
    EXPECT_EQ(co_await changes.next(), FileChange::replaced);
  });
}

TEST_F(FileManagerFileSystemEvents, UnreadableFileIsPolledEverySecond) {
  put("a", "1");
  ASSERT_EQ(::chmod(folder.path().c_str(), 0777), 0);
  ASSERT_EQ(::chmod(path("a").c_str(), 0222), 0);
  // Root may read everything, so the test continues as another user.
  constexpr uid_t nobody = 65534;
  if (::geteuid() == 0) ASSERT_EQ(::seteuid(nobody), 0);
  ManualClock clock;
  syncWait([&]() -> Async<void> {
    auto changes = fileChanges(files, url("a"), clock).makeAsyncIterator();
    const auto next = [&](FileChange expected) {
      return Task<>([&, expected]() -> Async<void> { EXPECT_EQ(co_await changes.next(), expected); });
    };
    Task<> written = next(FileChange::contents);
    co_await until([&] { return clock.timerCount() == 1; });
    std::ofstream(path("a"), std::ios::app) << "written though it cannot be read";
    co_await Tests::pause(100);
    EXPECT_FALSE(written.isFinished());
    clock.advance(std::chrono::seconds(1));
    co_await written.value();
    Task<> replaced = next(FileChange::replaced);
    // Events of the names on the path still arrive.
    replace("a", "2");
    co_await replaced.value();
  });
  static_cast<void>(::seteuid(::getuid()));
}

TEST_F(FileManagerFileSystemEvents, CancellingEndsTheChanges) {
  put("a", "1");
  syncWait([&]() -> Async<void> {
    Task<> follow([&]() -> Async<void> {
      auto changes = fileChanges(files, url("a")).makeAsyncIterator();
      EXPECT_FALSE(co_await changes.next());
      EXPECT_FALSE(co_await changes.next());
    });
    co_await Tests::pause(100);
    follow.cancel();
    co_await follow.value();
  });
}

TEST_F(FileManagerFileSystemEvents, EndlessLinksAndTooLongPathsAreMissingFiles) {
  std::filesystem::create_symlink("loop", path("loop"));
  syncWait([&]() -> Async<void> {
    auto changes = fileChanges(files, url("loop")).makeAsyncIterator();
    std::filesystem::remove(path("loop"));
    put("loop", "");
    EXPECT_EQ(co_await changes.next(), FileChange::returned);
  });
  std::string deep = folder.path();
  while (deep.size() < 4096) deep += "/abcdefg";
  EXPECT_FALSE(files.fileExists(deep));
  EXPECT_THROW(writeData(files, Data(), URL::fileURLWithPath(deep), false), POSIXError);
  EXPECT_THROW(static_cast<void>(files.openForReading(URL::fileURLWithPath(deep))), POSIXError);
  EXPECT_NO_THROW(static_cast<void>(fileChanges(files, URL::fileURLWithPath(deep))));
}

TEST_F(FileManagerFileSystemEvents, IllFormedNameIsFollowed) {
  put("\xFF\xFE.txt", "1");
  syncWait([&]() -> Async<void> {
    auto changes = fileChanges(files, url("\xFF\xFE.txt")).makeAsyncIterator();
    replace("\xFF\xFE.txt", "2");
    EXPECT_EQ(co_await changes.next(), FileChange::replaced);
  });
}

TEST_F(FileManagerFileSystemEvents, ChangesOfOtherURLsFail) {
  syncWait([&]() -> Async<void> {
    auto changes = fileChanges(files, *URL::from("https://example.com/a")).makeAsyncIterator();
    EXPECT_ANY_THROW(co_await changes.next());
    EXPECT_FALSE(co_await changes.next());
  });
}

}  // namespace
}  // namespace Tessaly
