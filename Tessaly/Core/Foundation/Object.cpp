// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Foundation/Object.hpp"

#include <dlfcn.h>
#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <optional>
#include <ostream>

#include "Tessaly/Core/Base/FatalError.hpp"
#include "Tessaly/Core/Locks/UnfairLock.hpp"

namespace Tessaly::inline v1 {
namespace {

struct RegisteredClass {
  Object::Maker maker;  // Null for a class without an initializer.
  std::string file;
  unsigned line;
};

struct Registry {
  UnfairLock lock;
  std::map<std::string, RegisteredClass, std::less<>> classes TESSALY_GUARDED_BY(lock);
};

Registry& registry() {
  static Registry& shared = *new Registry;
  return shared;
}

void add(std::string_view className, RegisteredClass&& registered) {
  Registry& shared = registry();
  const UnfairLock::Guard guard(shared.lock);
  shared.classes.try_emplace(std::string(className), std::move(registered));
}

/// Calls the function that registers the class, if a loaded library has one.
void registerFromLibrary(std::string_view className) {
  constexpr std::string_view kept = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
  std::string symbol = "tessaly_register_";
  std::ranges::replace_copy_if(
      className, std::back_inserter(symbol), [&](char unit) { return !kept.contains(unit); }, '_');
  if (void* const found = ::dlsym(RTLD_DEFAULT, symbol.c_str())) reinterpret_cast<void (*)()>(found)();
}

std::optional<RegisteredClass> find(std::string_view className) {
  Registry& shared = registry();
  const UnfairLock::Guard guard(shared.lock);
  const auto found = shared.classes.find(className);
  if (found == shared.classes.end()) return std::nullopt;
  return found->second;
}

}  // namespace

Object::~Object() = default;

std::string_view Object::className() const noexcept { return "Tessaly.Object"; }

std::string Object::description() const {
  return fmt::format("<{}: {}>", className(), fmt::ptr(static_cast<const void*>(this)));
}

std::ostream& operator<<(std::ostream& stream, const Object& object) { return stream << object.description(); }

void Object::registerClass(std::string_view className, Maker maker) { add(className, {maker, {}, 0}); }

void Object::registerClassWithoutInitializer(std::string_view className, std::string_view file, unsigned line) {
  add(className, {nullptr, std::string(file), line});
}

std::shared_ptr<Object> Object::make(std::string_view className) {
  auto registered = find(className);
  if (!registered) {
    registerFromLibrary(className);
    registered = find(className);
  }
  if (!registered) return nullptr;
  if (registered->maker == nullptr) stopUnimplementedInitializer(className, registered->file, registered->line);
  return registered->maker();
}

void Object::stopUnimplementedInitializer(std::string_view className, std::string_view file, unsigned line) noexcept {
  fatalError(fmt::format("Use of unimplemented initializer 'init()' for class '{}'", className), file, line);
}

}  // namespace Tessaly::inline v1
