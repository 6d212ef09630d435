// SPDX-License-Identifier: MIT
// Component: Tessaly::QtAdapter
#pragma once

#include <QAbstractListModel>
#include <QString>
#include <QVariant>
#include <concepts>
#include <cstddef>
#include <functional>
#include <memory>
#include <span>
#include <type_traits>
#include <utility>
#include <vector>

#include "Tessaly/Adapters/Qt/Binding.hpp"
#include "Tessaly/Adapters/detail/ObservedRows.hpp"
#include "Tessaly/Core/Base/FatalError.hpp"

namespace Tessaly::inline v1::Qt6 {

/// A `QAbstractListModel` that shows a computed sequence, one row for each element. After a change of an observable
/// property that `compute` read, `compute` runs again in the next turn of `MainLoopAdapter`'s loop. The model then
/// shows the new sequence.
///
/// `compute` returns a `std::vector` or a shared pointer to a vector; a pointer avoids the copy of a long sequence. A
/// null pointer is an empty sequence. `identity` is a function or a member that returns the identity of an element, for
/// example `&File::name`. The identity needs `==` and `std::hash`. Without `identity`, an element is its own identity.
/// An element with the identity of a former element takes over the former element's row. That row moves to the new
/// position. Selection, current row and editor stay with the row, wherever the row moves. `compute` must not refer to
/// an object that is destroyed before the list model. For such an object use the other constructor.
///
/// Views get removals, moves of blocks and insertions of blocks, at most 32 of each kind. If one kind has more than 32
/// changes, they become a layout change and at most one removal or insertion. A layout change keeps the selection too.
/// For a changed element, the model emits `dataChanged`. The model emits no signal for rows whose elements equal their
/// former values. But an update emits at most 32 `dataChanged` signals, so the last one may also cover such rows. A
/// model without columns shows nothing; call `addColumn` first.
///
/// A slot of `rowsInserted`, `rowsRemoved`, `rowsMoved` or `dataChanged` may destroy the model. If a slot runs a nested
/// loop, for example for a dialog, the model keeps its rows during that loop, even if the sequence changes. After the
/// slots have returned, the model shows the newest sequence.
///
/// An update costs O(n) for n rows. Each row between the unchanged first rows and the unchanged last rows also costs a
/// hash and a comparison of its identity. Without this class, a host writes a subclass of `QAbstractListModel` and
/// finds the changed rows itself.
///
/// These stop the process: constructing a model outside the main thread, an exception of a later call of `compute`, and
/// `element` for a missing row.
///
/// Thread contract: main-isolated.
///
///     auto* songs = new Qt6::ListModel([&] { return player.queue.value(); }, &Song::id, view);
///     songs->addColumn("Title", [](const Song& song) { return song.title; });
///     view->setModel(songs);
template <typename Element>
class ListModel : public QAbstractListModel, private detail::RowsListener {
 public:
  template <std::invocable<> Compute, typename Identity = std::identity>
  explicit ListModel(Compute compute, Identity identity = {}, QObject* parent = nullptr)
      : QAbstractListModel(parent), rows_(*this) {
    rows_.follow(std::move(compute), std::move(identity));
  }

  /// Like the constructor above, for a model that may be destroyed before the list model. After that, the rows stay as
  /// they are. `compute` is a member of the model or a function that takes the model. The list model does not keep the
  /// model alive.
  ///
  ///     auto* songs = new Qt6::ListModel(player, &Jukebox::songs, &Song::id, view);
  template <typename Model, std::invocable<Model&> Compute, typename Identity = std::identity>
  explicit ListModel(const std::shared_ptr<Model>& model, Compute compute, Identity identity = {},
                     QObject* parent = nullptr)
      : ListModel(detail::whileAlive(model, std::move(compute)), std::move(identity), parent) {}

  /// Adds a column. `show` returns the text of an element. If `show` also takes a role, it returns the value of the
  /// element for that role.
  template <typename Show>
  void addColumn(const QString& title, Show show) {
    const int column = static_cast<int>(columns_.size());
    beginInsertColumns({}, column, column);
    if constexpr (std::invocable<Show&, const Element&, int>) {
      columns_.push_back({title, std::move(show)});
    } else {
      columns_.push_back({title, [show = std::move(show)](const Element& element, int role) mutable {
                            return role == Qt::DisplayRole ? QVariant(detail::valueForQt(std::invoke(show, element)))
                                                           : QVariant();
                          }});
    }
    endInsertColumns();
  }

  /// The element of a row. The reference stays valid until the next turn of the loop. Stops the process if there is no
  /// such row.
  [[nodiscard]] const Element& element(int row) const {
    if (row < 0 || row >= rowCount()) fatalError("The list model has no such row", "Tessaly/ListModel", __LINE__);
    return rows_[static_cast<std::size_t>(row)];
  }

  [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override {
    return parent.isValid() ? 0 : static_cast<int>(rows_.size());
  }
  [[nodiscard]] int columnCount(const QModelIndex& parent = {}) const override {
    return parent.isValid() ? 0 : static_cast<int>(columns_.size());
  }
  [[nodiscard]] QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid)) return {};
    return columns_[static_cast<std::size_t>(index.column())].show(element(index.row()), role);
  }
  [[nodiscard]] QVariant headerData(int section, Qt::Orientation orientation, int role) const override {
    const bool isTitle = orientation == Qt::Horizontal && role == Qt::DisplayRole && section < columnCount();
    return isTitle && section >= 0 ? QVariant(columns_[static_cast<std::size_t>(section)].title)
                                   : QAbstractListModel::headerData(section, orientation, role);
  }

 private:
  struct Column {
    QString title;
    std::function<QVariant(const Element&, int role)> show;
  };
  using Step = detail::SequenceStep;

  void willTake(const Step& step) override {
    const int first = static_cast<int>(step.first);
    const int last = static_cast<int>(step.first + step.count) - 1;
    switch (step.kind) {
      case Step::Kind::removal:
        return beginRemoveRows({}, first, last);
      case Step::Kind::insertion:
        return beginInsertRows({}, first, last);
      case Step::Kind::move:  // For Qt, the destination is a row number from before the move.
        beginMoveRows({}, first, last, {}, static_cast<int>(step.to > step.first ? step.to + step.count : step.to));
        return;
      case Step::Kind::rearrangement:
        Q_EMIT layoutAboutToBeChanged({}, VerticalSortHint);
    }
  }
  void didTake(const Step& step) override {
    switch (step.kind) {
      case Step::Kind::removal:
        return endRemoveRows();
      case Step::Kind::insertion:
        return endInsertRows();
      case Step::Kind::move:
        return endMoveRows();
      case Step::Kind::rearrangement:
        return didRearrange(step);
    }
  }
  void didRearrange(const Step& step) {
    std::vector<std::size_t> places(step.count);
    for (std::size_t place = 0; place < step.count; ++place) places[step.order[place]] = place;
    for (const QModelIndex& former : persistentIndexList()) {
      const std::size_t row = static_cast<std::size_t>(former.row()) - step.first;
      if (row >= step.count) continue;  // For rows before the block, the subtraction wraps around.
      changePersistentIndex(former, createIndex(static_cast<int>(step.first + places[row]), former.column()));
    }
    Q_EMIT layoutChanged({}, VerticalSortHint);
  }
  void didReplace(std::span<const void* const> before) override {
    constexpr std::size_t limit = detail::SequenceSteps::limit;
    std::vector<std::pair<int, int>> runs;
    for (std::size_t row = 0; row < before.size(); ++row) {
      const auto* former = static_cast<const Element*>(before[row]);
      if (former == nullptr || detail::ObservedRows<Element>::isEqual(*former, rows_[row])) continue;
      const int at = static_cast<int>(row);
      if (runs.empty() || (runs.back().second + 1 != at && runs.size() < limit)) runs.emplace_back(at, at);
      runs.back().second = at;
    }
    if (columns_.empty()) return;
    for (const auto& [first, last] : runs) {
      if (!rows_.outlives([&] { Q_EMIT dataChanged(index(first, 0), index(last, columnCount() - 1)); })) return;
    }
  }

  std::vector<Column> columns_;
  detail::ObservedRows<Element> rows_;
};

template <std::invocable<> Compute, typename... Further>
explicit ListModel(Compute, Further...) -> ListModel<detail::ElementOf<Compute>>;
template <typename Model, std::invocable<Model&> Compute, typename... Further>
explicit ListModel(std::shared_ptr<Model>, Compute, Further...)
    -> ListModel<typename detail::ElementOfSequence<detail::ComputedValue<Compute, Model&>>::Type>;

}  // namespace Tessaly::inline v1::Qt6
