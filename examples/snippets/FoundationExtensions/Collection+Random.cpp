// SPDX-License-Identifier: MIT
#include "Tessaly/FoundationExtensions/Collection+Random.hpp"

namespace {

using namespace Tessaly;

void show(const std::vector<int>& tickets) {
  std::vector<int> winners = Collection::randomElements(tickets, 3);
  winners.clear();
}

}  // namespace
