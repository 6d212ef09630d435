// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "tests/models/MergeModel.hpp"

namespace Tessaly::Tests {
namespace {

using Variant = MergeModel::Variant;
using Bases = MergeModel::Bases;
using Leaves = MergeModel::Leaves;
using Cancellation = MergeModel::Cancellation;

void holds(Leaves leaves, Cancellation cancellation) {
  for (const Bases bases :
       {Bases::end, Bases::secondFails, Bases::secondNeverYields, Bases::firstFailsAndSecondNeverYields}) {
    const bool needsCancellation = bases == Bases::secondNeverYields && leaves != Leaves::afterOneElement;
    if (cancellation == Cancellation::never && needsCancellation) continue;
    expectNoViolation(MergeModel{Variant::asWritten, bases, leaves, cancellation}, 100);
  }
}

TEST(MergeModel, ElementsArriveOnceThenTheErrorThenTheEnd) {
  holds(Leaves::never, Cancellation::never);
  holds(Leaves::atTheEnd, Cancellation::never);
}

TEST(MergeModel, CancellationMayComeAtAnyStep) { holds(Leaves::never, Cancellation::ofTheConsumer); }

TEST(MergeModel, IteratorMayBeDroppedAfterAnElement) {
  holds(Leaves::afterOneElement, Cancellation::never);
  holds(Leaves::afterOneElement, Cancellation::ofTheConsumer);
}

std::string violationOf(Variant variant, Bases bases, Cancellation cancellation = Cancellation::never) {
  return explore(MergeModel{variant, bases, Leaves::never, cancellation}).violation;
}

TEST(MergeModel, CatchesADemandThatIsMissed) {
  EXPECT_EQ(violationOf(Variant::waitsAlthoughAsked, Bases::end), "nothing can go on");
}

TEST(MergeModel, CatchesAChildThatWaitsAfterTheEnd) {
  EXPECT_EQ(violationOf(Variant::waitsAlthoughOver, Bases::secondFails), "nothing can go on");
}

TEST(MergeModel, CatchesAChildThatIsNeverAskedAgain) {
  EXPECT_EQ(violationOf(Variant::keepsChildBusy, Bases::end), "nothing can go on");
}

TEST(MergeModel, CatchesAnEndThatOvertakesElements) {
  EXPECT_EQ(violationOf(Variant::endOvertakesElements, Bases::secondFails), "an element was lost");
}

TEST(MergeModel, CatchesAnErrorThatLeavesTheOtherChildWaiting) {
  EXPECT_EQ(violationOf(Variant::errorCancelsNoChild, Bases::firstFailsAndSecondNeverYields), "nothing can go on");
}

TEST(MergeModel, CatchesAConsumerThatIsLeftWaiting) {
  EXPECT_EQ(violationOf(Variant::stopForgetsConsumer, Bases::end, Cancellation::ofTheConsumer), "nothing can go on");
}

TEST(MergeModel, CatchesARequestAfterACancelledFirstOne) {
  EXPECT_EQ(violationOf(Variant::trustsThatChildrenStarted, Bases::end, Cancellation::ofTheConsumer),
            "the children were used before they were set");
}

}  // namespace
}  // namespace Tessaly::Tests
