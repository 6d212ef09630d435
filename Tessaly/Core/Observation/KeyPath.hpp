// SPDX-License-Identifier: MIT
// Component: Tessaly::Observation
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <string>
#include <string_view>
#include <type_traits>
#include <typeinfo>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Base/TypeName.hpp"

namespace Tessaly::inline v1 {

template <typename Value>
class Property;

namespace detail {

template <auto Member>
struct KeyPathOf;

/// The identity by which key paths are compared. The mangled name of the tag type is the same in every library of a
/// process, for every compiler. So the comparison works even if the loader did not merge the libraries' copies of an
/// identity.
struct KeyPathIdentity {
  const std::type_info& tag;
  std::uint64_t hash;
  std::string_view rootName;
  std::string_view memberName;
  /// Whether the class is in an unnamed namespace. Key paths of such a class are compared only by the addresses of
  /// their identities, because other files may have a class of the same name.
  bool isLocal;
  bool isComputed;
};

template <typename Root, typename Value>
struct KeyPathRecord : KeyPathIdentity {
  /// Null if the value cannot be copied.
  Value (*read)(const Root& root);
  /// Records a read of the property without copying its value. Calls the member function of a computed property. Does
  /// nothing for a plain data member.
  void (*access)(const Root& root);
};

template <auto Member>
struct KeyPathTag {};

/// The compiler's text that names a member, such as "&Tessaly::Song::title".
template <auto Member>
consteval std::string_view memberText() {
  std::string_view text = __PRETTY_FUNCTION__;
  text.remove_prefix(text.find("Member = ") + 9);
  return text.substr(0, text.find_first_of(";]"));
}

/// The member's name in the text, without its qualifiers, such as "title".
consteval std::string_view memberName(std::string_view text) {
  const std::size_t last = text.find_last_not_of(") ");
  text = text.substr(0, last + 1);
  const std::size_t colon = text.find_last_of(':');
  return colon == std::string_view::npos ? text : text.substr(colon + 1);
}

/// The Fowler-Noll-Vo hash (FNV-1a) of the member's name. All compilers give the same hash.
consteval std::uint64_t hashName(std::string_view name) {
  std::uint64_t hash = 0xcbf29ce484222325U;
  for (const char character : name) {
    hash ^= static_cast<unsigned char>(character);
    hash *= 0x100000001b3U;
  }
  return hash;
}

consteval bool isInUnnamedNamespace(std::string_view text) {
  return text.find("(anonymous") != std::string_view::npos || text.find("{anonymous") != std::string_view::npos;
}

template <typename T>
struct PropertyValue {
  using Type = T;
  static constexpr bool isProperty = false;
};
template <typename T>
struct PropertyValue<Property<T>> {
  using Type = T;
  static constexpr bool isProperty = true;
};

template <typename Member>
struct KeyPathMember;
template <typename R, typename T>
struct KeyPathMember<T R::*> {
  using Root = R;
  using Value = std::remove_cv_t<typename PropertyValue<std::remove_cv_t<T>>::Type>;
  static constexpr bool isComputed = false;
  static constexpr bool isProperty = PropertyValue<std::remove_cv_t<T>>::isProperty;
};
template <typename R, typename T>
struct KeyPathMember<T (R::*)() const> {
  using Root = R;
  using Value = std::remove_cvref_t<T>;
  static constexpr bool isComputed = true;
  static constexpr bool isProperty = false;
};
template <typename R, typename T>
struct KeyPathMember<T (R::*)() const noexcept> : KeyPathMember<T (R::*)() const> {};

template <auto Member>
using KeyPathRoot = typename KeyPathMember<decltype(Member)>::Root;
template <auto Member>
using KeyPathValue = typename KeyPathMember<decltype(Member)>::Value;

template <auto Member>
struct KeyPathOf {
  using Root = KeyPathRoot<Member>;
  using Value = KeyPathValue<Member>;

  static Value read(const Root& root) {
    if constexpr (KeyPathMember<decltype(Member)>::isComputed) {
      return (root.*Member)();
    } else if constexpr (KeyPathMember<decltype(Member)>::isProperty) {
      return (root.*Member).value();
    } else {
      return root.*Member;
    }
  }
  static void access(const Root& root) {
    if constexpr (KeyPathMember<decltype(Member)>::isComputed) {
      static_cast<void>((root.*Member)());
    } else if constexpr (KeyPathMember<decltype(Member)>::isProperty) {
      (root.*Member).point_.recordAccess();
    }
  }
  static consteval auto reader() -> Value (*)(const Root&) {
    if constexpr (std::is_copy_constructible_v<Value>) {
      return &KeyPathOf::read;
    } else {
      return nullptr;
    }
  }
  static constexpr std::string_view text = memberText<Member>();
  static constexpr KeyPathRecord<Root, Value> record{
      {typeid(KeyPathTag<Member>), hashName(memberName(text)), typeName<Root>(), memberName(text),
       isInUnnamedNamespace(text), KeyPathMember<decltype(Member)>::isComputed},
      reader(),
      &KeyPathOf::access};
};

}  // namespace detail

/// A key path without the types of its root and value. It still identifies the property.
///
/// Two key paths are equal if they name the same member, even if different libraries of the process made them. The
/// nearest standard facility is `std::type_index`, which identifies types.
///
/// Thread contract: thread-safe. Comparing and hashing take a few nanoseconds and allocate nothing.
///
///     std::unordered_map<AnyKeyPath, int> changes;
///     ++changes[keyPath<&Song::title>];
class AnyKeyPath {
 public:
  /// Makes the key path with this identity. For the library only. Other code uses `keyPath`.
  explicit constexpr AnyKeyPath(const detail::KeyPathIdentity& identity) noexcept : identity_(&identity) {}

  /// The class and the member, "Song.title". Allocates.
  [[nodiscard]] TESSALY_EXPORT std::string description() const;
  /// The member alone, "title".
  [[nodiscard]] constexpr std::string_view name() const noexcept { return identity_->memberName; }
  /// Whether the property is computed by a member function rather than stored.
  [[nodiscard]] constexpr bool isComputed() const noexcept { return identity_->isComputed; }
  [[nodiscard]] constexpr std::size_t hash() const noexcept { return identity_->hash; }

  friend bool operator==(const AnyKeyPath& left, const AnyKeyPath& right) noexcept {
    return left.identity_ == right.identity_ ||
           (left.identity_->hash == right.identity_->hash && !left.identity_->isLocal &&
            left.identity_->tag == right.identity_->tag);
  }

 protected:
  [[nodiscard]] constexpr const detail::KeyPathIdentity& identity() const noexcept { return *identity_; }

 private:
  const detail::KeyPathIdentity* identity_;
};

/// Writes `description()`.
TESSALY_EXPORT std::ostream& operator<<(std::ostream& stream, const AnyKeyPath& keyPath);

/// A value that names a property of a class. The property is a plain data member, a `Property`, or a const member
/// function without arguments that computes the value. `keyPath<&Song::title>` is a key path.
///
/// A key path can be copied, compared, hashed, stored in a table, read on an object, and used as a projection. The
/// nearest standard facility is a pointer to a data member. Such a pointer cannot name a computed property, has no
/// hash, and has no counterpart of `AnyKeyPath`.
///
/// Thread contract: thread-safe.
///
///     KeyPath<Song, std::string> title = keyPath<&Song::title>;
///     std::string text = title.read(song);
///     std::ranges::sort(songs, {}, title);
template <typename RootType, typename ValueType>
class KeyPath : public AnyKeyPath {
 public:
  using Root = RootType;
  using Value = ValueType;

  /// For the library. Other code uses `keyPath`.
  explicit constexpr KeyPath(const detail::KeyPathRecord<Root, Value>& record) noexcept : AnyKeyPath(record) {}

  /// A copy of the property's value in an object. Observation tracking records this read like any other read.
  [[nodiscard]] Value read(const Root& root) const
    requires std::is_copy_constructible_v<Value>
  {
    return record().read(root);
  }
  [[nodiscard]] Value operator()(const Root& root) const
    requires std::is_copy_constructible_v<Value>
  {
    return read(root);
  }
  /// Records a read of the property for observation tracking, without copying the value. Calls the function of a
  /// computed property. Does nothing for a plain data member.
  void access(const Root& root) const { record().access(root); }

 private:
  [[nodiscard]] const detail::KeyPathRecord<Root, Value>& record() const noexcept {
    return static_cast<const detail::KeyPathRecord<Root, Value>&>(identity());
  }
};

/// The key path of a member: `keyPath<&Song::title>`. Costs nothing at run time.
template <auto Member>
inline constexpr KeyPath<detail::KeyPathRoot<Member>, detail::KeyPathValue<Member>> keyPath{
    detail::KeyPathOf<Member>::record};

}  // namespace Tessaly::inline v1

template <>
struct std::hash<Tessaly::AnyKeyPath> {
  std::size_t operator()(const Tessaly::AnyKeyPath& keyPath) const noexcept { return keyPath.hash(); }
};
template <typename Root, typename Value>
struct std::hash<Tessaly::KeyPath<Root, Value>> : std::hash<Tessaly::AnyKeyPath> {};
