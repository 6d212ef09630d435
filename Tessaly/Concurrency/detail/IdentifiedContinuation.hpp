// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <functional>

#include "Tessaly/Core/Tasks/AsyncStream.hpp"

namespace Tessaly::inline v1::detail {

/// A listener of a broadcaster. Equality and hash use the identifier only. So a set finds a listener by any copy of the
/// listener.
///
/// Thread contract: thread-compatible.
template <typename Identifier, typename Element>
struct IdentifiedContinuation {
  Identifier identifier;
  AsyncStream<Element>::Continuation continuation;

  friend bool operator==(const IdentifiedContinuation& left, const IdentifiedContinuation& right) {
    return left.identifier == right.identifier;
  }
};

}  // namespace Tessaly::inline v1::detail

template <typename Identifier, typename Element>
struct std::hash<Tessaly::detail::IdentifiedContinuation<Identifier, Element>> {
  std::size_t operator()(const Tessaly::detail::IdentifiedContinuation<Identifier, Element>& record) const {
    return std::hash<Identifier>()(record.identifier);
  }
};
