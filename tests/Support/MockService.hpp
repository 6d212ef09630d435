// SPDX-License-Identifier: MIT
#pragma once

#include <cstdlib>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "tests/Support/ContentsOf.hpp"
#include "tests/Support/PrivateBus.hpp"
#include "tests/Support/Process.hpp"
#include "tests/Support/WaitUntil.hpp"

namespace Tessaly::Tests {

/// A service on a private bus, played by python3-dbusmock.
class MockService {
 public:
  struct Method {
    std::string name;
    std::string input;
    std::string output;
    /// Python code that reads `args` and sets `ret`.
    std::string code;
  };

  MockService(const PrivateBus& bus, std::string name, std::string path, std::string interface,
              std::vector<Method> methods)
      : bus_(bus),
        name_(std::move(name)),
        path_(std::move(path)),
        interface_(std::move(interface)),
        methods_(std::move(methods)) {
    start();
  }

  /// The reason why it does not run. Empty if it runs.
  [[nodiscard]] const std::string& reason() const { return reason_; }
  Process& process() { return process_; }
  void stop() {
    process_.end();
    if (!bus_.noticesEndOf(name_)) reason_ = "the bus still knows " + name_;
  }

  void start() {
    // The mock chooses its bus by a switch, and the environment gives the address of that bus.
    const char* const system = std::getenv("DBUS_SYSTEM_BUS_ADDRESS");
    const bool isSystem = system != nullptr && bus_.address() == system;
    process_ = Process({"/usr/bin/python3", "-m", "dbusmock", isSystem ? "--system" : "--session", "--logfile", log(),
                        name_, path_, interface_},
                       bus_.folder() + "/mock.out");
    if (!waitUntil([this] { return bus_.hasOwner(name_); })) {
      reason_ = "python3-dbusmock could not be started: " + contentsOf(bus_.folder() + "/mock.out");
      return;
    }
    for (const Method& method : methods_) set(method);
  }
  void set(const Method& method) {
    const int status = bus_.busctl({"call", name_, path_, "org.freedesktop.DBus.Mock", "AddMethod", "sssss", interface_,
                                    method.name, method.input, method.output, method.code});
    if (status != 0) reason_ = "python3-dbusmock refuses the method " + method.name;
  }

  /// The calls since the last start of the service, each as its method and arguments.
  [[nodiscard]] std::vector<std::string> calls() const {
    std::vector<std::string> calls;
    std::ifstream file(log());
    for (std::string line; std::getline(file, line);) calls.push_back(line.substr(line.find(' ') + 1));
    return calls;
  }

 private:
  [[nodiscard]] std::string log() const { return bus_.folder() + '/' + name_ + ".log"; }

  const PrivateBus& bus_;
  std::string name_;
  std::string path_;
  std::string interface_;
  std::vector<Method> methods_;
  Process process_;
  std::string reason_;
};

}  // namespace Tessaly::Tests
