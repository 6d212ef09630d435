// SPDX-License-Identifier: MIT
// Component: Tessaly::Collections
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <optional>
#include <ranges>
#include <type_traits>
#include <utility>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Base/FatalError.hpp"

namespace Tessaly::inline v1 {

/// A random-access range, split into consecutive chunks of a fixed size. The last chunk may be shorter. No element is
/// copied: each chunk is a view of the base.
///
/// `chunked` makes a `ChunkSequence`. The sequence borrows a base that is a view or an lvalue, and owns any other base.
/// A chunk stays valid while the base exists and the base's iterators are valid. A view such as
/// `std::views::transform(songs, title)` exists inside the sequence, which must outlive its chunks. The nearest
/// standard facility is C++23's `std::views::chunk`, which requires a positive size. For a size of zero and a base with
/// elements, a `ChunkSequence` gives empty chunks without end.
///
/// Stops the process: a request for the first chunk of a base with elements, if the size is negative.
///
/// Thread contract: thread-compatible.
///
///     std::vector<Song> songs = allSongs();
///     for (auto chunk : chunked(songs, 100)) upload(chunk);
template <std::ranges::random_access_range Base>
  requires std::ranges::random_access_range<const Base>
class ChunkSequence {
  /// Whether the base is a copyable view whose iterators stay valid without it. The sequence's `Iterator` then holds a
  /// copy of the base.
  static constexpr bool isBorrowed =
      std::ranges::view<Base> && std::ranges::borrowed_range<const Base> && std::copyable<Base>;
  /// The type by which an iterator holds the base: a copy of the view, or else a reference to the base.
  using BaseView = std::conditional_t<isBorrowed, Base, std::ranges::ref_view<const Base>>;
  using Position = std::ranges::iterator_t<const BaseView>;

 public:
  /// A slice of the base.
  using Chunk = std::ranges::subrange<Position>;
  using Element = Chunk;

  /// An iterator that returns the chunks in order, each once.
  ///
  /// Thread contract: thread-compatible.
  ///
  ///     auto chunks = chunked(songs, 100).makeIterator();
  ///     while (auto chunk = chunks.next()) upload(*chunk);
  class Iterator {
   public:
    /// Starts at the base's start. The base must outlive the iterator and its chunks, unless the base is a copyable
    /// view and a borrowed range, as `std::span` is.
    Iterator(std::int64_t chunkSize, const Base& base) : chunkSize_(chunkSize), base_(base), index_(first(base_)) {}
    Iterator(std::int64_t chunkSize, const Base&& base)
      requires(!isBorrowed)
    = delete;

    /// Returns the next chunk and moves the iterator after it. Returns nothing after the last chunk.
    std::optional<Chunk> next() {
      const auto end = std::ranges::end(std::as_const(base_));
      if (index_ == end) return std::nullopt;
      if (chunkSize_ < 0) [[unlikely]] {
        fatalError("A chunk must not end before its start", "Tessaly/ChunkSequence", __LINE__);
      }
      const Position start = index_;
      advance(end);
      return Chunk(start, index_);
    }

   private:
    static Position first(const BaseView& base) { return std::ranges::begin(base); }

    /// Advances by the chunk's size, at most to the end. A chunk size that does not fit into the positions' difference
    /// type causes no overflow.
    template <typename End>
    void advance(const End& end) {
      if constexpr (std::sized_sentinel_for<End, Position>) {
        // A range's difference type may be a class, and may be wider or narrower than 64 bits.
        using Difference = std::iter_difference_t<Position>;
        using Wider = std::conditional_t<(sizeof(Difference) > sizeof(chunkSize_)), Difference, std::int64_t>;
        const Difference left = end - index_;
        index_ +=
            static_cast<Wider>(left) < static_cast<Wider>(chunkSize_) ? left : static_cast<Difference>(chunkSize_);
      } else {
        for (std::int64_t i = 0; i < chunkSize_ && index_ != end; ++i) ++index_;
      }
    }

    std::int64_t chunkSize_;
    BaseView base_;
    Position index_;
  };

  ChunkSequence(std::int64_t chunkSize, Base base) : chunkSize_(chunkSize), base_(std::move(base)) {}

  /// The range that is split.
  [[nodiscard]] const Base& base() const noexcept TESSALY_LIFETIMEBOUND { return base_; }
  /// The number of elements of each chunk except the last one.
  [[nodiscard]] std::int64_t chunkSize() const noexcept { return chunkSize_; }

  /// A new iterator at the base's start.
  [[nodiscard]] Iterator makeIterator() const& { return Iterator(chunkSize_, base_); }
  [[nodiscard]] Iterator makeIterator() const&&
    requires isBorrowed
  {
    return Iterator(chunkSize_, base_);
  }
  Iterator makeIterator() const&&
    requires(!isBorrowed)
  = delete;

  /// The input iterator for range-for and the standard's algorithms.
  ///
  /// Thread contract: thread-compatible.
  ///
  ///     std::ranges::for_each(chunked(songs, 100), upload);
  class StandardIterator {
   public:
    using iterator_concept = std::input_iterator_tag;
    using value_type = Chunk;
    using difference_type = std::ptrdiff_t;

    explicit StandardIterator(Iterator chunks) : chunks_(std::move(chunks)), current_(chunks_.next()) {}

    const Chunk& operator*() const noexcept { return *current_; }
    StandardIterator& operator++() {
      current_ = chunks_.next();
      return *this;
    }
    void operator++(int) { ++*this; }
    friend bool operator==(const StandardIterator& iterator, std::default_sentinel_t) noexcept {
      return !iterator.current_.has_value();
    }

   private:
    Iterator chunks_;
    std::optional<Chunk> current_;
  };

  [[nodiscard]] StandardIterator begin() const { return StandardIterator(Iterator(chunkSize_, base_)); }
  [[nodiscard]] std::default_sentinel_t end() const noexcept { return std::default_sentinel; }

 private:
  std::int64_t chunkSize_;
  Base base_;
};

/// Splits a random-access range into chunks of `chunkSize` elements. The last chunk may be shorter. The result borrows
/// a view or an lvalue, and owns any other range. If the range has elements, a size of zero gives empty chunks without
/// end, and a negative size stops the process at the first chunk.
///
/// Thread contract: thread-compatible.
template <std::ranges::viewable_range Elements>
  requires std::ranges::random_access_range<Elements>
[[nodiscard]] ChunkSequence<std::views::all_t<Elements>> chunked(Elements&& elements, std::int64_t chunkSize) {
  return {chunkSize, std::views::all(std::forward<Elements>(elements))};
}

namespace RandomAccessCollection {
using ::Tessaly::chunked;
}  // namespace RandomAccessCollection

}  // namespace Tessaly::inline v1
