// SPDX-License-Identifier: MIT
#include "Shelf.hpp"

#include <tuple>
#include <utility>

#include "Tessaly/Concurrency/Observations.hpp"
#include "Tessaly/Core/Foundation/POSIXError.hpp"
#include "Tessaly/Core/Tasks/WithIsolation.hpp"
#include "Tessaly/SystemServices/FileManager+DirectoryChanges.hpp"

namespace keeper {

using namespace Tessaly;

Shelf::Shelf(URL directory, FileManager& files, const Locale& locale)
    : directory_(std::move(directory)), files_(files), locale_(locale), index_(std::make_shared<FileIndex>(locale)) {
  publishing_.add([this] { return publish(); });
  withContinuousObservation(
      [this] { return std::pair(directory_.value(), updateDelay_.value()); },
      [this](const auto& wanted) {
        following_.end();
        following_.add([this, wanted] { return follow(wanted.first, std::chrono::milliseconds(wanted.second)); });
      })
      .store(tokens_);
}

void Shelf::open(const URL& directory) {
  following_.end();
  former_.push_back(std::exchange(index_, std::make_shared<FileIndex>(locale_)));
  revision_ = 0;
  problem = "";
  listing = nullptr;
  directory_ = directory;
}

Async<void> Shelf::follow(URL directory, std::chrono::milliseconds delay) {
  try {
    auto changes = directoryChanges(files_, directory, {.debounce = delay}).makeAsyncIterator();
    bool isListing = true;
    while (auto some = co_await changes.next()) {
      // The work beside the main thread owns what it uses, because the shelf may end meanwhile.
      co_await withIsolation(indexing_, [index = index_, some = std::move(*some), isListing] {
        if (isListing) index->clear();  // The delay changed, and the directory is read again.
        index->apply(some);
      });
      isListing = false;
      ++revision_;
    }
  } catch (const POSIXError& error) {
    problem = error.localizedDescription();
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
    const auto index = index_;
    auto found =
        co_await withIsolation(indexing_, [index, text, hidden, former = std::exchange(former_, {})]() mutable {
          former.clear();
          return index->matching(text, hidden);
        });
    if (index == index_) listing = std::move(found);
  }
}

}  // namespace keeper
