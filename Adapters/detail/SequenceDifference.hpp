// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <numeric>
#include <span>
#include <type_traits>
#include <utility>
#include <vector>

namespace Tessaly::inline v1::detail {

/// One step on the way from one sequence to another. Unless a member says otherwise, row numbers refer to the sequence
/// after the previous steps.
struct SequenceStep {
  enum class Kind : std::uint8_t { removal, insertion, move, rearrangement };

  Kind kind;
  std::size_t first;
  std::size_t count;
  /// For a move: the first row of the block after the move.
  std::size_t to = 0;
  /// For each row of a rearrangement: its index in the block before this step. For each row of an insertion: its row
  /// number in the final sequence.
  std::vector<std::size_t> order = {};

  bool operator==(const SequenceStep&) const = default;
};

/// The steps from one order of rows to another: removals, then moves of blocks, then insertions. Each of the three
/// kinds has at most `limit` steps, because a view reads all of its rows at every step. More than `limit` removals
/// become a rearrangement and one removal. More than `limit` moves become a rearrangement. More than `limit` insertions
/// become one insertion and a rearrangement.
class SequenceSteps {
 public:
  static constexpr std::size_t limit = 32;
  /// The origin of a new row, which has no former place.
  static constexpr std::size_t absent = static_cast<std::size_t>(-1);

  /// Makes the steps from `count` former rows to the rows of the new order. For each row of the new order, `origins`
  /// has the place of the row among the former rows, or `absent`. The former rows and the new rows begin at row `head`
  /// of the sequence.
  static std::vector<SequenceStep> make(std::span<const std::size_t> origins, std::size_t count, std::size_t head) {
    SequenceSteps made(head);
    made.remove(origins, count);
    made.move(origins, count);
    made.insert(origins);
    return std::move(made.steps_);
  }

 private:
  using Kind = SequenceStep::Kind;
  struct Run {
    std::size_t first;
    std::size_t count;
  };

  explicit SequenceSteps(std::size_t head) : head_(head) {}

  /// The runs of rows for which the condition holds.
  template <typename Condition>
  static std::vector<Run> runs(std::size_t count, Condition condition) {
    std::vector<Run> runs;
    for (std::size_t row = 0; row < count; ++row) {
      if (!condition(row)) continue;
      if (runs.empty() || runs.back().first + runs.back().count != row) runs.push_back({row, 0});
      ++runs.back().count;
    }
    return runs;
  }

  void add(Kind kind, Run run, std::size_t to = 0) {
    steps_.push_back({.kind = kind, .first = head_ + run.first, .count = run.count, .to = to});
  }
  void rearrange(std::vector<std::size_t> order) {
    const std::size_t count = order.size();
    steps_.push_back({.kind = Kind::rearrangement, .first = head_, .count = count, .order = std::move(order)});
  }

  void remove(std::span<const std::size_t> origins, std::size_t count) {
    stays_.assign(count, false);
    for (const std::size_t origin : origins) {
      if (origin != absent) stays_[origin] = true;
    }
    const std::vector<Run> removed = runs(count, [&](std::size_t row) { return !stays_[row]; });
    if (removed.size() <= limit) {
      for (auto run = removed.rbegin(); run != removed.rend(); ++run) add(Kind::removal, *run);
      return;
    }
    std::vector<std::size_t> order;
    for (const bool stays : {true, false}) {
      for (std::size_t row = 0; row < count; ++row) {
        if (stays_[row] == stays) order.push_back(row);
      }
    }
    const auto kept = static_cast<std::size_t>(std::ranges::count(stays_, true));
    rearrange(std::move(order));
    add(Kind::removal, {kept, count - kept});
  }

  void move(std::span<const std::size_t> origins, std::size_t count) {
    std::vector<std::size_t> ranks(count);
    std::exclusive_scan(stays_.begin(), stays_.end(), ranks.begin(), std::size_t{0});
    std::vector<std::size_t> order;
    for (const std::size_t origin : origins) {
      if (origin != absent) order.push_back(ranks[origin]);
    }
    // The blocks in the new order. `first` is the first row of the block in the former order.
    std::vector<Run> blocks;
    for (const std::size_t row : order) {
      if (blocks.empty() || blocks.back().first + blocks.back().count != row) blocks.push_back({row, 0});
      ++blocks.back().count;
    }
    if (blocks.size() < 2) return;
    // A move cuts a sequence in at most three places. So `limit` moves lead to at most `3 * limit + 1` blocks.
    const bool isFew = blocks.size() <= 3 * limit + 1;
    const std::vector<bool> fixed = isFew ? heaviestIncreasing(blocks) : std::vector<bool>();
    if (isFew && static_cast<std::size_t>(std::ranges::count(fixed, false)) <= limit) return moveBlocks(blocks, fixed);
    rearrange(std::move(order));
  }

  /// The blocks that stay while all other blocks move. The choice minimises the number of moved rows.
  static std::vector<bool> heaviestIncreasing(const std::vector<Run>& blocks) {
    std::vector<std::size_t> weights;
    std::vector<std::size_t> predecessors;
    for (const Run& block : blocks) {
      std::size_t best = absent;
      for (std::size_t i = 0; i < weights.size(); ++i) {
        if (blocks[i].first < block.first && (best == absent || weights[i] > weights[best])) best = i;
      }
      weights.push_back(block.count + (best == absent ? 0 : weights[best]));
      predecessors.push_back(best);
    }
    std::vector<bool> chosen(blocks.size(), false);
    auto at = static_cast<std::size_t>(std::ranges::max_element(weights) - weights.begin());
    for (; at != absent; at = predecessors[at]) chosen[at] = true;
    return chosen;
  }

  /// Moves each block, except the fixed ones, to the place after its predecessor in the new order.
  void moveBlocks(const std::vector<Run>& blocks, const std::vector<bool>& fixed) {
    std::vector<std::size_t> current(blocks.size());
    std::iota(current.begin(), current.end(), 0);
    std::ranges::sort(current, {}, [&](std::size_t block) { return blocks[block].first; });
    const auto rowOf = [&](auto place) {
      return std::accumulate(current.begin(), place, std::size_t{0},
                             [&](std::size_t sum, std::size_t block) { return sum + blocks[block].count; });
    };
    for (std::size_t block = 0; block < blocks.size(); ++block) {
      if (fixed[block]) continue;
      const auto from = std::ranges::find(current, block);
      const std::size_t first = rowOf(from);
      current.erase(from);
      const auto place = block == 0 ? current.begin() : std::next(std::ranges::find(current, block - 1));
      const std::size_t to = rowOf(place);
      current.insert(place, block);
      if (to != first) add(Kind::move, {first, blocks[block].count}, head_ + to);
    }
  }

  void insert(std::span<const std::size_t> origins) {
    const std::vector<Run> added = runs(origins.size(), [&](std::size_t row) { return origins[row] == absent; });
    if (added.size() <= limit) {
      for (const Run& run : added) {
        std::vector<std::size_t> rows(run.count);
        std::iota(rows.begin(), rows.end(), head_ + run.first);
        insert(run.first, std::move(rows));
      }
      return;
    }
    // One insertion adds all new rows after the kept rows. The rearrangement then moves them to their places.
    std::vector<std::size_t> rows;
    for (std::size_t row = 0; row < origins.size(); ++row) {
      if (origins[row] == absent) rows.push_back(head_ + row);
    }
    const std::size_t tail = origins.size() - rows.size();
    std::size_t kept = 0;
    std::size_t fresh = tail;
    std::vector<std::size_t> order;
    for (const std::size_t origin : origins) order.push_back(origin == absent ? fresh++ : kept++);
    insert(tail, std::move(rows));
    rearrange(std::move(order));
  }
  void insert(std::size_t first, std::vector<std::size_t> rows) {
    const std::size_t count = rows.size();
    steps_.push_back({.kind = Kind::insertion, .first = head_ + first, .count = count, .order = std::move(rows)});
  }

  std::size_t head_;
  std::vector<bool> stays_;
  std::vector<SequenceStep> steps_;
};

/// Matches the elements of two sequences by a hash and an equality.
template <typename Element>
class SequenceMatches {
 public:
  SequenceMatches(std::span<const Element> before, std::span<const Element> after)
      : origins(after.size(), SequenceSteps::absent), before_(before), after_(after), isTaken_(before.size(), false) {}

  /// Assigns the elements of the shorter sequence in their order, if all of them occur in the longer one in this order.
  /// A filter changes a sequence in this way. O(n), without hashes.
  template <typename Equal>
  void matchPart(Equal isEqual) {
    const bool isShorter = after_.size() <= before_.size();
    const std::span<const Element> part = isShorter ? after_ : before_;
    const std::span<const Element> whole = isShorter ? before_ : after_;
    std::vector<std::size_t> places;
    places.reserve(part.size());
    for (std::size_t row = 0; row < whole.size() && places.size() < part.size(); ++row) {
      if (isEqual(whole[row], part[places.size()])) places.push_back(row);
    }
    if (places.size() < part.size()) return;
    for (std::size_t row = 0; row < part.size(); ++row) {
      const auto [former, now] = isShorter ? std::pair(places[row], row) : std::pair(row, places[row]);
      assign(now, former);
    }
  }

  /// Assigns to each unmatched new element the first free former element that equals it. O(n).
  template <typename Hash, typename Equal>
  void match(Hash hash, Equal isEqual) {
    if (matched_ == std::min(before_.size(), after_.size())) return;
    struct Slot {
      std::size_t hash = 0;
      std::size_t row = SequenceSteps::absent;
    };
    const int shift = 63 - std::bit_width(before_.size());
    std::vector<Slot> table(std::size_t{1} << (64 - shift));
    const auto slotOf = [&](const Element& element, std::size_t hashed) -> Slot& {
      constexpr std::size_t spread = 0x9E37'79B9'7F4A'7C15;  // Spreads hashes that differ in few bits.
      std::size_t at = (hashed * spread) >> shift;
      const auto isOther = [&](const Slot& slot) {
        return slot.row != SequenceSteps::absent && (slot.hash != hashed || !isEqual(before_[slot.row], element));
      };
      while (isOther(table[at])) at = (at + 1) % table.size();
      return table[at];
    };
    // For each former row, `next` has the next row that is equal to it. For the first row of a group of equal rows,
    // `free` has the first free row of the group.
    std::vector<std::size_t> next(before_.size(), SequenceSteps::absent);
    std::vector<std::size_t> free(before_.size());
    std::iota(free.begin(), free.end(), 0);
    for (std::size_t row = before_.size(); row-- > 0;) {
      if (isTaken_[row]) continue;
      const std::size_t hashed = hash(before_[row]);
      Slot& slot = slotOf(before_[row], hashed);
      next[row] = slot.row;
      slot = {hashed, row};
    }
    for (std::size_t row = 0; row < after_.size(); ++row) {
      if (origins[row] != SequenceSteps::absent) continue;
      const Slot& slot = slotOf(after_[row], hash(after_[row]));
      if (slot.row == SequenceSteps::absent || free[slot.row] == SequenceSteps::absent) continue;
      assign(row, std::exchange(free[slot.row], next[free[slot.row]]));
    }
  }

  std::vector<std::size_t> origins;

 private:
  void assign(std::size_t row, std::size_t former) {
    origins[row] = former;
    isTaken_[former] = true;
    ++matched_;
  }

  std::span<const Element> before_;
  std::span<const Element> after_;
  std::vector<bool> isTaken_;
  std::size_t matched_ = 0;
};

/// The steps that lead from `before` to `after`. At the common beginning and the common end, elements with an equal
/// identity are matched. Between these parts, equal pointers are matched first, then elements with an equal identity.
/// In both cases, equal elements are matched in the order in which they occur. Exception: if the pointers of the
/// shorter part all occur in the longer part in the same order, that order decides.
///
/// Makes O(n) calls of `identity`, and of the `==` and the `std::hash` of identities. For matched equal pointers, such
/// calls occur only directly after the common beginning and directly before the common end.
template <typename Element, typename Identity>
std::vector<SequenceStep> stepsBetween(std::span<const Element> before, std::span<const Element> after,
                                       const Identity& identity) {
  using Key = std::remove_cvref_t<std::invoke_result_t<const Identity&, const Element&>>;
  constexpr bool isPointer = std::is_pointer_v<Element> || requires { typename Element::element_type; };
  const auto isEqual = [&](const Element& left, const Element& right) {
    if constexpr (isPointer) {
      if (left == right) return true;
    }
    return std::invoke(identity, left) == std::invoke(identity, right);
  };
  const auto head = static_cast<std::size_t>(std::ranges::mismatch(before, after, isEqual).in1 - before.begin());
  before = before.subspan(head);
  after = after.subspan(head);
  const auto tail = static_cast<std::size_t>(
      std::mismatch(before.rbegin(), before.rend(), after.rbegin(), after.rend(), isEqual).first - before.rbegin());
  before = before.first(before.size() - tail);
  after = after.first(after.size() - tail);

  SequenceMatches<Element> matches(before, after);
  if constexpr (isPointer) {
    matches.matchPart(std::equal_to<>());
    matches.match(std::hash<Element>(), std::equal_to<>());
  }
  matches.match([&](const Element& element) { return std::hash<Key>()(std::invoke(identity, element)); }, isEqual);
  return SequenceSteps::make(matches.origins, before.size(), head);
}

}  // namespace Tessaly::inline v1::detail
