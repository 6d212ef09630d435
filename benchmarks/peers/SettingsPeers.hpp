// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <string>

/// What else keeps an application's settings. Each begins with `keys` integers under "key0", "key1" and so on, in a
/// file of the folder; with none, it has what a former one has left there.
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
/// `GKeyFile`; with a sync it saves the file after each write.
std::shared_ptr<Store> keyFile(const std::string& folder, int keys, Sync sync);
/// `GSettings` on its keyfile backend, with a schema that is compiled here.
std::shared_ptr<Store> gSettings(const std::string& folder, int keys);

}  // namespace Tessaly::Benchmarks::SettingsPeers
