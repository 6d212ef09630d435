// SPDX-License-Identifier: MIT
// The second process of the GSettings peer in the settings benchmark.
#include "peers/SettingsPeers.hpp"

int main(int count, char** arguments) {
  if (count != 2) return 2;
  Tessaly::Benchmarks::SettingsPeers::gSettingsEcho(arguments[1]);
  return 0;
}
