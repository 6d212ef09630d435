// SPDX-License-Identifier: MIT
// Reads any bytes as operations on a queue. The queue equals the transcription of its rules after each of them.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include "Tessaly/Collections/FIFOStack.hpp"
#include "tests/Collections/FIFOModel.hpp"

namespace {

void require(bool condition) {
  if (!condition) std::abort();
}

struct Pair {
  Tessaly::FIFOStack<std::string> queue;
  Tessaly::Tests::FIFOModel<std::string> model;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Pair current;
  Pair other;
  for (std::size_t i = 0; i < size; ++i) {
    auto& [queue, model] = current;
    const std::string text = std::to_string(i) + " and more, which lies on the heap";
    switch (data[i] % 6) {
      case 0:
        queue.enqueue(text);
        model.enqueue(text);
        break;
      case 1:
        require(queue.dequeue() == model.dequeue());
        break;
      case 2: {
        const std::vector<std::string> several(data[i] / 6, text);
        queue.enqueueContentsOf(several);
        model.enqueueContentsOf(several);
        break;
      }
      case 3:
        if (data[i] > 200) require(queue.removeAll() == model.removeAll());
        break;
      case 4:
        other = current;
        break;
      case 5:
        std::swap(current, other);
        break;
    }
    require(current.queue.isEmpty() == current.model.isEmpty());
  }
  require(current.queue.removeAll() == current.model.removeAll());
  require(other.queue.removeAll() == other.model.removeAll());
  return 0;
}
