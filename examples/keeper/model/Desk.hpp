// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "DuplicateFinder.hpp"
#include "Shelf.hpp"
#include "Tessaly/Concurrency/OwnedTasks.hpp"
#include "Tessaly/Core/Foundation/Data.hpp"
#include "Tessaly/Core/Foundation/URL.hpp"
#include "Tessaly/Core/Observation/Property.hpp"
#include "Tessaly/Core/Tasks/Async.hpp"
#include "Tessaly/Core/Tasks/Isolation.hpp"

namespace keeper {

/// The state and the actions of a window, whatever toolkit shows it. Belongs to the main thread. No action waits: the
/// work runs beside the main thread, and `status` says how it ended.
class Desk {
 public:
  explicit Desk(Shelf& shelf) : shelf_(shelf) {}

  [[nodiscard]] std::string title() const { return shelf_.directory().lastPathComponent() + " — Keeper"; }
  /// The files in the list, or null until the directory was read.
  [[nodiscard]] std::shared_ptr<const Listing> listing() const;
  [[nodiscard]] std::shared_ptr<const Files> files() const;
  [[nodiscard]] std::string status() const;
  /// Whether the list can show duplicates only. True while it does, because a new search may find none.
  [[nodiscard]] bool canShowOnlyDuplicates() const;

  void search(const std::string& text) { shelf_.search = text; }
  Tessaly::Property<bool> showsOnlyDuplicates = false;

  /// Shows another directory, and stores it for the next start.
  void open(const Tessaly::URL& directory);
  void compare();
  void pauseOrResume();
  void stop() { finder.cancel(); }

  /// The next three use all files of the list if none is selected.
  void copyPaths(const Files& selected);
  void saveTable(const Files& selected, const Tessaly::URL& file);
  void saveArchive(const Files& selected, const Tessaly::URL& file);
  /// Asks the user to authenticate before. The log contains no private names.
  void saveLog(const Tessaly::URL& file);

  DuplicateFinder finder;

 private:
  using Contents = std::function<Tessaly::Async<Tessaly::Data>()>;

  [[nodiscard]] Files chosen(const Files& selected) const;
  /// Makes the contents beside the main thread, and writes them.
  void save(const Tessaly::URL& file, Contents contents);
  Tessaly::Async<void> saved(Tessaly::URL file, Contents contents);

  Shelf& shelf_;
  /// The outcome of the last action.
  Tessaly::Property<std::string> notice_;
  Tessaly::Isolation saving_ = Tessaly::Isolation::serial();
  Tessaly::OwnedTasks tasks_;  // The last member, so it ends first.
};

}  // namespace keeper
