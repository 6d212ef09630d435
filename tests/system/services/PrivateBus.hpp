// SPDX-License-Identifier: MIT
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "tests/Platform/Foundation/TemporaryFolder.hpp"
#include "tests/system/services/Process.hpp"

namespace Tessaly::Tests {

/// A message bus of the test's own, which the environment names as the session's or the system's.
class PrivateBus {
 public:
  /// The variable is DBUS_SESSION_BUS_ADDRESS or DBUS_SYSTEM_BUS_ADDRESS.
  explicit PrivateBus(const char* variable) {
    ::chmod(folder_.path().c_str(), 0755);
    std::ofstream(folder_.path() + "/bus.conf")
        << "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\"\n"
           "\"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
           "<busconfig><type>session</type><keep_umask/><listen>unix:path="
        << folder_.path() << "/bus</listen><auth>EXTERNAL</auth><policy context=\"default\">"
        << "<allow user=\"*\"/><allow send_destination=\"*\" eavesdrop=\"true\"/><allow eavesdrop=\"true\"/>"
        << "<allow own=\"*\"/></policy></busconfig>\n";
    ::setenv(variable, address().c_str(), 1);
    start();
  }

  [[nodiscard]] const std::string& folder() const { return folder_.path(); }
  [[nodiscard]] std::string address() const { return "unix:path=" + folder_.path() + "/bus"; }
  /// Why it does not run; empty if it does.
  [[nodiscard]] const std::string& reason() const { return reason_; }

  void start() {
    std::filesystem::remove(folder_.path() + "/bus");
    daemon_ = Process({"dbus-daemon", "--config-file=" + folder_.path() + "/bus.conf", "--nofork", "--nopidfile"},
                      folder_.path() + "/bus.log");
    reason_ = comesTrue([this] { return busctl({"list"}) == 0; }) ? "" : "no message bus could be started";
  }
  Process& daemon() { return daemon_; }

  /// Runs busctl on this bus; its exit status.
  int busctl(std::vector<std::string> arguments, std::string* output = nullptr) const {
    arguments.insert(arguments.begin(), {"busctl", "--address=" + address(), "--timeout=5"});
    const std::string file = folder_.path() + "/busctl.out";
    const int status = Process(arguments, file).wait();
    if (output != nullptr) *output = contentsOf(file);
    return status;
  }
  [[nodiscard]] bool hasOwner(const std::string& name) const { return busctl({"status", name}) == 0; }

 private:
  TessalyTests::TemporaryFolder folder_;
  Process daemon_;
  std::string reason_;
};

/// A service that python3-dbusmock plays on a private bus.
class MockService {
 public:
  struct Method {
    std::string name;
    std::string input;
    std::string output;
    /// Python, with `args`; sets `ret`.
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

  /// Why it does not run; empty if it does.
  [[nodiscard]] const std::string& reason() const { return reason_; }
  Process& process() { return process_; }
  void stop() { process_.end(); }

  void start() {
    // The mock chooses its bus by a switch, and the environment says where that bus is.
    const char* const system = std::getenv("DBUS_SYSTEM_BUS_ADDRESS");
    const bool isSystem = system != nullptr && bus_.address() == system;
    process_ = Process({"/usr/bin/python3", "-m", "dbusmock", isSystem ? "--system" : "--session", "--logfile", log(),
                        name_, path_, interface_},
                       bus_.folder() + "/mock.out");
    if (!comesTrue([this] { return bus_.hasOwner(name_); })) {
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

  /// The calls so far, each as its method and arguments; since the service started last.
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
