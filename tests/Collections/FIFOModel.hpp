// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

namespace Tessaly::Tests {

/// A model of the queue that follows its rules step by step.
template <typename Element>
class FIFOModel {
 public:
  void enqueue(Element element) { rightStack.push_back(std::move(element)); }
  void enqueueContentsOf(const std::vector<Element>& elements) {
    rightStack.insert(rightStack.end(), elements.begin(), elements.end());
  }
  std::optional<Element> dequeue() {
    if (leftStack.empty()) {
      leftStack = rightStack;
      std::ranges::reverse(leftStack);
      rightStack.clear();
    }
    if (leftStack.empty()) return std::nullopt;
    std::optional<Element> last = leftStack.back();
    leftStack.pop_back();
    return last;
  }
  [[nodiscard]] bool isEmpty() const { return leftStack.empty() && rightStack.empty(); }
  std::vector<Element> removeAll() {
    std::vector<Element> all = leftStack;
    all.insert(all.end(), rightStack.begin(), rightStack.end());
    leftStack.clear();
    rightStack.clear();
    return all;
  }

  std::vector<Element> leftStack;
  std::vector<Element> rightStack;
};

}  // namespace Tessaly::Tests
