// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <type_traits>
#include <utility>

#include "Tessaly/Core/Base/IsAsync.hpp"

namespace Tessaly::inline v1::detail {

/// A value that is written back at the end of a scope.
template <typename Value, typename WriteBack>
struct SettingModification {
  SettingModification(Value initial, WriteBack writer) : value(std::move(initial)), writeBack(std::move(writer)) {}
  SettingModification(const SettingModification&) = delete;
  SettingModification& operator=(const SettingModification&) = delete;
  ~SettingModification() { writeBack(value); }

  template <typename Body>
  auto apply(Body&& body) -> std::invoke_result_t<Body, Value&> {
    using Result = std::invoke_result_t<Body, Value&>;
    static_assert(!std::is_reference_v<Result>,
                  "the body must not hand the value out by reference: it is destroyed at once");
    static_assert(!isAsync<Result>, "the body must not suspend: the value is stored when it returns");
    return std::invoke(std::forward<Body>(body), value);
  }

  Value value;
  WriteBack writeBack;
};

}  // namespace Tessaly::inline v1::detail
