// SPDX-License-Identifier: MIT
#include "KeyPathPlugin.hpp"

namespace Tessaly::Tests {
namespace {

struct Hidden {
  int title = 0;
};

}  // namespace

extern "C" [[gnu::visibility("default")]] const PluginKeyPaths* pluginKeyPaths() {
  static const PluginKeyPaths made{keyPath<&Tune::title>, keyPath<&Tune::seconds>, keyPath<&Tune::minutes>,
                                   keyPath<&Shelf<Tune>::content>, keyPath<&Hidden::title>};
  return &made;
}

}  // namespace Tessaly::Tests
