// SPDX-License-Identifier: MIT
#pragma once

#include <stdexcept>
#include <string>

namespace Tessaly::Tests {

/// An element whose n-th later copy, or n-th later move, throws.
struct FragileElement {
  explicit FragileElement(int number) : number(number) {}
  FragileElement(const FragileElement& other) : number(other.number) { count(copiesLeft, "no copy"); }
  FragileElement(FragileElement&& other) : number(other.number) { count(movesLeft, "no move"); }
  FragileElement& operator=(const FragileElement&) = default;
  FragileElement& operator=(FragileElement&&) = default;

  static void add(FragileElement& sum, const FragileElement& element) { sum.number += element.number; }

  int number;
  static inline int copiesLeft = 0;
  static inline int movesLeft = 0;

 private:
  static void count(int& left, const char* error) {
    if (left > 0 && --left == 0) throw std::runtime_error(error);
  }
};

inline std::string textOf(const FragileElement& element) { return std::to_string(element.number); }

}  // namespace Tessaly::Tests
