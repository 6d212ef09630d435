// SPDX-License-Identifier: MIT
#include <map>
#include <string>

#include "Tessaly/Concurrency/Mutex.hpp"
#include "Tessaly/Concurrency/OwnedTasks.hpp"
#include "Tessaly/Core/Tasks/AsyncStream.hpp"
#include "Tessaly/FoundationExtensions/Logger+Extensions.hpp"

using namespace Tessaly;

using Counts = std::map<std::string, int>;

class WordCounter {
 public:
  WordCounter(AsyncStream<std::string> words, Logger logger) {
    tasks_.add([=, this] { return countWords(words, logger); });
  }

  Counts counts() {  // From any thread, at any time.
    return counts_.withLock([](const Counts& table) { return table; });
  }

 private:
  Async<void> countWords(AsyncStream<std::string> words, Logger logger) {
    auto iterator = words.makeAsyncIterator();
    while (auto word = co_await iterator.next()) {
      const int count = counts_.withLock([&](Counts& table) { return ++table[*word]; });
      if (count == 1) noticePublic(logger, "A new word: " + *word);
    }
  }

  Mutex<Counts> counts_{Counts()};
  OwnedTasks tasks_;  // The last member, so it ends first.
};
