// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <string_view>
#include <thread>

#include "Tessaly/Core/Foundation/PropertyListSerialization.hpp"
#include "Tessaly/Platform/Linux/JournaledUserDefaults.hpp"
#include "tests/Support/ContentsOf.hpp"
#include "tests/Support/LastingClock.hpp"
#include "tests/Support/TemporaryFolder.hpp"

namespace Tessaly::Tests {

/// A directory for the settings of one test, and a clock that stands still.
class StoreFixture : public ::testing::Test {
 protected:
  using Dictionary = PropertyList::Dictionary;
  using Store = std::shared_ptr<JournaledUserDefaults>;

  [[nodiscard]] std::string folder() const { return above() + "/org.example.test" + std::to_string(round_); }
  [[nodiscard]] std::string plist() const { return folder() + "/Settings.plist"; }
  [[nodiscard]] std::string journal() const { return folder() + "/journal"; }
  [[nodiscard]] std::string above() const { return folder_.path(); }

  /// Time stands still: no checkpoint comes but by `synchronize`, `advance` or the end of the store.
  Store open(detail::SettingsFileSystem* files = nullptr) {
    return JournaledUserDefaults::open({.folder = folder(), .clock = clock_, .fileSystem = files});
  }
  Store openForReading() {
    return JournaledUserDefaults::open(
        {.folder = folder(), .opening = JournaledUserDefaults::Opening::forReading, .clock = clock_});
  }
  /// The values that another process would read now from property list and journals.
  Dictionary stored() { return openForReading()->dictionaryRepresentation(); }
  /// The values that any other program would read.
  PropertyList onDisk() {
    const std::string bytes = contentsOf(plist());
    return PropertyListSerialization::read(Data(std::string_view(bytes)).bytes()).value;
  }
  static void write(const std::string& path, std::string_view bytes) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
  }
  /// Replaces the property list as careful programs do.
  void replace(const Dictionary& values, PropertyListFormat format = PropertyListFormat::binary) {
    write(above() + "/other", PropertyListSerialization::data(values, format).text());
    std::filesystem::rename(above() + "/other", plist());
  }
  /// Releases a store while time passes, so that its waits end.
  void releaseWhileTimePasses(Store& store) {
    std::jthread passing([this](const std::stop_token& stop) {
      while (!stop.stop_requested()) {
        clock_.advance(std::chrono::milliseconds(10));
        std::this_thread::yield();
      }
    });
    store.reset();
  }
  /// Gives the test another directory. The last store of the former one may still be ending on a thread that notified
  /// its observers, so that directory cannot be removed.
  void startAnew() { ++round_; }
  void makeFolder() { std::filesystem::create_directories(folder()); }
  [[nodiscard]] static bool hasProblem(const Store& store, UserDefaultsProblem problem) {
    const auto problems = store->status().problems;
    return std::ranges::find(problems, problem, &UserDefaultsIncident::problem) != problems.end();
  }

  ManualClock& clock_ = lastingClock();

 private:
  TemporaryFolder folder_;
  int round_ = 0;
};

}  // namespace Tessaly::Tests
