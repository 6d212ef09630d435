// SPDX-License-Identifier: MIT
#include "Shelf.hpp"

#include <chrono>
#include <tuple>
#include <utility>

#include "Tessaly/Concurrency/Observations.hpp"
#include "Tessaly/Core/Foundation/POSIXError.hpp"
#include "Tessaly/Core/Tasks/WithIsolation.hpp"
#include "Tessaly/SystemServices/FileManager+DirectoryChanges.hpp"

namespace keeper {

using namespace Tessaly;
using namespace std::chrono_literals;

Shelf::Shelf(URL directory, FileManager& files, const Locale& locale)
    : directory_(std::move(directory)), files_(files), index_(std::make_shared<FileIndex>(locale)) {
  tasks_.add([this] { return follow(); });
  tasks_.add([this] { return publish(); });
}

Async<void> Shelf::follow() {
  try {
    auto changes = directoryChanges(files_, directory_, {.debounce = 30ms}).makeAsyncIterator();
    while (auto some = co_await changes.next()) {
      // The work beside the main thread owns what it uses, because the shelf may end meanwhile.
      co_await withIsolation(indexing_, [index = index_, some = std::move(*some)] { index->apply(some); });
      ++revision_;
    }
  } catch (const POSIXError& error) {
    problem = error.what();
  }
}

Async<void> Shelf::publish() {
  auto requests = Observations([this] {
                    return std::tuple(revision_.value(), search.value(),
                                      showsHiddenFiles_.value() ? HiddenFiles::shown : HiddenFiles::leftOut);
                  }).makeAsyncIterator();
  for (;;) {
    const auto [revision, text, hidden] = *co_await requests.next();
    if (revision == 0) continue;
    listing =
        co_await withIsolation(indexing_, [index = index_, text, hidden] { return index->matching(text, hidden); });
  }
}

}  // namespace keeper
