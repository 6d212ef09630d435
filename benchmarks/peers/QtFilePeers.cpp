// SPDX-License-Identifier: MIT
#include <QtCore/QCoreApplication>
#include <QtCore/QCryptographicHash>
#include <QtCore/QDir>
#include <QtCore/QEventLoop>
#include <QtCore/QFile>
#include <QtCore/QFileSystemWatcher>
#include <QtCore/QThread>
#include <functional>
#include <stdexcept>

#include "FilePeers.hpp"

namespace Tessaly::Benchmarks::FilePeers {
namespace {

/// A thread with a watcher and an event loop.
class WatchingThread {
 public:
  WatchingThread(QStringList paths, std::function<void()> onChange)
      : thread_(QThread::create([this, paths = std::move(paths), onChange = std::move(onChange)] {
          QFileSystemWatcher watcher(paths);
          QObject::connect(&watcher, &QFileSystemWatcher::fileChanged, &watcher, [&] { onChange(); });
          QObject::connect(&watcher, &QFileSystemWatcher::directoryChanged, &watcher, [&] { onChange(); });
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
  ~WatchingThread() {
    thread_->quit();
    thread_->wait();
  }
  WatchingThread(const WatchingThread&) = delete;
  WatchingThread& operator=(const WatchingThread&) = delete;

 private:
  std::atomic<bool> isReady_{false};
  const std::unique_ptr<QThread> thread_;
};

class QtReader final : public Reader {
 public:
  explicit QtReader(const std::string& path)
      : Reader(path), thread_({QString::fromStdString(path)}, [this] { read(); }) {}

 private:
  WatchingThread thread_;
};

/// The signal says only that the directory has changed, so the reader lists it.
class QtLister final : public Lister {
 public:
  explicit QtLister(const std::string& path)
      : directory_(QString::fromStdString(path)), thread_({directory_.path()}, [this] { list(); }) {}

 private:
  void list() {
    const QStringList names = directory_.entryList({QString::fromStdString(std::string(prefix) + "*")}, QDir::Files);
    for (const QString& name : names) learnName(name.toStdString());
  }

  QDir directory_;
  WatchingThread thread_;
};

QCryptographicHash::Algorithm algorithmOf(std::string_view method) {
  if (method == "sha256") return QCryptographicHash::Sha256;
  return method == "sha512" ? QCryptographicHash::Sha512 : QCryptographicHash::Md5;
}

}  // namespace

std::shared_ptr<Observer> qFileSystemWatcher(const std::string& file) { return std::make_shared<QtReader>(file); }

std::shared_ptr<Observer> qFileSystemWatcherOfDirectory(const std::string& directory) {
  return std::make_shared<QtLister>(directory);
}

std::shared_ptr<void> qFileSystemWatcherOfFiles(const std::string& directory) {
  const QDir listed(QString::fromStdString(directory));
  QStringList paths{listed.path()};
  for (const QString& name : listed.entryList(QDir::Files)) paths.push_back(listed.filePath(name));
  return std::make_shared<WatchingThread>(std::move(paths), [] {});
}

std::string qCryptographicHash(const std::string& file, std::string_view method) {
  QFile opened(QString::fromStdString(file));
  QCryptographicHash hash(algorithmOf(method));
  if (!opened.open(QIODevice::ReadOnly) || !hash.addData(&opened)) throw std::runtime_error("Qt cannot read the file");
  return hash.result().toHex().toStdString();
}

}  // namespace Tessaly::Benchmarks::FilePeers
