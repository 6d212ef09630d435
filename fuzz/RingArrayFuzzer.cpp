// SPDX-License-Identifier: MIT
// Any bytes read as operations on a ring, which then is what the transcription of its rules is.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <string>
#include <utility>

#include "Tessaly/Collections/RingArray.hpp"
#include "tests/Collections/RingModel.hpp"

namespace {

using namespace Tessaly;

void require(bool condition) {
  if (!condition) std::abort();
}

struct Pair {
  RingArray<std::string> ring{0};
  Tests::RingModel<std::string> model{0};

  void check() { require(*difference(ring, model) == '\0'); }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Pair current;
  Pair other;
  for (std::size_t i = 0; i + 1 < size; i += 2) {
    auto& [ring, model] = current;
    const std::int64_t argument = static_cast<std::int8_t>(data[i + 1]);
    const std::string text = std::to_string(i) + std::string(data[i + 1], 'x');
    switch (data[i] % 14) {
      case 0:
        ring.removeAllAndSetCapacity(argument & 15);
        model.removeAllAndSetCapacity(argument & 15);
        break;
      case 1:
        require(ring.append(text) == model.append(text));
        break;
      case 2:
        require(ring.prepend(text) == model.prepend(text));
        break;
      case 3:
        require(ring.popFirst() == model.popFirst());
        break;
      case 4:
        require(ring.popLast() == model.popLast());
        break;
      case 5:
        ring.fill(text);
        model.fill(text);
        break;
      case 6:
        ring.removeAll();
        model.removeAll();
        break;
      case 7:
        if (model.mayShift()) {
          ring.shiftWhenFull(argument);
          model.shiftWhenFull(argument);
        }
        break;
      case 8:
        if (auto* content = model.at(argument)) {
          require(ring[argument] == **content);
          ring.set(argument, text);
          *content = text;
        }
        break;
      case 9: {
        const RingArrayIndex index{argument & 15, model.startIndex.loopIndex + (argument >> 4)};
        if (auto* content = model.at(index)) {
          ring.modify(index, [&](std::string& element) { element += text; });
          **content += text;
        }
        break;
      }
      case 10:
        other = current;
        break;
      case 11:
        std::swap(current, other);
        break;
      case 12: {
        const bool areEqual = ring == other.ring;
        require(areEqual == (model == other.model));
        const std::hash<RingArray<std::string>> hash;
        if (areEqual) require(hash(ring) == hash(other.ring));
        break;
      }
      case 13:
        require((ring.description() == "[]") == ring.isEmpty());
        break;
    }
    current.check();
    other.check();
  }
  return 0;
}
