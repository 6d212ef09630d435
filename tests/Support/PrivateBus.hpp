// SPDX-License-Identifier: MIT
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>
#include <vector>

#include "tests/Support/ContentsOf.hpp"
#include "tests/Support/Process.hpp"
#include "tests/Support/TemporaryFolder.hpp"
#include "tests/Support/WaitUntil.hpp"

namespace Tessaly::Tests {

/// A message bus of the test. The environment names it as the session bus or the system bus.
class PrivateBus {
 public:
  /// The variable is DBUS_SESSION_BUS_ADDRESS or DBUS_SYSTEM_BUS_ADDRESS.
  explicit PrivateBus(const char* variable) {
    ::chmod(folder_.path().c_str(), 0755);
    std::ofstream(folder_.path() + "/bus.conf")
        << "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\"\n"
           "\"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
           "<busconfig><type>session</type><keep_umask/><listen>unix:path="
        << folder_.path() << "/bus</listen><servicedir>" << folder_.path()
        << "/services</servicedir><auth>EXTERNAL</auth><policy context=\"default\">"
        << "<allow user=\"*\"/><allow send_destination=\"*\" eavesdrop=\"true\"/><allow eavesdrop=\"true\"/>"
        << "<allow own=\"*\"/></policy></busconfig>\n";
    ::setenv(variable, address().c_str(), 1);
    start();
  }
  PrivateBus(const PrivateBus&) = delete;
  PrivateBus& operator=(const PrivateBus&) = delete;
  ~PrivateBus() {
    // The directory is removed before the daemon ends. A thread of the library closes a descriptor when the bus ends.
    // ThreadSanitizer would confuse it with the directory's descriptor of the same number.
    std::error_code ignored;
    std::filesystem::remove_all(folder_.path(), ignored);
  }

  [[nodiscard]] const std::string& folder() const { return folder_.path(); }
  [[nodiscard]] std::string address() const { return "unix:path=" + folder_.path() + "/bus"; }
  /// The reason why it does not run. Empty if it runs.
  [[nodiscard]] const std::string& reason() const { return reason_; }

  void start() {
    std::filesystem::remove(folder_.path() + "/bus");
    daemon_ = Process({"dbus-daemon", "--config-file=" + folder_.path() + "/bus.conf", "--nofork", "--nopidfile"},
                      folder_.path() + "/bus.log");
    reason_ = waitUntil([this] { return busctl({"list"}) == 0; }) ? "" : "no message bus could be started";
  }
  Process& daemon() { return daemon_; }

  /// Lets the bus start this command when a program asks for the name.
  void addService(const std::string& name, const std::string& command) const {
    std::filesystem::create_directory(folder_.path() + "/services");
    std::ofstream(folder_.path() + "/services/" + name + ".service")
        << "[D-BUS Service]\nName=" << name << "\nExec=" << command << '\n';
    busctl({"call", "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "ReloadConfig"});
  }

  /// Runs busctl on this bus and returns its exit status.
  int busctl(std::vector<std::string> arguments, std::string* output = nullptr) const {
    arguments.insert(arguments.begin(), {"busctl", "--address=" + address(), "--timeout=5"});
    const std::string file = folder_.path() + "/busctl.out";
    const int status = Process(arguments, file).wait();
    if (output != nullptr) *output = contentsOf(file);
    return status;
  }
  [[nodiscard]] bool hasOwner(const std::string& name) const { return busctl({"status", name}) == 0; }
  /// Waits until the bus knows that a service has ended. Until then the bus passes calls to it, which get no answer.
  [[nodiscard]] bool noticesEndOf(const std::string& name) const {
    return waitUntil([&] { return !hasOwner(name); });
  }

 private:
  TemporaryFolder folder_;
  Process daemon_;
  std::string reason_;
};

}  // namespace Tessaly::Tests
