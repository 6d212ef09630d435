// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

#include "Tessaly/Collections/RingArray.hpp"

namespace Tessaly::Tests {

/// A simple model of the ring that follows its rules step by step, with an optional in every slot. Where the ring stops
/// the process, the model returns false or nothing.
template <typename Element>
class RingModel {
 public:
  using Index = RingArrayIndex;

  explicit RingModel(std::int64_t capacity) : maxCapacity(capacity), backend(static_cast<std::size_t>(capacity)) {}

  std::optional<Element> append(Element element) {
    if (maxCapacity < 1) return std::nullopt;
    if (startIndex.backendIndex == endIndex.backendIndex && startIndex.loopIndex + 1 == endIndex.loopIndex) {
      advance(startIndex);
    }
    std::optional<Element> old = std::exchange(slot(endIndex), std::move(element));
    advance(endIndex);
    count = std::min(maxCapacity, count + 1);
    return old;
  }

  std::optional<Element> prepend(Element element) {
    if (maxCapacity < 1) return std::nullopt;
    if (startIndex.backendIndex == endIndex.backendIndex && startIndex.loopIndex + 1 == endIndex.loopIndex) {
      moveBack(endIndex);
    }
    moveBack(startIndex);
    std::optional<Element> old = std::exchange(slot(startIndex), std::move(element));
    count = std::min(maxCapacity, count + 1);
    return old;
  }

  std::optional<Element> popFirst() {
    if (count == 0) return std::nullopt;
    std::optional<Element> content = std::exchange(slot(startIndex), std::nullopt);
    advance(startIndex);
    count = std::max(std::int64_t{0}, count - 1);
    return content;
  }

  std::optional<Element> popLast() {
    if (count == 0) return std::nullopt;
    moveBack(endIndex);
    std::optional<Element> content = std::exchange(slot(endIndex), std::nullopt);
    count = std::max(std::int64_t{0}, count - 1);
    return content;
  }

  void fill(const Element& element) {
    for (std::int64_t i = 0; i < maxCapacity; ++i) append(element);
  }

  void removeAll() {
    for (std::int64_t left = count; left > 0; --left) popLast();
  }

  void removeAllAndSetCapacity(std::int64_t capacity) {
    startIndex = {};
    endIndex = {};
    count = 0;
    maxCapacity = capacity;
    backend.assign(static_cast<std::size_t>(capacity), std::nullopt);
  }

  [[nodiscard]] bool mayShift() const { return count == maxCapacity; }
  void shiftWhenFull(std::int64_t offset) {
    if (maxCapacity == 0) return;
    for (std::int64_t i = 0; i < offset; ++i) {
      advance(startIndex);
      advance(endIndex);
    }
    for (std::int64_t i = 0; i > offset; --i) {
      moveBack(startIndex);
      moveBack(endIndex);
    }
  }

  /// The slot of an index, or null if the ring would stop the process.
  [[nodiscard]] std::optional<Element>* at(Index index) {
    if (index < startIndex || !(index < endIndex)) return nullptr;
    if (index.backendIndex < 0 || index.backendIndex >= maxCapacity) return nullptr;
    std::optional<Element>& content = slot(index);
    return content ? &content : nullptr;
  }
  [[nodiscard]] std::optional<Element>* at(std::int64_t position) {
    Index index{startIndex.backendIndex + position, startIndex.loopIndex};
    if (index.backendIndex >= maxCapacity) {
      index.backendIndex -= maxCapacity;
      index.loopIndex += 1;
    }
    return at(index);
  }

  void advance(Index& index) const {
    index.backendIndex += 1;
    if (index.backendIndex == maxCapacity) {
      index.backendIndex = 0;
      index.loopIndex += 1;
    }
  }
  void moveBack(Index& index) const {
    index.backendIndex -= 1;
    if (index.backendIndex == -1) {
      index.backendIndex = maxCapacity - 1;
      index.loopIndex -= 1;
    }
  }

  [[nodiscard]] std::vector<Element> elements() {
    std::vector<Element> all;
    for (Index index = startIndex; index != endIndex; advance(index)) all.push_back(slot(index).value());
    return all;
  }

  friend bool operator==(const RingModel&, const RingModel&) = default;

  // The members are initialised in this order.
  std::int64_t maxCapacity;
  std::vector<std::optional<Element>> backend;
  Index startIndex;
  Index endIndex;
  std::int64_t count = 0;

 private:
  std::optional<Element>& slot(Index index) { return backend[static_cast<std::size_t>(index.backendIndex)]; }
};

/// The first difference between a ring and its model, or an empty text.
template <typename Element>
[[nodiscard]] const char* difference(const RingArray<Element>& ring, RingModel<Element>& model) {
  if (ring.maxCapacity() != model.maxCapacity) return "maxCapacity";
  if (ring.startIndex() != model.startIndex) return "startIndex";
  if (ring.endIndex() != model.endIndex) return "endIndex";
  if (ring.count() != model.count) return "count";
  if (ring.isEmpty() != (model.startIndex == model.endIndex)) return "isEmpty";
  if (ring.isFull() != (model.count == model.maxCapacity)) return "isFull";
  if (!std::ranges::equal(ring, model.elements())) return "elements";
  for (std::int64_t position = 0; position < model.count; ++position) {
    if (ring[position] != **model.at(position)) return "operator[]";
  }
  return "";
}

}  // namespace Tessaly::Tests
