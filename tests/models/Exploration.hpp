// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <type_traits>
#include <unordered_map>
#include <utility>
#include <vector>

// Exhaustive exploration of small models of the runtime's protocols. A model is a set of threads, each of which takes
// one atomic step at a time. The exploration visits every state that any order of the steps can reach.
//
// Steps interleave in one order that all threads agree on. Each model names the memory orders by which the
// implementation earns that. It also says which accesses are one step, because a lock or plain ownership covers them.

namespace Tessaly::Tests {

struct Exploration {
  std::size_t states = 0;
  /// The violation, empty if there is none, and the steps that lead to it.
  std::string violation;
  std::vector<std::string> steps;

  [[nodiscard]] std::string description() const {
    std::string text = violation + ", after " + std::to_string(states) + " states:\n";
    for (const auto& step : steps) text += "  " + step + "\n";
    return text;
  }
};

/// Visits every state of the model, breadth first, so the steps of a violation are as few as possible.
///
/// A model has a `State` of bytes only and four members: `initial()`; `steps(state, emit)`, which calls
/// `emit(name, next)` for each possible step; `wrong(state)`, which names a broken rule or is empty; and
/// `mayEnd(state)`, which says whether all may stop there. A state without a step that may not end is a deadlock or a
/// lost wake-up.
template <typename Model>
Exploration explore(const Model& model) {
  using State = Model::State;
  static_assert(std::has_unique_object_representations_v<State>, "states are compared byte by byte");
  struct Hash {
    std::size_t operator()(const State& state) const {
      return std::hash<std::string_view>()({reinterpret_cast<const char*>(&state), sizeof(state)});
    }
  };
  struct Visit {
    State state;
    std::size_t from;
    std::string step;
  };
  std::vector<Visit> visits;
  std::unordered_map<State, std::size_t, Hash> known;
  const auto visit = [&](State state, std::size_t from, std::string step) {
    if (known.try_emplace(state, visits.size()).second) visits.push_back({state, from, std::move(step)});
  };
  const auto failure = [&](std::size_t at, std::string violation) {
    Exploration result{.states = visits.size(), .violation = std::move(violation), .steps = {}};
    for (; at != 0; at = visits[at].from) result.steps.push_back(visits[at].step);
    std::ranges::reverse(result.steps);
    return result;
  };
  visit(model.initial(), 0, {});
  for (std::size_t current = 0; current < visits.size(); ++current) {
    const State state = visits[current].state;
    if (std::string violation = model.wrong(state); !violation.empty()) return failure(current, std::move(violation));
    bool hasStep = false;
    model.steps(state, [&](std::string step, const State& next) {
      hasStep = true;
      visit(next, current, std::move(step));
    });
    if (!hasStep && !model.mayEnd(state)) return failure(current, "nothing can go on");
  }
  return {.states = visits.size(), .violation = {}, .steps = {}};
}

/// For the `steps` of a model: one thread takes its step. `step` changes the state, and says whether the thread could.
template <typename State, typename Emit, typename At, typename Step>
void emitStep(const State& state, Emit& emit, const std::string& thread, At at, Step step) {
  State next = state;
  if (step(next)) emit(thread + " at " + std::to_string(static_cast<int>(at)), next);
}

/// Expects that no order of the steps breaks a rule. A mistake in a model often shows in too few states.
template <typename Model>
void expectNoViolation(const Model& model, std::size_t minimumStates) {
  const Exploration result = explore(model);
  EXPECT_EQ(result.violation, "") << result.description();
  EXPECT_GE(result.states, minimumStates);
}

}  // namespace Tessaly::Tests
