// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "Tessaly/Core/Base/detail/Sanitizers.hpp"
#include "Tessaly/Platform/Linux/JournalLogSink.hpp"
#include "tests/Support/Allocations.hpp"
#include "tests/Support/KeptAlive.hpp"
#include "tests/Support/Repetitions.hpp"
#include "tests/Support/WaitUntil.hpp"

namespace {

using namespace Tessaly;
using namespace std::chrono_literals;
using testing::ElementsAre;

using Entry = std::map<std::string, std::string>;

// The answers and the records of the scripted journal. It is never destroyed, because the sink's thread never ends.
struct ScriptedJournal {
  std::mutex mutex;
  std::vector<Entry> entries;
  std::atomic<int> answer{0};
  std::atomic<bool> isHeld{false};
  std::atomic<int> calls{0};
  std::string dropsWith;  // The journal answers -EMSGSIZE to a message with this text.
};

ScriptedJournal& scripted() {
  static auto& journal = *new ScriptedJournal;
  return journal;
}

int sendToScript(const iovec* fields, int count) noexcept {
  auto& script = scripted();
  ++script.calls;
  while (script.isHeld) std::this_thread::yield();
  if (const int answer = script.answer) return answer;
  Entry entry;
  for (int i = 0; i < count; ++i) {
    const std::string field(static_cast<const char*>(fields[i].iov_base), fields[i].iov_len);
    const std::size_t equals = field.find('=');
    entry[field.substr(0, equals)] = field.substr(equals + 1);
  }
  const std::lock_guard guard(script.mutex);
  if (!script.dropsWith.empty() && entry["MESSAGE"].find(script.dropsWith) != std::string::npos) return -EMSGSIZE;
  script.entries.push_back(std::move(entry));
  return 0;
}

class JournalLogSinkTest : public testing::Test {
 protected:
  JournalLogSinkTest() {
    std::string pattern = (std::filesystem::temp_directory_path() / "journal-XXXXXX").string();
    folder_ = ::mkdtemp(pattern.data());
    socket_ = folder_ / "socket";
  }
  ~JournalLogSinkTest() override { std::filesystem::remove_all(folder_); }

  void makeSocket() { std::ofstream(socket_) << ""; }

  JournalLogSink& makeJournal(JournalLogSink::Options options = {}) {
    options.socketPath = socket_.string();
    options.send = &sendToScript;
    return *Tests::keptAlive(std::make_shared<JournalLogSink>(ring_, options));
  }

  LogRecord recordOf(std::string_view literal, OSLogType type = OSLogType::error) {
    LogRecord record = LogRecord::make(OSLog("subsystem", "category"), type);
    record.format = literal;
    return record;
  }
  void write(JournalLogSink& journal, const LogRecord& record) {
    ring_.append(record);
    journal.write(record);
  }
  void write(JournalLogSink& journal, std::string_view literal) { write(journal, recordOf(literal)); }

  static std::vector<std::string> sentMessages() {
    const std::lock_guard guard(scripted().mutex);
    std::vector<std::string> messages;
    for (auto& entry : scripted().entries) messages.push_back(entry["MESSAGE"]);
    return messages;
  }

  LogRing& ring_ = *Tests::keptAlive(std::make_shared<LogRing>(64 * 1024));  // A thread may still use it.
  std::filesystem::path folder_;
  std::filesystem::path socket_;
};

TEST_F(JournalLogSinkTest, IsNotTriedBeforeTheFirstRecord) {
  auto& journal = makeJournal();
  EXPECT_EQ(journal.status().state, JournalState::notTried);
  journal.flush(1s);
}

TEST_F(JournalLogSinkTest, MissingSocketIsReportedWithoutAThread) {
  auto& journal = makeJournal();
  write(journal, "one");
  EXPECT_EQ(journal.status().state, JournalState::socketMissing);
  journal.flush(1s);
  EXPECT_EQ(scripted().calls, 0);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator("/proc/self/task"), {}), 1);
}

TEST_F(JournalLogSinkTest, SinkWithAThreadCannotBeDestroyed) {
  makeSocket();
  {
    const JournalLogSink unused(ring_, {.socketPath = socket_.string(), .send = &sendToScript});
  }
  EXPECT_DEATH(
      {
        JournalLogSink journal(ring_, {.socketPath = socket_.string(), .send = &sendToScript});
        write(journal, "one");
      },
      "A journal sink with a thread must not be destroyed");
}

TEST_F(JournalLogSinkTest, LaterSocketReceivesKeptRecords) {
  auto& journal = makeJournal({.retryInterval = 10s});
  LogRecord record = recordOf("one");
  write(journal, record);
  makeSocket();
  // The sink does not search again before the interval has passed.
  record.time += 9s;
  write(journal, record);
  EXPECT_EQ(journal.status().state, JournalState::socketMissing);
  record.time += 2s;
  write(journal, record);
  EXPECT_EQ(journal.status().state, JournalState::sending);
  journal.flush(10s);
  EXPECT_EQ(sentMessages().size(), 3u);
}

TEST_F(JournalLogSinkTest, SearchesAgainAfterTheClockWasSetBack) {
  auto& journal = makeJournal();
  LogRecord record = recordOf("one");
  write(journal, record);
  makeSocket();
  record.time -= 24h;
  write(journal, record);
  EXPECT_EQ(journal.status().state, JournalState::sending);
}

TEST_F(JournalLogSinkTest, SendsTheFieldsOfARecord) {
  makeSocket();
  auto& journal = makeJournal();
  const LogArgument arguments[] = {{"table", LogPrivacy::public_}, {"Alice", LogPrivacy::private_}};
  LogRecord record = recordOf("Cannot write %{public}s\nfor %s");
  record.arguments = arguments;
  record.location = {"exporter.cpp", "save", 12};
  write(journal, record);
  write(journal, recordOf("no place"));
  journal.flush(10s);
  const std::lock_guard guard(scripted().mutex);
  ASSERT_EQ(scripted().entries.size(), 2u);
  const Entry expected{{"MESSAGE", "Cannot write table\nfor <private>"},
                       {"PRIORITY", "3"},
                       {"SYSLOG_IDENTIFIER", program_invocation_short_name},
                       {"TESSALY_SUBSYSTEM", "subsystem"},
                       {"TESSALY_CATEGORY", "category"},
                       {"TESSALY_TIME", std::to_string(record.time.time_since_epoch().count())},
                       {"TID", std::to_string(record.threadIdentifier)},
                       {"CODE_FILE", "exporter.cpp"},
                       {"CODE_LINE", "12"},
                       {"CODE_FUNC", "save"}};
  EXPECT_EQ(scripted().entries[0], expected);
  EXPECT_FALSE(scripted().entries[1].contains("CODE_FILE"));
}

TEST_F(JournalLogSinkTest, SendsEachTypeWithItsPriority) {
  makeSocket();
  auto& journal = makeJournal();
  for (const auto type : {OSLogType::debug, OSLogType::info, OSLogType::default_, OSLogType::error, OSLogType::fault}) {
    write(journal, recordOf("text", type));
  }
  journal.flush(10s);
  std::vector<std::string> priorities;
  const std::lock_guard guard(scripted().mutex);
  for (auto& entry : scripted().entries) priorities.push_back(entry["PRIORITY"]);
  EXPECT_THAT(priorities, ElementsAre("7", "6", "5", "3", "2"));
}

TEST_F(JournalLogSinkTest, FlushWithoutALimitWaitsForTheRecords) {
  makeSocket();
  auto& journal = makeJournal();
  for (int number = 0; number < 100; ++number) write(journal, "text");
  journal.flush(std::chrono::nanoseconds::max());
  EXPECT_EQ(sentMessages().size(), 100U);
}

TEST_F(JournalLogSinkTest, DoesNotSendSignposts) {
  makeSocket();
  auto& journal = makeJournal();
  LogRecord signpost = recordOf("");
  signpost.signpost = LogSignpost{LogSignpostKind::event, 1, "row"};
  write(journal, signpost);
  write(journal, "one");
  journal.flush(10s);
  EXPECT_THAT(sentMessages(), ElementsAre("one"));
  EXPECT_EQ(journal.status().sentRecords, 1u);
}

TEST_F(JournalLogSinkTest, RefusalIsReportedAndLosesNothing) {
  makeSocket();
  scripted().answer = -ECONNREFUSED;
  auto& journal = makeJournal({.retryInterval = 1ms});
  for (const char* text : {"one", "two", "three"}) write(journal, text);
  ASSERT_TRUE(Tests::waitUntil([&] { return journal.status().state == JournalState::refused; }));
  EXPECT_EQ(journal.status().error, ECONNREFUSED);
  journal.flush(10s);
  EXPECT_TRUE(sentMessages().empty());
  scripted().answer = 0;
  write(journal, "four");
  ASSERT_TRUE(Tests::waitUntil([&] { return journal.status().sentRecords == 4; }));
  EXPECT_EQ(journal.status().state, JournalState::sending);
  EXPECT_EQ(journal.status().error, 0);
  EXPECT_THAT(sentMessages(), ElementsAre("one", "two", "three", "four"));
}

#if !TESSALY_IS_SANITIZED  // Under a sanitizer, a failed allocation stops the process.
TEST_F(JournalLogSinkTest, LackOfMemoryIsReportedAndLosesNothing) {
  makeSocket();
  auto& journal = makeJournal({.retryInterval = 1ms});
  const std::string large(4000, 'x');
  write(journal, "one");
  journal.flush(10s);
  {
    const Tests::FailingAllocations failing(large.size());
    write(journal, large);
    EXPECT_TRUE(Tests::waitUntil([&] { return journal.status().state == JournalState::refused; }));
    EXPECT_EQ(journal.status().error, ENOMEM);
  }
  EXPECT_TRUE(Tests::waitUntil([&] { return journal.status().sentRecords == 2; }));
  EXPECT_EQ(journal.status().state, JournalState::sending);
  EXPECT_THAT(sentMessages(), ElementsAre("one", large));
}
#endif

TEST_F(JournalLogSinkTest, SocketThatReturnsLosesNothing) {
  makeSocket();
  auto& journal = makeJournal({.retryInterval = 1ms});
  write(journal, "one");
  journal.flush(10s);
  std::filesystem::remove(socket_);
  write(journal, "two");
  ASSERT_TRUE(Tests::waitUntil([&] { return journal.status().state == JournalState::socketMissing; }));
  makeSocket();
  ASSERT_TRUE(Tests::waitUntil([&] { return journal.status().sentRecords == 2; }));
  EXPECT_EQ(journal.status().state, JournalState::sending);
  EXPECT_THAT(sentMessages(), ElementsAre("one", "two"));
}

TEST_F(JournalLogSinkTest, RefusedRecordDoesNotBlockTheNext) {
  makeSocket();
  scripted().dropsWith = "poison";
  auto& journal = makeJournal();
  for (const char* text : {"one", "poison", "two"}) write(journal, text);
  journal.flush(10s);
  EXPECT_THAT(sentMessages(), ElementsAre("one", "two"));
  EXPECT_EQ(journal.status().sentRecords, 2u);
  EXPECT_EQ(journal.status().lostRecords, 1u);
  EXPECT_EQ(journal.status().state, JournalState::sending);
}

TEST_F(JournalLogSinkTest, EvictedRecordsAreCountedAndReported) {
  makeSocket();
  scripted().answer = -ECONNREFUSED;
  auto& journal = makeJournal({.retryInterval = 1ms});
  constexpr int count = 5000;
  for (int i = 0; i < count; ++i) write(journal, std::to_string(i));
  scripted().answer = 0;
  ASSERT_TRUE(
      Tests::waitUntil([&] { return !sentMessages().empty() && sentMessages().back() == std::to_string(count - 1); }));
  const auto messages = sentMessages();
  const auto status = journal.status();
  EXPECT_GT(status.lostRecords, 0u);
  // The notices of losses do not count as records.
  std::uint64_t told = 0;
  std::vector<std::string> records;
  for (const auto& message : messages) {
    if (message.ends_with(" log records were evicted before the journal could take them")) {
      told += std::stoull(message);
    } else {
      records.push_back(message);
    }
  }
  EXPECT_EQ(told, status.lostRecords);
  EXPECT_EQ(records.size() + status.lostRecords, static_cast<std::uint64_t>(count));
  for (std::size_t i = 1; i < records.size(); ++i) EXPECT_LT(std::stoi(records[i - 1]), std::stoi(records[i]));
}

TEST_F(JournalLogSinkTest, SilentJournalIsReportedAndEndsAFlush) {
  makeSocket();
  scripted().isHeld = true;
  auto& journal = makeJournal({.longestSend = 1ms});
  write(journal, "one");
  ASSERT_TRUE(Tests::waitUntil([&] { return journal.status().state == JournalState::notAnswering; }));
  journal.flush(1ms);
  EXPECT_TRUE(sentMessages().empty());
  scripted().isHeld = false;
  journal.flush(10s);
  EXPECT_THAT(sentMessages(), ElementsAre("one"));
  EXPECT_EQ(journal.status().state, JournalState::sending);
}

TEST_F(JournalLogSinkTest, FlushEndsWhileThreadsWrite) {
  makeSocket();
  auto& journal = makeJournal();
  write(journal, "before");
  std::atomic<bool> isDone{false};
  std::thread writer([&] {
    while (!isDone) write(journal, "more");
  });
  for (int i = 0; i < 50; ++i) {
    const std::uint64_t appended = ring_.end().sequence;
    journal.flush(10s);
    EXPECT_GE(journal.status().sentRecords + journal.status().lostRecords, appended);
  }
  isDone = true;
  writer.join();
}

TEST_F(JournalLogSinkTest, RecordAlwaysWakesTheParkingThread) {
  makeSocket();
  auto& journal = makeJournal({.pollsBeforeParking = 1, .pollInterval = 1ns});
  const int count = Tests::repetitions(3000);
  for (int i = 1; i <= count; ++i) {
    write(journal, "text");
    // The loop must not flush, because a flush would wake the thread too. It must not sleep, because the thread would
    // then be parked before each record. A lost wake-up hangs here.
    while (journal.status().sentRecords != static_cast<std::uint64_t>(i)) std::this_thread::yield();
    for (volatile int pause = 0; pause < i % 500; pause = pause + 1) {
    }
  }
}

TEST_F(JournalLogSinkTest, ForkedChildSendsNothingAndDoesNotHang) {
  makeSocket();
  auto& journal = makeJournal();
  write(journal, "parent");
  journal.flush(10s);
  const int calls = scripted().calls;
  const int rounds = Tests::repetitions(20);
  for (int round = 0; round < rounds; ++round) {
    const pid_t child = ::fork();
    if (child == 0) {
      ::alarm(10);
      ring_.resetAfterFork();
      for (int i = 0; i < 100; ++i) write(journal, "child");
      journal.flush(10s);
      ::_exit(journal.status().state == JournalState::forkedChild && scripted().calls == calls ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
  }
  write(journal, "parent again");
  journal.flush(10s);
  EXPECT_THAT(sentMessages(), ElementsAre("parent", "parent again"));
}

}  // namespace
