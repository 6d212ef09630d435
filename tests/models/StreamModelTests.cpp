// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "tests/models/StreamModel.hpp"

namespace Tessaly::Tests {
namespace {

using Variant = StreamModel::Variant;
using Policy = StreamModel::Policy;
using Scenario = StreamModel::Scenario;

void holds(Scenario scenario) {
  for (const Policy policy : {Policy::unbounded, Policy::oldest1, Policy::newest1, Policy::oldest0}) {
    expectNoViolation(StreamModel{Variant::asWritten, policy, scenario}, 10'000);
  }
}

TEST(StreamModel, EachElementArrivesOnceAndTheEndReachesEachConsumer) { holds(Scenario::all); }

TEST(StreamModel, IteratorsMayBeDroppedAtAnyStep) { holds(Scenario::droppedIterators); }

TEST(StreamModel, CancellationEndsTheStreamOfASilentProducer) { holds(Scenario::silentProducer); }

std::string violationOf(Variant variant, Scenario scenario = Scenario::all) {
  return explore(StreamModel{variant, Policy::unbounded, scenario}).violation;
}

TEST(StreamModel, CatchesAWaiterThatDoesNotLookAgain) {
  EXPECT_EQ(violationOf(Variant::waitsWithoutLook), "a consumer got elements out of order");
}

TEST(StreamModel, CatchesASleepAfterTheWakeUp) {
  EXPECT_EQ(violationOf(Variant::sleepsAlthoughResumed), "nothing can go on");
}

TEST(StreamModel, CatchesAWakeUpWithoutTheElement) {
  EXPECT_EQ(violationOf(Variant::resumesBeforeHandingOver), "a consumer was resumed without an answer");
}

TEST(StreamModel, CatchesAWaiterThatStaysInTheList) {
  EXPECT_EQ(violationOf(Variant::leavesWaiterInList), "a consumer was resumed twice");
}

TEST(StreamModel, CatchesAConsumerThatOvertakes) {
  EXPECT_EQ(violationOf(Variant::overtakesElementsAhead), "a consumer got elements out of order");
}

TEST(StreamModel, CatchesACancellationThatIsMissed) {
  EXPECT_EQ(violationOf(Variant::missesEarlyCancellation, Scenario::silentProducer), "nothing can go on");
}

TEST(StreamModel, CatchesASecondEnd) {
  EXPECT_EQ(violationOf(Variant::endsTwice), "the termination handler was called twice");
}

TEST(StreamModel, CatchesAConsumerThatLeavesItsHandlerRunning) {
  EXPECT_EQ(violationOf(Variant::doesNotWaitForHandler), "a handler used the stream after its scope");
}

}  // namespace
}  // namespace Tessaly::Tests
