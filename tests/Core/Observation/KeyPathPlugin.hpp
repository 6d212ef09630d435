// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "Tessaly/Core/Observation/KeyPath.hpp"
#include "Tessaly/Core/Observation/Property.hpp"

namespace Tessaly::Tests {

/// A class that a host and its plug-ins have in common.
struct Tune {
  std::string title;
  Property<int> seconds = 0;
  [[nodiscard]] int minutes() const { return seconds / 60; }
};

template <typename T>
struct Shelf {
  T content{};
};

/// The key paths as a plug-in makes them.
struct PluginKeyPaths {
  AnyKeyPath title;
  KeyPath<Tune, int> seconds;
  KeyPath<Tune, int> minutes;
  AnyKeyPath content;
  /// The key path of a local class. The other plug-in has a class with the same name.
  AnyKeyPath hidden;
};

}  // namespace Tessaly::Tests
