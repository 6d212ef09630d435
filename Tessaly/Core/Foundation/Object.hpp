// SPDX-License-Identifier: MIT
// Component: Tessaly::Foundation
#pragma once

#include <iosfwd>
#include <memory>
#include <string>
#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1 {

/// The base class of objects that send or receive notifications of changes, or that are made from the name of their
/// class.
///
/// `make` returns a `std::shared_ptr`. Objects are compared by identity. `className()` gives the registered name of a
/// class. A call of `registerClass` registers a class. Linking alone does not register it. `make` can also register a
/// class of a loaded shared library, at the first call for this class. To do so, `make` calls a C function, for example
/// "tessaly_register_Studio_Recorder". The library must export this function, and the function must register the class.
/// The name of the function is "tessaly_register_" and the class name, with an underscore for each character that is
/// not a letter or a digit. A library that is opened with `dlopen` needs the flag `RTLD_GLOBAL`, so that `make` finds
/// the function.
///
/// Thread contract: thread-safe; derived classes state their own.
///
///     class Recorder final : public Object {
///      public:
///       std::string_view className() const noexcept override { return "Studio.Recorder"; }
///     };
///     Object::registerClass("Studio.Recorder", [] { return std::shared_ptr<Object>(std::make_shared<Recorder>()); });
///     std::shared_ptr<Object> recorder = Object::make("Studio.Recorder");
class TESSALY_EXPORT Object : public std::enable_shared_from_this<Object> {
 public:
  using Maker = std::shared_ptr<Object> (*)();

  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;
  virtual ~Object();

  /// The name of the class: "Tessaly.Object" by default. A registered class must override this function to return the
  /// name under which it is registered, for example "Tessaly.Backing".
  [[nodiscard]] virtual std::string_view className() const noexcept;
  /// The description of the object for logs: by default its class name and address, "<Tessaly.Object: 0x55d0c8e2ceb0>".
  [[nodiscard]] virtual std::string description() const;

  /// Whether both are the same object.
  friend bool operator==(const Object& left, const Object& right) noexcept { return &left == &right; }

  /// Registers a class for `make`. Registering a name again changes nothing.
  ///
  /// Thread contract: thread-safe.
  static void registerClass(std::string_view className, Maker maker);

  /// Registers a class whose constructor needs arguments. `make` stops the process for such a class, with the report of
  /// `stopUnimplementedInitializer`. The report begins with `file` and `line`. Registering a name again changes
  /// nothing.
  ///
  /// Thread contract: thread-safe.
  static void registerClassWithoutInitializer(std::string_view className, std::string_view file, unsigned line);

  /// Makes an object of the class that is registered under this name. Null if no class has the name.
  ///
  /// Stops the process for a class that was registered by `registerClassWithoutInitializer`.
  ///
  /// Thread contract: thread-safe.
  [[nodiscard]] static std::shared_ptr<Object> make(std::string_view className);

  /// Stops the process. The report is "<file>:<line>: Fatal error: Use of unimplemented initializer 'init()' for class
  /// '<className>'".
  [[noreturn]] static void stopUnimplementedInitializer(std::string_view className, std::string_view file,
                                                        unsigned line) noexcept;

 protected:
  Object() noexcept = default;
};

/// Writes `description()`.
TESSALY_EXPORT std::ostream& operator<<(std::ostream& stream, const Object& object);

}  // namespace Tessaly::inline v1
