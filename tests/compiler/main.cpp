// SPDX-License-Identifier: MIT
// Runs every probe of the compiler, each in a process of its own, and ends with 0 if all pass.

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>

#include "Probes.hpp"

namespace probes {

std::vector<Probe>& allProbes() {
  static std::vector<Probe> all;
  return all;
}

}  // namespace probes

namespace {

using probes::Counted;

/// Runs in the child. A probe fails if it says so, or if an object was misused or not destroyed.
bool passesHere(const probes::Probe& probe, bool suspends) {
  probes::suspends = suspends;
  alarm(20);
  const bool right = probe.passes();
  return right && Counted::living == 0 && !Counted::misused;
}

bool passes(const probes::Probe& probe, bool suspends) {
  const pid_t child = fork();
  if (child == 0) _exit(passesHere(probe, suspends) ? 0 : 1);
  int status = 0;
  return child > 0 && waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

/// Prints the failures of a probe, and returns how many of them refuse the compiler.
int failures(const probes::Probe& probe) {
  int failed = 0;
  for (bool suspends : {false, true}) {
    if (passes(probe, suspends)) continue;
    failed += probe.wayRound ? 0 : 1;
    std::printf("%s: %s, %s\n", probe.wayRound ? "known" : "failed", probe.name,
                suspends ? "suspending" : "without a suspension");
    if (probe.wayRound) std::printf("  the way round: %s\n", probe.wayRound);
    std::fflush(stdout);
  }
  return failed;
}

}  // namespace

int main() {
  int failed = 0;
  for (const auto& probe : probes::allProbes()) failed += failures(probe);
  std::printf("%zu probes, %d failures\n", probes::allProbes().size(), failed);
  return failed == 0 ? 0 : 1;
}
