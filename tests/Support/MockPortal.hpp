// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "tests/Support/MockService.hpp"

namespace Tessaly::Tests {

/// One interface of a desktop's portal on a private bus, played by python3-dbusmock.
class MockPortal : public MockService {
 public:
  MockPortal(const PrivateBus& bus, const std::string& interface, std::vector<Method> methods)
      : MockService(bus, "org.freedesktop.portal.Desktop", "/org/freedesktop/portal/desktop",
                    "org.freedesktop.portal." + interface, std::move(methods)) {}

  /// The method `Inhibit`. It makes a request object, runs the code, and returns the object's path. The code may use
  /// `path` and `request`.
  static Method inhibit(const std::string& code) {
    return {"Inhibit", "sua{sv}", "o",
            "path = '/org/freedesktop/portal/desktop/request/mock/r' + str(len(objects))\n"
            "self.AddObject(path, 'org.freedesktop.portal.Request', {}, [('Close', '', '', '')])\n"
            "request = objects[path]\n"
            "ret = dbus.ObjectPath(path)\n" +
                code};
  }
  /// Code that sends the response to a request.
  static std::string respond(int response) {
    return "request.EmitSignal('org.freedesktop.portal.Request', 'Response', 'ua{sv}', [dbus.UInt32(" +
           std::to_string(response) + "), {}])\n";
  }
};

}  // namespace Tessaly::Tests
