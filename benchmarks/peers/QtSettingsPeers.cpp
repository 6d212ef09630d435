// SPDX-License-Identifier: MIT
#include <QSettings>
#include <QString>
#include <QVariant>
#include <memory>

#include "SettingsPeers.hpp"

namespace Tessaly::Benchmarks::SettingsPeers {
namespace {

QString path(const std::string& folder) { return QString::fromStdString(folder + "/settings.conf"); }

class QtStore final : public Store {
 public:
  QtStore(const std::string& folder, int keys, Sync sync)
      : settings_(path(folder), QSettings::NativeFormat), sync_(sync) {
    for (int i = 0; i < keys; ++i) settings_.setValue(QString::fromStdString(keyName(i)), qlonglong(i));
    if (keys > 0) settings_.sync();
  }
  std::int64_t read(const std::string& key) override {
    return settings_.value(QString::fromStdString(key)).toLongLong();
  }
  void write(const std::string& key, std::int64_t value) override {
    settings_.setValue(QString::fromStdString(key), qlonglong(value));
    if (sync_ == Sync::afterEachWrite) settings_.sync();
  }

 private:
  QSettings settings_;
  Sync sync_;
};

}  // namespace

std::shared_ptr<Store> qSettings(const std::string& folder, int keys, Sync sync) {
  return std::make_shared<QtStore>(folder, keys, sync);
}

}  // namespace Tessaly::Benchmarks::SettingsPeers
