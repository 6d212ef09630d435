// SPDX-License-Identifier: MIT
#include <QtCore/QCoreApplication>
#include <QtCore/QEventLoop>
#include <QtCore/QFileSystemWatcher>
#include <QtCore/QThread>

#include "FilePeers.hpp"

namespace Tessaly::Benchmarks::FilePeers {
namespace {

class QtReader final : public Reader {
 public:
  explicit QtReader(const std::string& path)
      : Reader(path), thread_(QThread::create([this, name = QString::fromStdString(path)] {
          QFileSystemWatcher watcher({name});
          QObject::connect(&watcher, &QFileSystemWatcher::fileChanged, &watcher, [this] { read(); });
          isReady_ = true;
          isReady_.notify_one();
          QEventLoop().exec();
        })) {
    static int count = 1;
    static char name[] = "tessaly_bench";
    static char* arguments[] = {name, nullptr};
    if (QCoreApplication::instance() == nullptr) new QCoreApplication(count, arguments);
    thread_->start();
    isReady_.wait(false);
  }
  ~QtReader() override {
    thread_->quit();
    thread_->wait();
  }

 private:
  std::atomic<bool> isReady_{false};
  const std::unique_ptr<QThread> thread_;
};

}  // namespace

std::shared_ptr<Reader> qFileSystemWatcher(const std::string& path) { return std::make_shared<QtReader>(path); }

}  // namespace Tessaly::Benchmarks::FilePeers
