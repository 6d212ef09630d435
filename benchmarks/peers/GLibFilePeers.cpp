// SPDX-License-Identifier: MIT
#include <gio/gio.h>

#include <stdexcept>
#include <thread>

#include "FilePeers.hpp"

namespace Tessaly::Benchmarks::FilePeers {
namespace {

class GLibReader final : public Reader {
 public:
  explicit GLibReader(const std::string& path) : Reader(path) {
    // The monitor notifies the default context of the thread that made it.
    g_main_context_push_thread_default(context_);
    GFile* const file = g_file_new_for_path(path.c_str());
    monitor_ = g_file_monitor_file(file, G_FILE_MONITOR_NONE, nullptr, nullptr);
    g_object_unref(file);
    g_main_context_pop_thread_default(context_);
    if (monitor_ == nullptr) throw std::runtime_error("GLib cannot watch the file");
    // By default the monitor reports a file with continuous writes only every 800 ms.
    g_file_monitor_set_rate_limit(monitor_, 0);
    g_signal_connect(monitor_, "changed", G_CALLBACK(changed), this);
    thread_ = std::thread([this] { g_main_loop_run(loop_); });
  }
  ~GLibReader() override {
    g_main_loop_quit(loop_);
    thread_.join();
    g_object_unref(monitor_);
    g_main_loop_unref(loop_);
    g_main_context_unref(context_);
  }

 private:
  static void changed(GFileMonitor*, GFile*, GFile*, GFileMonitorEvent event, gpointer self) {
    if (event == G_FILE_MONITOR_EVENT_CHANGED) static_cast<GLibReader*>(self)->read();
  }

  GMainContext* context_ = g_main_context_new();
  GMainLoop* loop_ = g_main_loop_new(context_, FALSE);
  GFileMonitor* monitor_ = nullptr;
  std::thread thread_;
};

}  // namespace

std::shared_ptr<Reader> gFileMonitor(const std::string& path) { return std::make_shared<GLibReader>(path); }

}  // namespace Tessaly::Benchmarks::FilePeers
