// SPDX-License-Identifier: MIT
#include <QtCore/QCoreApplication>
#include <QtCore/QFileSystemWatcher>
#include <QtCore/QThread>

#include "FilePeers.hpp"

namespace Tessaly::Benchmarks::FilePeers {
namespace {

class QtReader final : public Reader {
 public:
  explicit QtReader(const std::string& path) : Reader(path) {
    static int count = 1;
    static char name[] = "tessaly_bench";
    static char* arguments[] = {name, nullptr};
    if (QCoreApplication::instance() == nullptr) new QCoreApplication(count, arguments);
    watcher_.addPath(QString::fromStdString(path));
    watcher_.moveToThread(&thread_);
    QObject::connect(&watcher_, &QFileSystemWatcher::fileChanged, &watcher_, [this] { read(); });
    thread_.start();
  }
  ~QtReader() override {
    thread_.quit();
    thread_.wait();
  }

 private:
  QThread thread_;
  QFileSystemWatcher watcher_;
};

}  // namespace

std::shared_ptr<Reader> qFileSystemWatcher(const std::string& path) { return std::make_shared<QtReader>(path); }

}  // namespace Tessaly::Benchmarks::FilePeers
