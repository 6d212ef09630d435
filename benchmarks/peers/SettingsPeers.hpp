// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <string>

/// Other stores for the settings of an application. Each begins with `keys` integers under "key0", "key1" and so on, in
/// a file of the directory. Without keys it opens the file of an earlier store.
namespace Tessaly::Benchmarks::SettingsPeers {

class Store {
 public:
  Store() = default;
  Store(const Store&) = delete;
  Store& operator=(const Store&) = delete;
  virtual ~Store() = default;
  virtual std::int64_t read(const std::string& key) = 0;
  virtual void write(const std::string& key, std::int64_t value) = 0;
};

enum class Sync { atTheEnd, afterEachWrite };

std::string keyName(int number);

/// `QSettings` in its own format.
std::shared_ptr<Store> qSettings(const std::string& folder, int keys, Sync sync);
/// `GKeyFile`. The variant with a sync saves the file after each write.
std::shared_ptr<Store> keyFile(const std::string& folder, int keys, Sync sync);
/// `GSettings` on its keyfile backend. The schema names all keys if there are at most 1,000, else only the middle one.
/// Its compile time grows with the square of the keys, to minutes for 100,000. The file always has all keys.
std::shared_ptr<Store> gSettings(const std::string& folder, int keys);

/// Two processes that observe one file by `GSettings`. This one changes "key0". The other one runs
/// `gSettingsEcho(folder)` and answers under "key1".
class Conversation {
 public:
  Conversation() = default;
  Conversation(const Conversation&) = delete;
  Conversation& operator=(const Conversation&) = delete;
  virtual ~Conversation() = default;
  /// Waits until the other process exists and has set "key2".
  virtual void waitForTheOther() = 0;
  virtual void roundTrip() = 0;
};
std::shared_ptr<Conversation> gSettingsConversation(const std::string& folder);
/// Answers until standard input ends.
void gSettingsEcho(const std::string& folder);

}  // namespace Tessaly::Benchmarks::SettingsPeers
