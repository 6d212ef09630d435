// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Testing/ScriptedNetwork.hpp"

namespace Tessaly::inline v1 {

ScriptedNetwork::ScriptedNetwork(NWPath path) { setPath(path); }

ScriptedNetwork::ScriptedNetwork(NWPath::Status status) : ScriptedNetwork(NWPath({.status = status})) {}

void ScriptedNetwork::setPath(NWPath path) {
  update(Telling::always, [path](const NWPath&) { return path; });
}

void ScriptedNetwork::setStatus(NWPath::Status status) { setPath(NWPath({.status = status})); }

void ScriptedNetwork::refresh() { monitors_.fetch_add(1); }

}  // namespace Tessaly::inline v1
