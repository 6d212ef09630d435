// SPDX-License-Identifier: MIT
#include "Desk.hpp"

#include <exception>
#include <utility>
#include <vector>

#include "FileTexts.hpp"
#include "Log.hpp"
#include "Opening.hpp"
#include "Sharing.hpp"
#include "Tessaly/Core/Tasks/WithIsolation.hpp"
#include "Tessaly/Formatting/FormattingService.hpp"
#include "Tessaly/FoundationExtensions/NSFileCoordinator+Extensions.hpp"
#include "Tessaly/SystemServices/ExportService.hpp"
#include "Tessaly/SystemServices/LocalAuthenticationService.hpp"
#include "Tessaly/SystemServices/PasteboardService.hpp"
#include "Tessaly/SystemServices/ReachabilityService.hpp"
#include "Words.hpp"

namespace keeper {

using namespace Tessaly;

std::shared_ptr<const Listing> Desk::listing() const {
  if (!showsOnlyDuplicates) return shelf_.listing;
  auto duplicates = std::make_shared<Listing>();
  for (const Files& group : finder.groups.value()) {
    for (const auto& file : group) {
      duplicates->files.push_back(file);
      duplicates->bytes += file->attributes.size;
    }
  }
  return duplicates;
}

std::shared_ptr<const Files> Desk::files() const {
  const std::shared_ptr<const Listing> shown = listing();
  return shown == nullptr ? nullptr : std::shared_ptr<const Files>(shown, &shown->files);
}

std::string Desk::status() const {
  if (!shelf_.problem.value().empty()) return shelf_.problem;
  if (!notice_.value().empty()) return notice_;
  const auto shown = listing();
  if (shown == nullptr) return text(Word::reading);
  std::string status =
      counted(Word::files, shown->files.size()) + " · " + FormattingService::Bytes::string(shown->bytes);
  const std::size_t groups = finder.groups.value().size();
  if (groups > 0) status += " · " + counted(Word::duplicates, groups);
  const int unreadable = finder.unreadable;
  if (unreadable > 0) status += " · " + counted(Word::unreadable, static_cast<std::size_t>(unreadable));
  if (!ReachabilityService::observableIsOnline()) status += std::string(" · ") + text(Word::offline);
  return status;
}

bool Desk::canShowOnlyDuplicates() const { return showsOnlyDuplicates.value() || !finder.groups.value().empty(); }

void Desk::open(const URL& directory) {
  notice_ = "";
  showsOnlyDuplicates = false;
  finder.forget();
  shelf_.open(directory);
  tasks_.add(
      [this, directory]() -> Async<void> { co_await withIsolation(saving_, [directory] { remember(directory); }); });
}

void Desk::compare() {
  const auto all = shelf_.listing.value();
  if (all == nullptr) return;
  notice_ = "";
  finder.start(shelf_.directory(), all->files);
}

void Desk::pauseOrResume() {
  if (finder.state == DuplicateFinder::State::paused) {
    finder.resume();
  } else {
    finder.pause();
  }
}

Files Desk::chosen(const Files& selected) const {
  const auto shown = listing();
  return selected.empty() && shown != nullptr ? shown->files : selected;
}

void Desk::copyPaths(const Files& selected) {
  std::string paths;
  for (const auto& file : chosen(selected)) paths += (paths.empty() ? "" : "\n") + shelf_.url(*file).path();
  tasks_.add([this, paths = std::move(paths)]() -> Async<void> {
    co_await withIsolation(saving_, [paths] { PasteboardService::write(paths); });
  });
}

void Desk::saveTable(const Files& selected, const URL& file) {
  save(file, [files = chosen(selected)]() -> Async<Data> { co_return table(files); });
}

void Desk::saveArchive(const Files& selected, const URL& file) {
  std::vector<URL> urls;
  for (const auto& one : chosen(selected)) urls.push_back(shelf_.url(*one));
  save(file, [urls = std::move(urls)] { return zipFiles(NSFileCoordinator(), urls); });
}

void Desk::saveLog(const URL& file) {
  save(file, []() -> Async<Data> {
    co_await LocalAuthenticationService::evaluatePolicy(LAPolicy::deviceOwnerAuthentication, text(Word::saveLogReason));
    co_return co_await ExportService::Logs::extractLastOneHourLogsToCSVData();
  });
}

void Desk::save(const URL& file, Contents contents) {
  notice_ = text(Word::saving);
  tasks_.add([this, file, contents = std::move(contents)] { return saved(file, contents); });
}

Async<void> Desk::saved(URL file, Contents contents) {
  try {
    co_await withIsolation(
        saving_, [file, contents]() -> Async<void> { FileManager::default_().write(co_await contents(), file); });
    notice_ = text(Word::saved) + (": " + file.lastPathComponent());
  } catch (const Error& error) {
    log().error("Cannot save %s: %s", file.lastPathComponent(), error.localizedDescription());
    notice_ = error.localizedDescription();  // Such as a full disk, or no service that asks the user.
  }
}

}  // namespace keeper
