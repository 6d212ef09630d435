// SPDX-License-Identifier: MIT
#pragma once

#include <fcntl.h>
#include <unistd.h>
#include <wayland-server.h>

#include <cstdlib>
#include <functional>
#include <future>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/Support/TemporaryFolder.hpp"

namespace Tessaly::Tests {

/// A Wayland compositor with a seat. If it is given a name for a data-control manager, it has that, too. The manager
/// uses the messages of ext-data-control-v1. The environment names the compositor as the display.
class FakeCompositor {
 public:
  explicit FakeCompositor(const char* prefix) : display_(wl_display_create()) {
    ::setenv("XDG_RUNTIME_DIR", folder_.path().c_str(), 1);
    for (const char* name : {"DISPLAY", "WAYLAND_SOCKET"}) ::unsetenv(name);
    if (const char* name = wl_display_add_socket_auto(display_)) ::setenv("WAYLAND_DISPLAY", name, 1);
    wl_global_create(display_, &wl_seat_interface, 1, this,
                     [](wl_client* client, void*, uint32_t version, uint32_t id) {
                       wl_resource_create(client, &wl_seat_interface, static_cast<int>(version), id);
                     });
    if (*prefix != '\0') addManager(prefix);
    thread_ = std::thread([this] { serve(); });
  }
  ~FakeCompositor() { end(); }
  FakeCompositor(const FakeCompositor&) = delete;
  FakeCompositor& operator=(const FakeCompositor&) = delete;

  /// Ends the compositor.
  void end() {
    if (!thread_.joinable()) return;
    run([this] { isDone_ = true; });
    thread_.join();
    wl_display_destroy_clients(display_);
    wl_display_destroy(display_);
  }

  /// The forms of the selection.
  std::vector<std::string> forms() {
    std::vector<std::string> forms;
    run([&] { forms = forms_; });
    return forms;
  }
  /// The contents that the owner of the selection writes in this format.
  std::string paste(const char* form) {
    int pipe[2] = {-1, -1};
    if (::pipe2(pipe, O_CLOEXEC) != 0) return "no pipe";
    run([&] {
      if (selection_ != nullptr) wl_resource_post_event(selection_, 0, form, pipe[1]);
      wl_display_flush_clients(display_);
    });
    ::close(pipe[1]);
    std::string text;
    char block[4096];
    for (ssize_t count = 0; (count = ::read(pipe[0], block, sizeof block)) > 0;)
      text.append(block, static_cast<std::size_t>(count));
    ::close(pipe[0]);
    return text;
  }
  /// Another client takes the selection.
  void replace() {
    run([&] { select(nullptr); });
  }

 private:
  using Handler = void (*)();
  static FakeCompositor& of(wl_resource* resource) {
    return *static_cast<FakeCompositor*>(wl_resource_get_user_data(resource));
  }

  void addManager(const std::string& prefix) {
    static const wl_interface* none[] = {nullptr, nullptr};
    sourceRequests_ = {{"offer", "s", none}, {"destroy", "", none}};
    sourceEvents_ = {{"send", "sh", none}, {"cancelled", "", none}};
    sourceTypes_[0] = &source_;
    deviceTypes_[0] = &device_;
    deviceTypes_[1] = &wl_seat_interface;
    deviceRequests_ = {
        {"set_selection", "?o", sourceTypes_}, {"destroy", "", none}, {"set_primary_selection", "?o", sourceTypes_}};
    deviceEvents_ = {{"data_offer", "n", none},
                     {"selection", "?o", none},
                     {"finished", "", none},
                     {"primary_selection", "?o", none}};
    managerRequests_ = {
        {"create_data_source", "n", sourceTypes_}, {"get_data_device", "no", deviceTypes_}, {"destroy", "", none}};
    for (const char* part : {"manager", "device", "source"}) names_.push_back(prefix + "_data_control_" + part + "_v1");
    manager_ = {names_[0].c_str(), 1, 3, managerRequests_.data(), 0, nullptr};
    device_ = {names_[1].c_str(), 1, 3, deviceRequests_.data(), 4, deviceEvents_.data()};
    source_ = {names_[2].c_str(), 1, 2, sourceRequests_.data(), 2, sourceEvents_.data()};
    wl_global_create(display_, &manager_, 1, this, [](wl_client* client, void* self, uint32_t version, uint32_t id) {
      static const Handler requests[] = {reinterpret_cast<Handler>(&createSource),
                                         reinterpret_cast<Handler>(&getDevice), reinterpret_cast<Handler>(&destroy)};
      auto& compositor = *static_cast<FakeCompositor*>(self);
      wl_resource* const resource = wl_resource_create(client, &compositor.manager_, static_cast<int>(version), id);
      wl_resource_set_implementation(resource, requests, self, nullptr);
    });
  }

  static void createSource(wl_client* client, wl_resource* manager, uint32_t id) {
    static const Handler requests[] = {reinterpret_cast<Handler>(&offer), reinterpret_cast<Handler>(&destroy)};
    wl_resource* const resource = wl_resource_create(client, &of(manager).source_, 1, id);
    wl_resource_set_implementation(resource, requests, &of(manager), [](wl_resource* source) {
      if (of(source).selection_ == source) of(source).selection_ = nullptr;
    });
    of(manager).offered_.clear();
  }
  static void getDevice(wl_client* client, wl_resource* manager, uint32_t id, wl_resource*) {
    static const Handler requests[] = {reinterpret_cast<Handler>(&setSelection), reinterpret_cast<Handler>(&destroy),
                                       reinterpret_cast<Handler>(&setSelection)};
    wl_resource* const resource = wl_resource_create(client, &of(manager).device_, 1, id);
    wl_resource_set_implementation(resource, requests, &of(manager), nullptr);
  }
  static void offer(wl_client*, wl_resource* source, const char* form) { of(source).offered_.emplace_back(form); }
  static void setSelection(wl_client*, wl_resource* device, wl_resource* source) {
    of(device).forms_ = std::move(of(device).offered_);
    of(device).select(source);
  }
  static void destroy(wl_client*, wl_resource* resource) { wl_resource_destroy(resource); }

  void select(wl_resource* source) {
    if (wl_resource* const former = std::exchange(selection_, source); former != nullptr)
      wl_resource_post_event(former, 1);
  }

  /// On the compositor's thread, after the earlier messages of clients.
  void run(const std::function<void()>& work) {
    std::promise<void> done;
    {
      const std::lock_guard guard(mutex_);
      work_.push_back([&] {
        work();
        done.set_value();
      });
    }
    done.get_future().wait();
  }
  void serve() {
    while (!isDone_) {
      wl_event_loop_dispatch(wl_display_get_event_loop(display_), 5);
      std::vector<std::function<void()>> work;
      {
        const std::lock_guard guard(mutex_);
        work.swap(work_);
      }
      for (const auto& step : work) step();
      wl_display_flush_clients(display_);
    }
  }

  Tests::TemporaryFolder folder_;
  wl_display* display_;
  std::vector<std::string> names_;
  const wl_interface* sourceTypes_[1] = {};
  const wl_interface* deviceTypes_[2] = {};
  std::vector<wl_message> managerRequests_, deviceRequests_, deviceEvents_, sourceRequests_, sourceEvents_;
  wl_interface manager_{}, device_{}, source_{};
  // Belongs to the compositor's thread.
  std::vector<std::string> offered_;
  std::vector<std::string> forms_;
  wl_resource* selection_ = nullptr;
  bool isDone_ = false;
  std::mutex mutex_;
  std::vector<std::function<void()>> work_;
  std::thread thread_;
};

}  // namespace Tessaly::Tests
