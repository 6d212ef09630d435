// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Foundation/PropertyList.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <ostream>

#include "Tessaly/Core/Base/detail/Hexadecimal.hpp"
#include "Tessaly/Core/Text/UTF8.hpp"

namespace Tessaly::inline v1 {
namespace {

/// Values up to this depth are destroyed by recursion.
constexpr std::uint32_t shallow = 64;

std::string wellFormed(std::string text) { return Text::isWellFormed(text) ? std::move(text) : Text::sanitized(text); }

PropertyList::Dictionary withWellFormedKeys(PropertyList::Dictionary dictionary) {
  if (std::ranges::all_of(dictionary, [](const auto& entry) { return Text::isWellFormed(entry.first); })) {
    return dictionary;
  }
  PropertyList::Dictionary result;
  for (auto& [key, value] : dictionary) result.insert_or_assign(wellFormed(key), std::move(value));
  return result;
}

std::uint32_t depthOf(const PropertyList& value) noexcept { return value.depth(); }
std::uint32_t depthOf(const PropertyList::Dictionary::value_type& entry) noexcept { return entry.second.depth(); }

template <typename Container>
std::uint32_t depthOfContainer(const Container& container) noexcept {
  std::uint32_t deepest = 0;
  for (const auto& element : container) deepest = std::max(deepest, depthOf(element));
  return deepest + 1;
}

void describeText(std::string& out, std::string_view text) {
  out += '"';
  for (const char unit : text) {
    if (unit == '"' || unit == '\\') {
      out += '\\';
      out += unit;
    } else if (static_cast<unsigned char>(unit) < 0x20) {
      out += fmt::format("\\u{:04x}", static_cast<unsigned>(unit));
    } else {
      out += unit;
    }
  }
  out += '"';
}

}  // namespace

template <typename Value>
struct PropertyList::BoxOf : Box {
  explicit BoxOf(Value contents) : value(std::move(contents)) {}
  Value value;
};

template <typename Value>
PropertyList::PropertyList(Kind kind, Value value, std::uint32_t depth) : kind_(kind) {
  auto* box = new BoxOf<Value>(std::move(value));
  box->depth = depth;
  payload_.box = box;
}

PropertyList::PropertyList(std::string text) : PropertyList(Kind::text, wellFormed(std::move(text)), 0) {}

PropertyList::PropertyList(Data data) : PropertyList(Kind::data, std::move(data), 0) {}

PropertyList::PropertyList(Array array) : kind_(Kind::boolean) {
  const std::uint32_t depth = depthOfContainer(array);
  *this = PropertyList(Kind::array, std::move(array), depth);
}

PropertyList::PropertyList(Dictionary dictionary) : kind_(Kind::boolean) {
  const std::uint32_t depth = depthOfContainer(dictionary);
  *this = PropertyList(Kind::dictionary, withWellFormedKeys(std::move(dictionary)), depth);
}

template <typename Value>
const Value* PropertyList::valueIf(Kind kind) const noexcept {
  if (kind_ != kind) return nullptr;
  return &static_cast<const BoxOf<Value>*>(payload_.box)->value;
}

std::optional<Date> PropertyList::date() const noexcept {
  if (kind_ != Kind::date) return std::nullopt;
  return Date::sinceReferenceDate(NSNumber(NSNumber::Kind::double_, payload_.bits).doubleValue());
}

const std::string* PropertyList::text() const noexcept { return valueIf<std::string>(Kind::text); }
const Data* PropertyList::data() const noexcept { return valueIf<Data>(Kind::data); }
const PropertyList::Array* PropertyList::array() const noexcept { return valueIf<Array>(Kind::array); }
const PropertyList::Dictionary* PropertyList::dictionary() const noexcept {
  return valueIf<Dictionary>(Kind::dictionary);
}

const PropertyList* PropertyList::find(std::string_view key) const noexcept {
  const Dictionary* entries = dictionary();
  if (entries == nullptr) return nullptr;
  const auto found = entries->find(key);
  return found == entries->end() ? nullptr : &found->second;
}

void PropertyList::destroyBox() noexcept {
  if (kind_ == Kind::text) {
    delete static_cast<BoxOf<std::string>*>(payload_.box);
  } else if (kind_ == Kind::data) {
    delete static_cast<BoxOf<Data>*>(payload_.box);
  } else {
    // Deep values are destroyed one level at a time, because recursion would exhaust the stack. A container without
    // other owners passes its own containers to `pending` before its destruction.
    std::vector<PropertyList> pending;
    const auto takeContainers = [&](Kind kind, Box* box) {
      if (box->depth <= shallow) return;
      const auto take = [&](PropertyList& element) {
        if (element.depth() > 0) pending.push_back(std::move(element));
      };
      if (kind == Kind::array) {
        for (PropertyList& element : static_cast<BoxOf<Array>*>(box)->value) take(element);
      } else {
        for (auto& [key, element] : static_cast<BoxOf<Dictionary>*>(box)->value) take(element);
      }
    };
    const auto destroy = [](Kind kind, Box* box) {
      if (kind == Kind::array) {
        delete static_cast<BoxOf<Array>*>(box);
      } else {
        delete static_cast<BoxOf<Dictionary>*>(box);
      }
    };
    takeContainers(kind_, payload_.box);
    destroy(kind_, payload_.box);
    while (!pending.empty()) {
      PropertyList last = std::move(pending.back());
      pending.pop_back();
      if (last.payload_.box->holders.load(std::memory_order_acquire) == 1)
        takeContainers(last.kind_, last.payload_.box);
    }
  }
}

bool PropertyList::compare(const PropertyList& left, const PropertyList& right, Comparison comparison) noexcept {
  std::vector<std::pair<const PropertyList*, const PropertyList*>> pending{{&left, &right}};
  while (!pending.empty()) {
    const auto [a, b] = pending.back();
    pending.pop_back();
    if (a->kind_ <= Kind::real && b->kind_ <= Kind::real) {
      const NSNumber first(a->numberKind_, a->payload_.bits);
      const NSNumber second(b->numberKind_, b->payload_.bits);
      if (!(comparison == Comparison::identical ? first.isIdentical(second) : first == second)) return false;
      continue;
    }
    if (a->kind_ != b->kind_ || a->depth() != b->depth()) return false;
    if (a->hasBox() && a->payload_.box == b->payload_.box) continue;
    switch (a->kind_) {
      case Kind::date:
        // The bits are compared first, so that a date that is NaN equals itself.
        if (a->payload_.bits != b->payload_.bits && (comparison == Comparison::identical || a->date() != b->date())) {
          return false;
        }
        break;
      case Kind::text:
        if (*a->text() != *b->text()) return false;
        break;
      case Kind::data:
        if (*a->data() != *b->data()) return false;
        break;
      case Kind::array: {
        const Array& first = *a->array();
        const Array& second = *b->array();
        if (first.size() != second.size()) return false;
        for (std::size_t i = 0; i < first.size(); ++i) pending.emplace_back(&first[i], &second[i]);
        break;
      }
      default: {
        const Dictionary& first = *a->dictionary();
        const Dictionary& second = *b->dictionary();
        if (first.size() != second.size()) return false;
        for (auto i = first.begin(), j = second.begin(); i != first.end(); ++i, ++j) {
          if (i->first != j->first) return false;
          pending.emplace_back(&i->second, &j->second);
        }
      }
    }
  }
  return true;
}

void PropertyList::describe(std::string& out) const {
  if (depth() > maximumDepth) {
    out += "...";
    return;
  }
  switch (kind_) {
    case Kind::boolean:
      out += number()->boolValue() ? "true" : "false";
      return;
    case Kind::integer:
    case Kind::real:
      out += number()->description();
      return;
    case Kind::text:
      describeText(out, *text());
      return;
    case Kind::date:
      out += date()->description();
      return;
    case Kind::data:
      out += '<';
      for (const std::uint8_t byte : *data()) detail::appendHexadecimal(out, byte, detail::lowerHexadecimalDigits);
      out += '>';
      return;
    case Kind::array: {
      const char* separator = "[";
      for (const PropertyList& element : *array()) {
        out += std::exchange(separator, ", ");
        element.describe(out);
      }
      out += array()->empty() ? "[]" : "]";
      return;
    }
    case Kind::dictionary: {
      const char* separator = "{";
      for (const auto& [key, element] : *dictionary()) {
        out += std::exchange(separator, ", ");
        describeText(out, key);
        out += ": ";
        element.describe(out);
      }
      out += dictionary()->empty() ? "{}" : "}";
      return;
    }
  }
}

std::string PropertyList::description() const {
  std::string text;
  describe(text);
  return text;
}

std::ostream& operator<<(std::ostream& stream, const PropertyList& list) { return stream << list.description(); }

}  // namespace Tessaly::inline v1
