// SPDX-License-Identifier: MIT
// Component: Tessaly::Observation
#pragma once

#include <compare>
#include <concepts>
#include <functional>
#include <iosfwd>
#include <iterator>
#include <memory>
#include <type_traits>
#include <utility>

#include "Tessaly/Core/Observation/KeyPath.hpp"
#include "Tessaly/Core/Observation/detail/ObservationPoint.hpp"

namespace Tessaly::inline v1 {

namespace detail {

template <typename T>
inline constexpr bool isProperty = false;
template <typename T>
inline constexpr bool isProperty<Property<T>> = true;

template <typename Value>
concept HasArrow = requires(const Value& value) { value.operator->(); };

}  // namespace detail

/// An observable data member. Code reads and writes a property like a plain value:
///
///     struct Player {
///       Property<std::string> title = "Nothing";
///       Property<int> volume = 50;
///       Property<std::vector<std::string>> queue;
///       bool isSilent() const { return volume == 0; }
///     };
///     Player player;
///     player.title = "Blue";
///     player.volume += 10;
///     player.queue.modify([](auto& queue) { queue.push_back("Green"); });
///     for (const std::string& title : player.queue) show(title);
///
/// `withObservationTracking`, `observe`, `Observations` and key-path monitors work on a property without further
/// declarations. A member function that computes its result from properties is observable too. The nearest standard
/// facility is a plain member. Use a plain member for a value without observers.
///
/// Reading gives a const reference, which is valid until the next assignment. `value()` is the named form of a read.
/// `->` accesses the members of the value, or of the object that the value points to. Every assignment is announced,
/// even if the new value is equal to the old value. A copy has the value but not the observers. The end of the property
/// counts as a last change.
///
/// A property takes one pointer in addition to its value. Until the first tracked read, a read costs one load more than
/// a read of a plain member, and a write costs two loads more. The first tracked read allocates 40 bytes. The property
/// keeps these bytes until it ends.
///
/// Thread contract: thread-compatible. Threads that share the value must synchronize their accesses, for example with a
/// lock, as for any member. Observers may be added, removed and called on any thread.
template <typename Value>
class Property {
  static_assert(std::is_object_v<Value> && !std::is_const_v<Value>, "a property holds a value of its own");

 public:
  Property()
    requires std::default_initializable<Value>
  = default;
  template <typename Argument = Value>
    requires(std::constructible_from<Value, Argument> && !std::same_as<std::remove_cvref_t<Argument>, Property>)
  explicit(!std::convertible_to<Argument, Value>) Property(Argument&& value) : value_(std::forward<Argument>(value)) {}
  Property(const Property& other)
    requires std::copy_constructible<Value>
      : value_(other.value()) {}
  Property& operator=(const Property& other)
    requires std::copyable<Value>
  {
    return *this = other.value();
  }
  ~Property() = default;

  /// The value. Records the read if this thread is tracking.
  [[nodiscard]] const Value& value() const {
    point_.recordAccess();
    return value_;
  }
  operator const Value&() const { return value(); }
  explicit operator bool() const
    requires(!std::is_arithmetic_v<Value> && std::constructible_from<bool, const Value&>)
  {
    return static_cast<bool>(value());
  }
  decltype(auto) operator->() const {
    if constexpr (std::is_pointer_v<Value>) {
      return Value(value());
    } else if constexpr (detail::HasArrow<Value>) {
      return value();
    } else {
      return std::addressof(value());
    }
  }
  decltype(auto) operator*() const
    requires requires(const Value& value) { *value; }
  {
    return *value();
  }
  template <typename Index>
  decltype(auto) operator[](const Index& index) const
    requires requires(const Value& value) { value[index]; }
  {
    return value()[index];
  }
  auto begin() const
    requires std::ranges::range<const Value>
  {
    return std::ranges::begin(value());
  }
  auto end() const
    requires std::ranges::range<const Value>
  {
    return std::ranges::end(value());
  }

  /// Assigns a value. Calls the handlers of trackings before the change, and the observers after the change.
  template <typename Argument = Value>
    requires(std::is_assignable_v<Value&, Argument> && !std::same_as<std::remove_cvref_t<Argument>, Property>)
  Property& operator=(Argument&& value) {
    point_.willChange();
    const Announcement announcement{point_};
    value_ = std::forward<Argument>(value);
    return *this;
  }
  void setValue(Value value) { *this = std::move(value); }

  /// Calls the body to change the value in place. The call counts as one change. The change is announced even if the
  /// body throws. Returns the body's result.
  template <typename Body>
  auto modify(Body&& body) -> std::invoke_result_t<Body, Value&> {
    static_assert(!std::is_reference_v<std::invoke_result_t<Body, Value&>>,
                  "the body must not hand the value out by reference: writing to it would tell nobody");
    point_.willChange();
    const Announcement announcement{point_};
    return std::invoke(std::forward<Body>(body), value_);
  }

  template <typename Operand>
  Property& operator+=(Operand&& operand)
    requires requires(Value& value) { value += std::forward<Operand>(operand); }
  {
    modify([&](Value& value) { value += std::forward<Operand>(operand); });
    return *this;
  }
  template <typename Operand>
  Property& operator-=(Operand&& operand)
    requires requires(Value& value) { value -= std::forward<Operand>(operand); }
  {
    modify([&](Value& value) { value -= std::forward<Operand>(operand); });
    return *this;
  }
  template <typename Operand>
  Property& operator*=(Operand&& operand)
    requires requires(Value& value) { value *= std::forward<Operand>(operand); }
  {
    modify([&](Value& value) { value *= std::forward<Operand>(operand); });
    return *this;
  }
  template <typename Operand>
  Property& operator/=(Operand&& operand)
    requires requires(Value& value) { value /= std::forward<Operand>(operand); }
  {
    modify([&](Value& value) { value /= std::forward<Operand>(operand); });
    return *this;
  }
  template <typename Operand>
  Property& operator%=(Operand&& operand)
    requires requires(Value& value) { value %= std::forward<Operand>(operand); }
  {
    modify([&](Value& value) { value %= std::forward<Operand>(operand); });
    return *this;
  }
  template <typename Operand>
  Property& operator|=(Operand&& operand)
    requires requires(Value& value) { value |= std::forward<Operand>(operand); }
  {
    modify([&](Value& value) { value |= std::forward<Operand>(operand); });
    return *this;
  }
  template <typename Operand>
  Property& operator&=(Operand&& operand)
    requires requires(Value& value) { value &= std::forward<Operand>(operand); }
  {
    modify([&](Value& value) { value &= std::forward<Operand>(operand); });
    return *this;
  }
  template <typename Operand>
  Property& operator^=(Operand&& operand)
    requires requires(Value& value) { value ^= std::forward<Operand>(operand); }
  {
    modify([&](Value& value) { value ^= std::forward<Operand>(operand); });
    return *this;
  }
  Property& operator++()
    requires requires(Value& value) { ++value; }
  {
    modify([](Value& value) { ++value; });
    return *this;
  }
  Value operator++(int)
    requires requires(Value& value) { value++; }
  {
    return modify([](Value& value) { return value++; });
  }
  Property& operator--()
    requires requires(Value& value) { --value; }
  {
    modify([](Value& value) { --value; });
    return *this;
  }
  Value operator--(int)
    requires requires(Value& value) { value--; }
  {
    return modify([](Value& value) { return value--; });
  }

  friend bool operator==(const Property& left, const Property& right)
    requires std::equality_comparable<Value>
  {
    return left.value() == right.value();
  }
  // This operator is not a template, so overload resolution prefers it to templates such as those of `std::optional`.
  friend bool operator==(const Property& left, const Value& right)
    requires std::equality_comparable<Value>
  {
    return left.value() == right;
  }
  // The left type is a parameter, too, so that the constraint cannot ask for a conversion to `Property`.
  template <std::same_as<Property> Left, typename Other>
    requires(!detail::isProperty<Other> && !std::same_as<Other, Value>)
  friend bool operator==(const Left& left, const Other& right)
    requires requires(const Value& value) { static_cast<bool>(value == right); }
  {
    return static_cast<bool>(left.value() == right);
  }
  friend auto operator<=>(const Property& left, const Property& right)
    requires std::three_way_comparable<Value>
  {
    return left.value() <=> right.value();
  }
  friend auto operator<=>(const Property& left, const Value& right)
    requires std::three_way_comparable<Value>
  {
    return left.value() <=> right;
  }
  template <std::same_as<Property> Left, typename Other>
    requires(!detail::isProperty<Other> && !std::same_as<Other, Value>)
  friend auto operator<=>(const Left& left, const Other& right)
    requires requires(const Value& value) { value <=> right; }
  {
    return left.value() <=> right;
  }
  template <typename Character, typename Traits>
  friend std::basic_ostream<Character, Traits>& operator<<(std::basic_ostream<Character, Traits>& stream,
                                                           const Property& property)
    requires requires(const Value& value) { stream << value; }
  {
    stream << property.value();
    return stream;
  }

 private:
  template <auto>
  friend struct detail::KeyPathOf;

  struct Announcement {
    const detail::LazyObservationPoint& point;
    ~Announcement() { point.didChange(); }
  };

  Value value_{};
  /// The point is destroyed before the value. So the handlers that the point's destructor calls can still read the
  /// value.
  detail::LazyObservationPoint point_;
};

// `operator+` for strings and other classes. The operators of `std::string` are templates, so they do not convert a
// property to its value.
template <typename Value, typename Other>
  requires(std::is_class_v<Value> && !detail::isProperty<Other>)
auto operator+(const Property<Value>& left, const Other& right)
  requires requires(const Value& value) { value + right; }
{
  return left.value() + right;
}
template <typename Value, typename Other>
  requires(std::is_class_v<Value> && !detail::isProperty<Other>)
auto operator+(const Other& left, const Property<Value>& right)
  requires requires(const Value& value) { left + value; }
{
  return left + right.value();
}
template <typename Value, typename Other>
  requires(std::is_class_v<Value>)
auto operator+(const Property<Value>& left, const Property<Other>& right)
  requires requires(const Value& value, const Other& other) { value + other; }
{
  return left.value() + right.value();
}

}  // namespace Tessaly::inline v1
