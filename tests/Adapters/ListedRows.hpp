// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Tessaly/Core/Observation/Property.hpp"
#include "Tessaly/Core/Tasks/MainQueue.hpp"

namespace Tessaly {

/// An element of a list, which keeps its identity when its title changes.
struct Track {
  int id;
  std::string title;
  bool operator==(const Track&) const = default;
};
using Tracks = std::vector<Track>;

inline Tracks tracks(int first, int end) {
  Tracks tracks;
  for (int id = first; id < end; ++id) tracks.push_back({id, "track " + std::to_string(id)});
  return tracks;
}

inline std::vector<std::string> titles(const Tracks& tracks) {
  std::vector<std::string> titles;
  for (const Track& track : tracks) titles.push_back(track.title);
  return titles;
}

/// A list model of any toolkit. `Toolkit` is a fixture with `list`, which makes the model, and `rows`, `mirror`,
/// `changes`, `select`, `selected`, `destroyModel`, `turn` and `whenChanged_`. The mirror knows the rows by the model's
/// signals only. `whenChanged_` is called at the next signal of a change.
template <typename Toolkit>
class ListedRows : public Toolkit {
 protected:
  void listQueue() {
    this->list([queue = queue_] { return queue->value(); }, &Track::id);
  }
  void set(Tracks tracks) {
    *queue_ = std::move(tracks);
    this->turn();
    EXPECT_EQ(this->rows(), titles(queue_->value()));
    EXPECT_EQ(this->mirror(), titles(queue_->value()));
  }

  std::shared_ptr<Property<Tracks>> queue_ = std::make_shared<Property<Tracks>>(tracks(0, 10));
};

TYPED_TEST_SUITE_P(ListedRows);

TYPED_TEST_P(ListedRows, ModelFollowsTheSequence) {
  this->listQueue();
  EXPECT_EQ(this->rows(), titles(tracks(0, 10)));
  *this->queue_ = tracks(0, 12);
  EXPECT_EQ(this->rows(), titles(tracks(0, 10)));
  this->set(tracks(0, 12));
  this->set({});
  this->set(tracks(3, 5));
}

TYPED_TEST_P(ListedRows, ManyChangesInOneTurnGiveOneUpdate) {
  this->listQueue();
  for (int count = 11; count <= 100; ++count) *this->queue_ = tracks(0, count);
  this->turn();
  EXPECT_EQ(this->changes(), 1);
  EXPECT_EQ(this->rows().size(), 100U);
}

TYPED_TEST_P(ListedRows, EqualSequenceGivesNoUpdate) {
  this->listQueue();
  this->set(tracks(0, 10));
  EXPECT_EQ(this->changes(), 0);
}

TYPED_TEST_P(ListedRows, SelectionStaysWithElementsThatMove) {
  this->listQueue();
  this->select(2);
  this->select(7);
  Tracks moved = tracks(0, 10);
  std::rotate(moved.begin(), moved.begin() + 5, moved.end());
  this->set(moved);
  EXPECT_EQ(this->changes(), 1);
  EXPECT_EQ(this->selected(), (std::vector<std::string>{"track 2", "track 7"}));
  moved.erase(moved.begin() + 2);  // Track 7.
  moved.insert(moved.begin(), {77, "track 77"});
  this->set(moved);
  EXPECT_EQ(this->selected(), (std::vector<std::string>{"track 2"}));
}

TYPED_TEST_P(ListedRows, SelectionStaysWhenEveryRowMoves) {
  *this->queue_ = tracks(0, 1'000);
  this->listQueue();
  this->select(2);
  this->select(777);
  Tracks mixed = tracks(0, 1'000);
  std::shuffle(mixed.begin(), mixed.end(), std::mt19937(7));
  this->set(mixed);
  EXPECT_EQ(this->changes(), 1);
  EXPECT_EQ(this->selected(), (std::vector<std::string>{"track 2", "track 777"}));
}

TYPED_TEST_P(ListedRows, SelectionStaysWhenManyRowsComeAndGo) {
  const Tracks all = tracks(0, 10'000);
  Tracks some;
  for (const Track& track : all) {
    if (track.id % 3 != 0) some.push_back(track);
  }
  some[10].title += " is new";
  *this->queue_ = all;
  this->listQueue();
  for (const int row : {2, 3, 5'000, 9'999}) this->select(row);
  this->set(some);
  EXPECT_EQ(this->selected(), (std::vector<std::string>{"track 2", "track 5000"}));
  this->set(all);
  EXPECT_EQ(this->selected(), (std::vector<std::string>{"track 2", "track 5000"}));
}

TYPED_TEST_P(ListedRows, ChangedElementKeepsRowAndSelection) {
  this->listQueue();
  this->select(4);
  Tracks renamed = tracks(0, 10);
  renamed[4].title = "track four";
  this->set(renamed);
  EXPECT_EQ(this->changes(), 0);
  EXPECT_EQ(this->selected(), (std::vector<std::string>{"track four"}));
  // An element may move and change at once.
  std::swap(renamed[4], renamed[9]);
  renamed[9].title = "track 4!";
  this->set(renamed);
  EXPECT_EQ(this->selected(), (std::vector<std::string>{"track 4!"}));
}

TYPED_TEST_P(ListedRows, RandomChangesKeepModelMirrorAndSelectionTogether) {
  this->listQueue();
  std::mt19937 random(7);
  int fresh = 1'000;
  for (int round = 0; round < 200; ++round) {
    Tracks next = this->queue_->value();
    if (round % 10 == 0) std::shuffle(next.begin(), next.end(), random);
    for (unsigned i = random() % (round % 5 == 0 ? 200 : 6); i > 0; --i) {
      const auto at = next.begin() + static_cast<std::ptrdiff_t>(random() % (next.size() + 1));
      if (random() % 2 == 0) {
        next.insert(at, {fresh, "track " + std::to_string(fresh)});
        ++fresh;
      } else if (at != next.end()) {
        next.erase(at);
      }
    }
    if (!next.empty()) next.front().title += "'";
    const std::vector<std::string> selected = this->selected();
    std::vector<std::string> kept;
    for (const Track& track : next) {
      const auto names = [&](const std::string& title) { return title == track.title || title + "'" == track.title; };
      if (std::ranges::any_of(selected, names)) kept.push_back(track.title);
    }
    std::ranges::sort(kept);
    this->set(next);
    ASSERT_EQ(this->selected(), kept) << "round " << round;
    if (!next.empty()) this->select(static_cast<int>(random() % next.size()));
  }
}

TYPED_TEST_P(ListedRows, SharedSequenceMayBeNull) {
  using Shared = std::shared_ptr<const Tracks>;
  auto shown = std::make_shared<Property<Shared>>(Shared());
  this->list([shown] { return shown->value(); }, &Track::id);
  EXPECT_TRUE(this->rows().empty());
  *shown = std::make_shared<const Tracks>(tracks(0, 3));
  this->turn();
  EXPECT_EQ(this->rows(), titles(tracks(0, 3)));
  *shown = Shared();
  this->turn();
  EXPECT_TRUE(this->rows().empty());
}

TYPED_TEST_P(ListedRows, ChangeOnAnotherThreadArrivesOnTheMainThread) {
  this->listQueue();
  std::thread([this] { *this->queue_ = tracks(0, 11); }).join();
  this->turn();
  EXPECT_EQ(this->rows(), titles(tracks(0, 11)));
}

TYPED_TEST_P(ListedRows, ChangeDuringAnUpdateWaitsForTheEndOfTheUpdate) {
  this->listQueue();
  Tracks newest = tracks(20, 30);
  newest.push_back({9, "track 9"});
  this->whenChanged_ = [&] {
    const std::vector<std::string> before = this->rows();
    *this->queue_ = tracks(10, 15);
    this->turn();
    *this->queue_ = newest;
    this->turn();
    EXPECT_EQ(this->rows(), before);
  };
  Tracks next = tracks(1, 10);
  std::rotate(next.begin() + 2, next.begin() + 5, next.end());
  next.insert(next.begin() + 4, {77, "track 77"});
  *this->queue_ = next;
  this->turn();
  EXPECT_EQ(this->rows(), titles(newest));
  EXPECT_EQ(this->mirror(), titles(newest));
}

TYPED_TEST_P(ListedRows, ModelMayEndDuringAnUpdate) {
  for (const Tracks& next : {Tracks(), tracks(3, 20), Tracks{{4, "track 4"}, {2, "track 2"}, {8, "track 8"}}}) {
    *this->queue_ = tracks(0, 10);
    this->listQueue();
    this->whenChanged_ = [&] { this->destroyModel(); };
    *this->queue_ = next;
    this->turn();
    EXPECT_EQ(this->queue_.use_count(), 1);
  }
}

TYPED_TEST_P(ListedRows, ModelMayEndWhenAnElementChanges) {
  this->listQueue();
  this->whenChanged_ = [&] { this->destroyModel(); };
  Tracks renamed = tracks(0, 10);
  renamed[2].title += "!";
  renamed[7].title += "!";
  *this->queue_ = renamed;
  this->turn();
  EXPECT_EQ(this->queue_.use_count(), 1);
}

TYPED_TEST_P(ListedRows, ModelReleasesItsSequenceAtItsEnd) {
  this->listQueue();
  *this->queue_ = tracks(0, 11);
  this->destroyModel();
  this->turn();
  EXPECT_EQ(this->queue_.use_count(), 1);
}

TYPED_TEST_P(ListedRows, SourceMayEndBeforeTheListModel) {
  const auto read = [](const Property<Tracks>& queue) { return queue.value(); };
  this->list(this->queue_, read, &Track::id);
  EXPECT_EQ(this->queue_.use_count(), 1);
  this->set(tracks(0, 12));
  *this->queue_ = tracks(0, 3);
  this->queue_.reset();
  this->turn();
  EXPECT_EQ(this->rows(), titles(tracks(0, 12)));
}

REGISTER_TYPED_TEST_SUITE_P(ListedRows, ModelFollowsTheSequence, ManyChangesInOneTurnGiveOneUpdate,
                            EqualSequenceGivesNoUpdate, SelectionStaysWithElementsThatMove,
                            SelectionStaysWhenEveryRowMoves, SelectionStaysWhenManyRowsComeAndGo,
                            ChangedElementKeepsRowAndSelection, RandomChangesKeepModelMirrorAndSelectionTogether,
                            SharedSequenceMayBeNull, ChangeOnAnotherThreadArrivesOnTheMainThread,
                            ChangeDuringAnUpdateWaitsForTheEndOfTheUpdate, ModelMayEndDuringAnUpdate,
                            ModelMayEndWhenAnElementChanges, ModelReleasesItsSequenceAtItsEnd,
                            SourceMayEndBeforeTheListModel);

}  // namespace Tessaly
