// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cstdint>
#include <ctime>
#include <fstream>
#include <numeric>
#include <ranges>
#include <string>
#include <utility>
#include <vector>

#include "Chapters.hpp"
#include "Files.hpp"
#include "Tessaly/Collections/ChunkSequence.hpp"
#include "Tessaly/Collections/FIFOStack.hpp"
#include "Tessaly/Collections/RingArray.hpp"

namespace Tour {
namespace {

using namespace Tessaly;

/// The average load of the machine at one moment, and the processor time that this program had used.
struct Reading {
  std::string load;
  std::clock_t processorTime = 0;

  [[nodiscard]] std::string description() const { return load; }
  friend bool operator==(const Reading&, const Reading&) = default;
};

Reading readLoad() {
  Reading reading;
  std::ifstream("/proc/loadavg") >> reading.load;
  reading.processorTime = std::clock();
  return reading;
}

void tellOfARing(Narrator& narrator) {
  constexpr std::int64_t capacity = 5;
  RingArray<Reading> history(capacity);
  std::vector<Reading> all;
  std::vector<Reading> dropped;
  for (int i = 0; i < 12; ++i) {
    all.push_back(readLoad());
    if (auto oldest = history.append(all.back())) dropped.push_back(std::move(*oldest));
  }
  const RingArray<Reading> snapshot = history;
  narrator.say(text("12 readings of the load, of which a ring keeps ", history.count(), ": ", history.description(),
                    ", from slot ", history.startIndex().backendIndex, " in its loop ",
                    history.startIndex().loopIndex));
  narrator.check(std::ranges::equal(history, all | std::views::drop(12 - capacity)) &&
                     std::ranges::equal(dropped, all | std::views::take(12 - capacity)),
                 "The ring holds the last 5 of a plain list, and gave back the others in order");
  const std::clock_t used = history[capacity - 1].processorTime - history[0].processorTime;
  narrator.check(
      used == all[11].processorTime - all[12 - capacity].processorTime && used > 0,
      text("Its first and its last reading are ", used * 1'000'000 / CLOCKS_PER_SEC, " us of processor time apart"));
  history.shiftWhenFull(2);
  history.popFirst();
  narrator.check(std::ranges::equal(snapshot, all | std::views::drop(12 - capacity)) && history[0] == all[10],
                 "A copy that was made before keeps its order when the ring is rotated and shortened");
}

void tellOfAQueue(Narrator& narrator, const std::vector<File>& files) {
  FIFOStack<File> pending;
  pending.enqueueContentsOf(files);
  std::uint64_t bytes = 0;
  std::size_t inOrder = 0;
  while (auto next = pending.dequeue()) {
    bytes += next->size;
    if (next->path == files[inOrder].path) ++inOrder;
  }
  narrator.check(inOrder == files.size() && bytes == totalSize(files),
                 text(grouped(inOrder), " files leave the queue in the order in which they came, ", megabytes(bytes),
                      " together"));
}

void tellOfChunks(Narrator& narrator, const std::vector<File>& files) {
  std::size_t chunks = 0;
  std::uint64_t largest = 0;
  std::uint64_t bytes = 0;
  for (const auto chunk : chunked(files, 100)) {
    const std::uint64_t size = std::accumulate(chunk.begin(), chunk.end(), std::uint64_t{0},
                                               [](std::uint64_t sum, const File& file) { return sum + file.size; });
    largest = std::max(largest, size);
    bytes += size;
    ++chunks;
  }
  narrator.check(
      bytes == totalSize(files) && chunks == (files.size() + 99) / 100,
      text("In ", chunks, " chunks of up to 100 files they are as large; the largest chunk has ", megabytes(largest)));
}

}  // namespace

void tellOfCollections(Narrator& narrator) {
  tellOfARing(narrator);
  const std::vector<File> files = filesBelow(systemFolder());
  tellOfAQueue(narrator, files);
  tellOfChunks(narrator, files);
}

}  // namespace Tour
