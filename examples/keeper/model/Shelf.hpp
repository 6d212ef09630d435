// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "FileIndex.hpp"
#include "Preferences.hpp"
#include "Tessaly/Concurrency/OwnedTasks.hpp"
#include "Tessaly/Core/Foundation/URL.hpp"
#include "Tessaly/Core/Observation/Property.hpp"
#include "Tessaly/Core/Tasks/Isolation.hpp"
#include "Tessaly/Platform/Files/FileManager.hpp"
#include "Tessaly/SettingsAndObservation/ObservationToken.hpp"

namespace keeper {

/// A directory in view: its files follow the directory, and the search. Belongs to the main thread.
class Shelf {
 public:
  explicit Shelf(Tessaly::URL directory, Tessaly::FileManager& files = Tessaly::FileManager::default_(),
                 const Tessaly::Locale& locale = Tessaly::Locale::current());

  /// Shows another directory. No file is listed until that directory was read.
  void open(const Tessaly::URL& directory);
  [[nodiscard]] Tessaly::URL directory() const { return directory_; }
  [[nodiscard]] Tessaly::URL url(const File& file) const { return directory().appendingPathComponent(file.name); }

  /// The text that the user types into the search field.
  Tessaly::Property<std::string> search;
  /// The files to show. Null until the directory was read.
  Tessaly::Property<std::shared_ptr<const Listing>> listing;
  /// The reason why the directory is not followed any more. Empty while it is followed.
  Tessaly::Property<std::string> problem;

 private:
  /// Reads the directory and follows it. Collects its changes for the delay.
  Tessaly::Async<void> follow(Tessaly::URL directory, std::chrono::milliseconds delay);
  Tessaly::Async<void> publish();

  Tessaly::Property<Tessaly::URL> directory_;
  Tessaly::FileManager& files_;
  Tessaly::Locale locale_;
  /// The files of the directory. Another directory has another index, which late work on the former one cannot change.
  std::shared_ptr<FileIndex> index_;
  /// The indexes of former directories. They end beside the main thread, because the end of 100,000 files takes 40 ms.
  std::vector<std::shared_ptr<FileIndex>> former_;
  Tessaly::Isolation indexing_ = Tessaly::Isolation::serial();
  Tessaly::Property<int> revision_ = 0;
  Tessaly::Default<bool> showsHiddenFiles_{showsHiddenFilesKey};
  Tessaly::Default<int> updateDelay_{updateDelayKey};
  // The last members, so they end first.
  Tessaly::OwnedTasks publishing_;
  Tessaly::OwnedTasks following_;
  std::vector<Tessaly::ObservationToken> tokens_;
};

}  // namespace keeper
