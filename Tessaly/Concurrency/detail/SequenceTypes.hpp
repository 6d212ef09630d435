// SPDX-License-Identifier: MIT
#pragma once

namespace Tessaly::inline v1::detail {

/// A sequence's element and failure, so that a concept can ask for those of what is no sequence: then both are void.
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
