// SPDX-License-Identifier: MIT
#include <map>
#include <string>

#include "Tessaly/Concurrency/Mutex.hpp"
#include "Tessaly/Core/Tasks/AsyncStream.hpp"
#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"
#include "Tessaly/FoundationExtensions/Logger+Extensions.hpp"

using namespace Tessaly;

using Counts = Mutex<std::map<std::string, int>>;

Async<void> countWords(AsyncStream<std::string> words, Counts& counts, Logger logger) {
  auto iterator = words.makeAsyncIterator();
  while (auto word = co_await iterator.next()) {
    const int count = counts.withLock([&](auto& table) { return ++table[*word]; });
    if (count == 1) noticePublic(logger, "A new word: " + *word);
  }
}

void show(const std::map<std::string, int>& counts);

void startAndStop(AsyncStream<std::string> words, Counts& counts, Logger logger) {
  Task<void> counting([=, &counts] { return countWords(words, counts, logger); });
  show(counts.withLock([](auto& table) { return table; }));  // From any thread, at any time.
  counting.cancel();                                         // Ends the stream, and with it the loop.
}
