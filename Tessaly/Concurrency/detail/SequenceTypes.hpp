// SPDX-License-Identifier: MIT
#pragma once

namespace Tessaly::inline v1::detail {

/// A sequence's element type and failure type, for concepts. Both are void for a type that is not a sequence.
template <typename Sequence>
struct SequenceTypes {
  using Element = void;
  using Failure = void;
};

template <typename Sequence>
  requires requires {
    typename Sequence::Element;
    typename Sequence::Failure;
  }
struct SequenceTypes<Sequence> {
  using Element = Sequence::Element;
  using Failure = Sequence::Failure;
};

}  // namespace Tessaly::inline v1::detail
