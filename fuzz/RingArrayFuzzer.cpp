// SPDX-License-Identifier: MIT
// Reads any bytes as operations on a ring. The ring equals the transcription of its rules after each of them.
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

template <typename Element>
struct Pair {
  RingArray<Element> ring{0};
  Tests::RingModel<Element> model{0};

  void check() { require(*difference(ring, model) == '\0'); }
};

void make(std::size_t step, std::uint8_t argument, std::string& text) {
  text = std::to_string(step) + std::string(argument, 'x');
}
void make(std::size_t step, std::uint8_t argument, std::int64_t& number) {
  number = static_cast<std::int64_t>(step) * 256 + argument;
}

template <typename Element>
void run(const std::uint8_t* data, std::size_t size) {
  Pair<Element> current;
  Pair<Element> other;
  for (std::size_t i = 0; i + 1 < size; i += 2) {
    auto& [ring, model] = current;
    const std::int64_t argument = static_cast<std::int8_t>(data[i + 1]);
    Element made;
    make(i, data[i + 1], made);
    switch (data[i] % 14) {
      case 0:
        ring.removeAllAndSetCapacity(argument & 15);
        model.removeAllAndSetCapacity(argument & 15);
        break;
      case 1:
        require(ring.append(made) == model.append(made));
        break;
      case 2:
        require(ring.prepend(made) == model.prepend(made));
        break;
      case 3:
        require(ring.popFirst() == model.popFirst());
        break;
      case 4:
        require(ring.popLast() == model.popLast());
        break;
      case 5:
        ring.fill(made);
        model.fill(made);
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
          ring.set(argument, made);
          *content = made;
        }
        break;
      case 9: {
        const RingArrayIndex index{argument & 15, model.startIndex.loopIndex + (argument >> 4)};
        if (auto* content = model.at(index)) {
          ring.modify(index, [&](Element& element) { element += made; });
          **content += made;
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
        const std::hash<RingArray<Element>> hash;
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
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  run<std::string>(data, size);
  run<std::int64_t>(data, size);
  return 0;
}
