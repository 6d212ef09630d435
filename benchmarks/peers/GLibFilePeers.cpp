// SPDX-License-Identifier: MIT
#include <gio/gio.h>

#include <functional>
#include <stdexcept>
#include <thread>
#include <utility>

#include "FilePeers.hpp"

namespace Tessaly::Benchmarks::FilePeers {
namespace {

/// A monitor and the thread with its main loop.
class MonitoringThread {
 public:
  using OnChange = std::function<void(GFile* other, GFileMonitorEvent event)>;

  MonitoringThread(const std::string& path, OnChange onChange) : onChange_(std::move(onChange)) {
    // The monitor notifies the default context of the thread that made it.
    g_main_context_push_thread_default(context_);
    GFile* const file = g_file_new_for_path(path.c_str());
    monitor_ = g_file_monitor(file, G_FILE_MONITOR_WATCH_MOVES, nullptr, nullptr);
    g_object_unref(file);
    g_main_context_pop_thread_default(context_);
    if (monitor_ == nullptr) throw std::runtime_error("GLib cannot watch " + path);
    // By default the monitor reports a file with continuous writes only every 800 ms.
    g_file_monitor_set_rate_limit(monitor_, 0);
    g_signal_connect(monitor_, "changed", G_CALLBACK(changed), this);
    thread_ = std::thread([this] { g_main_loop_run(loop_); });
  }
  ~MonitoringThread() {
    g_main_loop_quit(loop_);
    thread_.join();
    g_object_unref(monitor_);
    g_main_loop_unref(loop_);
    g_main_context_unref(context_);
  }
  MonitoringThread(const MonitoringThread&) = delete;
  MonitoringThread& operator=(const MonitoringThread&) = delete;

 private:
  static void changed(GFileMonitor*, GFile*, GFile* other, GFileMonitorEvent event, gpointer self) {
    static_cast<MonitoringThread*>(self)->onChange_(other, event);
  }

  const OnChange onChange_;
  GMainContext* context_ = g_main_context_new();
  GMainLoop* loop_ = g_main_loop_new(context_, FALSE);
  GFileMonitor* monitor_ = nullptr;
  std::thread thread_;
};

class GLibReader final : public Reader {
 public:
  explicit GLibReader(const std::string& path)
      : Reader(path), thread_(path, [this](GFile*, GFileMonitorEvent event) {
          if (event == G_FILE_MONITOR_EVENT_CHANGED) read();
        }) {}

 private:
  MonitoringThread thread_;
};

class GLibLister final : public Lister {
 public:
  explicit GLibLister(const std::string& path)
      : thread_(path, [this](GFile* other, GFileMonitorEvent event) {
          if (event != G_FILE_MONITOR_EVENT_RENAMED) return;
          char* const name = g_file_get_basename(other);
          learnName(name);
          g_free(name);
        }) {}

 private:
  MonitoringThread thread_;
};

}  // namespace

std::shared_ptr<Observer> gFileMonitor(const std::string& file) { return std::make_shared<GLibReader>(file); }

std::shared_ptr<Observer> gFileMonitorOfDirectory(const std::string& directory) {
  return std::make_shared<GLibLister>(directory);
}

}  // namespace Tessaly::Benchmarks::FilePeers
