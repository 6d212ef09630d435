// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <QAbstractItemModelTester>
#include <QApplication>
#include <QItemSelectionModel>
#include <QTreeView>
#include <algorithm>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Tessaly/Adapters/Qt/ListModel.hpp"
#include "Tessaly/Adapters/Qt/MainLoop.hpp"
#include "tests/Adapters/ListedRows.hpp"

namespace Tessaly {
namespace {

class QtListOfTest : public testing::Test {
 protected:
  void SetUp() override {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    application_.emplace(count_, arguments_);
    adapter_.emplace();
  }
  void TearDown() override { destroyModel(); }

  template <typename... Source>
  void list(Source... source) {
    model_ = std::make_unique<Qt6::ListModel<Track>>(std::move(source)...);
    // It checks every signal, row number and persistent index against Qt's rules.
    tester_ =
        std::make_unique<QAbstractItemModelTester>(model_.get(), QAbstractItemModelTester::FailureReportingMode::Fatal);
    model_->addColumn("Title", [](const Track& track) { return track.title; });
    model_->addColumn("Number", [](const Track& track, int role) {
      return role == Qt::DisplayRole ? QVariant(track.id) : QVariant();
    });
    view_ = std::make_unique<QTreeView>();
    view_->setModel(model_.get());
    view_->setSelectionMode(QAbstractItemView::MultiSelection);
    view_->show();
    mirror_ = rows();
    follow();
  }
  void destroyModel() {
    view_.reset();
    tester_.reset();
    model_.reset();
  }
  static void turn() {
    for (int i = 0; i < 20; ++i) QCoreApplication::processEvents();
  }

  [[nodiscard]] std::string title(int row) const { return model_->index(row, 0).data().toString().toStdString(); }
  [[nodiscard]] std::vector<std::string> rows() const {
    std::vector<std::string> rows;
    for (int row = 0; row < model_->rowCount(); ++row) rows.push_back(title(row));
    return rows;
  }
  [[nodiscard]] std::vector<std::string> mirror() const { return mirror_; }
  [[nodiscard]] int changes() const { return changes_; }
  void select(int row) {
    view_->selectionModel()->select(model_->index(row, 0), QItemSelectionModel::Select | QItemSelectionModel::Rows);
  }
  [[nodiscard]] std::vector<std::string> selected() const {
    std::vector<std::string> titles;
    for (const QModelIndex& index : view_->selectionModel()->selectedRows()) titles.push_back(title(index.row()));
    std::ranges::sort(titles);
    return titles;
  }

  /// Keeps the mirror by the signals.
  void follow() {
    QAbstractItemModel* const model = model_.get();
    QObject::connect(model, &QAbstractItemModel::rowsInserted, [this](const QModelIndex&, int first, int last) {
      ++changes_;
      for (int row = first; row <= last; ++row) mirror_.insert(mirror_.begin() + row, title(row));
      notify();
    });
    QObject::connect(model, &QAbstractItemModel::rowsRemoved, [this](const QModelIndex&, int first, int last) {
      ++changes_;
      mirror_.erase(mirror_.begin() + first, mirror_.begin() + last + 1);
      notify();
    });
    QObject::connect(model, &QAbstractItemModel::rowsMoved,
                     [this](const QModelIndex&, int first, int last, const QModelIndex&, int to) {
                       ++changes_;
                       ++moves_;
                       const auto begin = mirror_.begin();
                       if (to < first) {
                         std::rotate(begin + to, begin + first, begin + last + 1);
                       } else {
                         std::rotate(begin + first, begin + last + 1, begin + to);
                       }
                       notify();
                     });
    QObject::connect(model, &QAbstractItemModel::dataChanged,
                     [this](const QModelIndex& first, const QModelIndex& last) {
                       for (int row = first.row(); row <= last.row(); ++row)
                         mirror_[static_cast<std::size_t>(row)] = title(row);
                       notify();
                     });
    QObject::connect(model, &QAbstractItemModel::layoutChanged, [this] {
      ++changes_;
      mirror_ = rows();
      notify();
    });
  }
  void notify() {
    if (const auto handler = std::exchange(whenChanged_, nullptr)) handler();
  }

  int count_ = 1;
  char name_[5] = "test";
  char* arguments_[2] = {name_, nullptr};
  std::optional<QApplication> application_;
  std::optional<Qt6::MainLoopAdapter> adapter_;
  std::unique_ptr<Qt6::ListModel<Track>> model_;
  std::unique_ptr<QAbstractItemModelTester> tester_;
  std::unique_ptr<QTreeView> view_;
  std::vector<std::string> mirror_;
  int changes_ = 0;
  int moves_ = 0;
  std::function<void()> whenChanged_;
};

INSTANTIATE_TYPED_TEST_SUITE_P(Qt, ListedRows, QtListOfTest);

TEST_F(QtListOfTest, ColumnsHaveTitlesAndRoles) {
  const Property<Tracks> queue = tracks(0, 2);
  list([&] { return queue.value(); }, &Track::id);
  EXPECT_EQ(model_->columnCount(), 2);
  EXPECT_EQ(model_->headerData(1, Qt::Horizontal, Qt::DisplayRole), QVariant("Number"));
  EXPECT_EQ(model_->headerData(0, Qt::Vertical, Qt::DisplayRole), QVariant(1));
  EXPECT_EQ(model_->index(1, 1).data(), QVariant(1));
  EXPECT_FALSE(model_->index(1, 1).data(Qt::DecorationRole).isValid());
  EXPECT_FALSE(model_->index(1, 0).data(Qt::DecorationRole).isValid());
  EXPECT_EQ(model_->element(1), (Track{1, "track 1"}));
}

TEST_F(QtListOfTest, MovedBlockIsOneMoveOfRows) {
  Property<Tracks> queue = tracks(0, 10);
  list([&] { return queue.value(); }, &Track::id);
  Tracks moved = tracks(0, 10);
  std::rotate(moved.begin() + 1, moved.begin() + 3, moved.end());
  queue = moved;
  turn();
  EXPECT_EQ(moves_, 1);
  EXPECT_EQ(mirror_, titles(moved));
}

using QtListOfTestDeathTest = QtListOfTest;

TEST_F(QtListOfTestDeathTest, RowBeyondTheEndStopsTheProcess) {
  const Property<Tracks> queue = tracks(0, 2);
  list([&] { return queue.value(); }, &Track::id);
  EXPECT_DEATH((void)model_->element(2), "The list model has no such row");
  EXPECT_DEATH((void)model_->element(-1), "The list model has no such row");
}

}  // namespace
}  // namespace Tessaly
