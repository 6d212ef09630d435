// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>

#include "Tessaly/Core/Tasks/detail/CarriedElement.hpp"

namespace Tessaly {
namespace {

using detail::CarriedElement;

struct Unassignable {
  const int number;
};

TEST(CarriedElement, OfBytesIsTheElementItself) {
  static_assert(sizeof(CarriedElement<int>) == sizeof(int));
  static_assert(std::is_trivially_copyable_v<CarriedElement<std::array<long, 8>>>);
  CarriedElement<Unassignable> carried(Unassignable{7});
  CarriedElement<Unassignable> moved(std::move(carried));
  EXPECT_EQ(moved.value().number, 7);
}

/// Counts its copies and moves, and how many there are.
struct Counted {
  Counted() { ++alive; }
  Counted(const Counted&) {
    ++alive;
    ++transfers;
  }
  Counted(Counted&&) noexcept {
    ++alive;
    ++transfers;
  }
  ~Counted() { --alive; }

  static inline int alive = 0;
  static inline int transfers = 0;
};

TEST(CarriedElement, RunsNoCodeOfTheElementsWhenItMoves) {
  {
    CarriedElement<Counted> carried{Counted()};
    EXPECT_EQ(Counted::transfers, 1);
    EXPECT_EQ(Counted::alive, 1);
    CarriedElement<Counted> second(std::move(carried));
    const CarriedElement<Counted> third(std::move(second));
    EXPECT_EQ(Counted::transfers, 1);
    EXPECT_EQ(Counted::alive, 1);
    static_assert(std::is_nothrow_move_constructible_v<CarriedElement<Counted>>);
  }
  EXPECT_EQ(Counted::alive, 0);
}

struct Fragile {
  Fragile() { ++alive; }
  Fragile(Fragile&&) : Fragile() { throw std::runtime_error("broken"); }
  ~Fragile() { --alive; }

  static inline int alive = 0;
};

TEST(CarriedElement, ThrowsWhatTheElementsMoveThrowsAndLeavesNothingBehind) {
  {
    Fragile element;
    EXPECT_THROW(CarriedElement<Fragile>(std::move(element)), std::runtime_error);
    static_assert(std::is_nothrow_move_constructible_v<CarriedElement<Fragile>>);
  }
  EXPECT_EQ(Fragile::alive, 0);
}

TEST(CarriedElement, TakesWhatCanOnlyBeMoved) {
  CarriedElement<std::unique_ptr<std::string>> carried(std::make_unique<std::string>("only"));
  const auto taken = std::move(carried.value());
  EXPECT_EQ(*taken, "only");
}

template <typename Element>
bool isOnItsBoundary(Element& element) {
  return reinterpret_cast<std::uintptr_t>(&element) % alignof(Element) == 0;
}

TEST(CarriedElement, KeepsOverAlignedElementsOnTheirBoundaries) {
  struct alignas(256) Bytes {
    int number;
  };
  struct alignas(256) Wide {
    std::string text;
  };
  for (int i = 0; i < 20; ++i) {
    CarriedElement<Bytes> bytes(Bytes{i});
    EXPECT_TRUE(isOnItsBoundary(bytes.value()));
    CarriedElement<Wide> wide(Wide{std::to_string(i)});
    EXPECT_TRUE(isOnItsBoundary(wide.value()));
    EXPECT_EQ(wide.value().text, std::to_string(bytes.value().number));
  }
}

TEST(CarriedElement, CarriesElementsOfEverySize) {
  struct Large {
    std::array<char, 5'000> bytes{};
    std::string text = "large";
  };
  CarriedElement<Large> carried{Large()};
  const CarriedElement<Large> moved(std::move(carried));
  CarriedElement<std::string> text(std::string(100, 'a'));
  EXPECT_EQ(text.value(), std::string(100, 'a'));
}

}  // namespace
}  // namespace Tessaly
