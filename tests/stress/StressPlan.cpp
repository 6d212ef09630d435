// SPDX-License-Identifier: MIT
#include "tests/stress/StressPlan.hpp"

#include <array>

namespace Tessaly::Tests {
namespace {

using Kind = Plan::Kind;

constexpr std::array<const char*, 21> names{
    "leaf",         "sleep",     "interruptedSleep", "continuation",   "stream", "failingStream", "mergedStreams",
    "sharedStream", "broadcast", "blocking",         "pipe",           "group",  "failingGroup",  "race",
    "tasks",        "hop",       "taskLocal",        "cancelledTasks", "owner",  "scope",         "waitingThread"};
static_assert(names.size() == static_cast<std::size_t>(Kind::waitingThread) + 1);

/// A kind that occurs twice is twice as likely. The last kinds of each list need their own threads or a random order.
constexpr std::array withoutChildren{Kind::leaf,          Kind::leaf,         Kind::sleep,     Kind::interruptedSleep,
                                     Kind::continuation,  Kind::stream,       Kind::stream,    Kind::failingStream,
                                     Kind::mergedStreams, Kind::sharedStream, Kind::broadcast, Kind::blocking,
                                     Kind::pipe};
constexpr unsigned reproducibleWithoutChildren = 10;
constexpr std::array withChildren{
    Kind::group, Kind::group, Kind::failingGroup, Kind::race,         Kind::tasks,          Kind::tasks,
    Kind::hop,   Kind::hop,   Kind::hop,          Kind::taskLocal,    Kind::cancelledTasks, Kind::cancelledTasks,
    Kind::owner, Kind::owner, Kind::scope,        Kind::waitingThread};
constexpr unsigned reproducibleWithChildren = 14;

Kind kindFor(StressRandom& random, int depth, Plan::Schedule schedule) {
  const bool isFree = schedule == Plan::Schedule::free;
  if (depth == 0) {
    return withoutChildren[random.below(isFree ? withoutChildren.size() : reproducibleWithoutChildren)];
  }
  return withChildren[random.below(isFree ? withChildren.size() : reproducibleWithChildren)];
}

/// Whether something may cancel the children of such a node, or keep them from starting.
bool makesChildrenUncertain(Kind kind) {
  switch (kind) {
    case Kind::failingGroup:
    case Kind::race:
    case Kind::cancelledTasks:
    case Kind::owner:
    case Kind::scope:
      return true;
    default:
      return false;
  }
}

unsigned childrenOf(Kind kind, StressRandom& random) {
  switch (kind) {
    case Kind::hop:
    case Kind::taskLocal:
    case Kind::waitingThread:
      return 1;
    default:
      return 1 + random.below(4);
  }
}

}  // namespace

Plan::Plan(StressRandom& random, int depth, Schedule schedule, bool certain)
    : kind(kindFor(random, depth, schedule)),
      fails(random.isOneOf(5)),
      isCertain(certain),
      seed(random.next()),
      value(static_cast<long>(random.below(1000))) {
  if (depth == 0) return;
  const bool isChildCertain = certain && !makesChildrenUncertain(kind);
  for (unsigned count = childrenOf(kind, random); count > 0; --count) {
    const int childDepth = random.isOneOf(3) ? 0 : depth - 1;
    children.emplace_back(random, childDepth, schedule, isChildCertain);
  }
}

long Plan::total() const {
  long sum = value;
  if (makesChildrenUncertain(kind)) return sum;
  for (const Plan& child : children) sum += child.contribution();
  return sum;
}

const char* nameOf(Plan::Kind kind) { return names[static_cast<std::size_t>(kind)]; }

}  // namespace Tessaly::Tests
