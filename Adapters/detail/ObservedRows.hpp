// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <concepts>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <type_traits>
#include <utility>
#include <vector>

#include "Tessaly/Adapters/detail/Binding.hpp"
#include "Tessaly/Adapters/detail/Existence.hpp"
#include "Tessaly/Adapters/detail/SequenceDifference.hpp"
#include "Tessaly/SettingsAndObservation/ObservationToken.hpp"

namespace Tessaly::inline v1::detail {

/// The element type of a computed sequence. The sequence is a vector or a shared pointer to a vector.
template <typename Sequence>
struct ElementOfSequence;
template <typename Element>
struct ElementOfSequence<std::vector<Element>> {
  using Type = Element;
};
template <typename Element>
struct ElementOfSequence<std::shared_ptr<std::vector<Element>>> {
  using Type = Element;
};
template <typename Element>
struct ElementOfSequence<std::shared_ptr<const std::vector<Element>>> {
  using Type = Element;
};

template <std::invocable<> Compute>
using ElementOf = typename ElementOfSequence<ComputedValue<Compute>>::Type;

/// The list model of a toolkit, as an observer of the rows. The model notifies code of the host, which may destroy the
/// model.
class RowsListener {
 public:
  /// Called before the first step of an update.
  virtual void willTakeAll(std::span<const SequenceStep>) {}
  /// Called before each step. The rows change between this call and the call of `didTake`.
  virtual void willTake(const SequenceStep& step) = 0;
  /// Called after each step.
  virtual void didTake(const SequenceStep& step) = 0;
  /// Called after all steps, when every row shows its new element. `before` has the former element of each row, or null
  /// for a new row. The former and the new elements are all alive.
  virtual void didReplace(std::span<const void* const> before) = 0;

 protected:
  ~RowsListener() = default;
};

/// The common part of the list models of every toolkit: the rows of a computed sequence. The rows change step by step,
/// so a view may read the rows at each step.
///
/// An update never begins inside another one. A handler of the host may run a nested loop, for example for a dialog,
/// and the sequence may change meanwhile. Then only the newest sequence is kept, and shown after the present update.
template <typename Element>
class ObservedRows : public Existence {
 public:
  using Snapshot = std::shared_ptr<const std::vector<Element>>;

  explicit ObservedRows(RowsListener& listener) : listener_(listener) {}
  /// Shows the result of `compute`, now and after each change of an observable property that `compute` read.
  template <typename Compute, typename Identity>
  void follow(Compute compute, Identity identity) {
    using Sequence = ComputedValue<Compute>;
    token_.emplace(detail::follow<Sequence>(std::move(compute), [this, identity](Sequence sequence) {
      showLatest(snapshot(std::move(sequence)), [&](std::span<const Element> before, std::span<const Element> after) {
        return stepsBetween(before, after, identity);
      });
    }));
  }

  [[nodiscard]] std::size_t size() const noexcept { return rows_.size(); }
  [[nodiscard]] const Element& operator[](std::size_t row) const noexcept { return *rows_[row]; }

  /// The elements of all rows.
  [[nodiscard]] const std::vector<const Element*>& elements() const noexcept { return rows_; }

  /// Whether both elements are equal. Elements without `==` count as different.
  static bool isEqual(const Element& left, const Element& right) {
    if constexpr (std::equality_comparable<Element>) return left == right;
    return false;
  }

 private:
  static Snapshot snapshot(Snapshot sequence) {
    return sequence != nullptr ? std::move(sequence) : std::make_shared<const std::vector<Element>>();
  }
  static Snapshot snapshot(std::vector<Element> sequence) {
    return std::make_shared<const std::vector<Element>>(std::move(sequence));
  }

  template <typename Difference>
  void showLatest(Snapshot latest, const Difference& difference) {
    const bool isShowing = latest_ != nullptr;
    latest_ = std::move(latest);
    if (isShowing) return;
    while (latest_ != snapshot_) {
      if (!show(latest_, difference)) return;
    }
    latest_ = nullptr;
  }

  /// Changes the rows to those of `next`, and notifies the listener. Returns false if the listener has destroyed this
  /// object.
  template <typename Difference>
  [[nodiscard]] bool show(Snapshot next, const Difference& difference) {
    const Snapshot former = std::exchange(snapshot_, std::move(next));
    const std::span<const Element> before =
        former != nullptr ? std::span<const Element>(*former) : std::span<const Element>();
    const std::vector<SequenceStep> steps = difference(before, std::span<const Element>(*snapshot_));
    listener_.willTakeAll(steps);
    for (const SequenceStep& step : steps) {
      if (!outlives([&] { listener_.willTake(step); })) return false;
      take(step);
      if (!outlives([&] { listener_.didTake(step); })) return false;
    }
    std::vector<const void*> replaced(rows_.size());
    for (std::size_t row = 0; row < rows_.size(); ++row) {
      const Element* const element = &(*snapshot_)[row];
      replaced[row] = rows_[row] == element ? nullptr : rows_[row];
      rows_[row] = element;
    }
    return outlives([&] { listener_.didReplace(replaced); });
  }

  void take(const SequenceStep& step) {
    const auto first = rows_.begin() + static_cast<std::ptrdiff_t>(step.first);
    const auto end = first + static_cast<std::ptrdiff_t>(step.kind == SequenceStep::Kind::insertion ? 0 : step.count);
    switch (step.kind) {
      case SequenceStep::Kind::removal:
        rows_.erase(first, end);
        break;
      case SequenceStep::Kind::insertion: {
        std::vector<const Element*> added;
        for (const std::size_t row : step.order) added.push_back(&(*snapshot_)[row]);
        rows_.insert(first, added.begin(), added.end());
        break;
      }
      case SequenceStep::Kind::move: {
        const auto to = rows_.begin() + static_cast<std::ptrdiff_t>(step.to);
        if (to < first) {
          std::rotate(to, first, end);
        } else {
          std::rotate(first, end, to + static_cast<std::ptrdiff_t>(step.count));
        }
        break;
      }
      case SequenceStep::Kind::rearrangement: {
        const std::vector<const Element*> former(first, end);
        std::ranges::transform(step.order, first, [&](std::size_t place) { return former[place]; });
        break;
      }
    }
  }

  RowsListener& listener_;
  Snapshot snapshot_;
  /// The newest sequence, during an update. Null otherwise.
  Snapshot latest_;
  std::vector<const Element*> rows_;
  std::optional<ObservationToken> token_;
};

}  // namespace Tessaly::inline v1::detail
