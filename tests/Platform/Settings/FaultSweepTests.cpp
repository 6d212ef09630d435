// SPDX-License-Identifier: MIT
// Each system call of a scenario fails once, in every way, and the process ends once at each. Afterwards every
// acknowledged value is there, or the status had named the loss.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <iostream>
#include <map>
#include <new>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "Tessaly/Core/Base/detail/Sanitizers.hpp"
#include "tests/Platform/Settings/FaultyFileSystem.hpp"
#include "tests/Platform/Settings/StoreFixture.hpp"
#include "tests/Platform/Settings/SynchronizedDisk.hpp"
#include "tests/Support/Repetitions.hpp"

namespace Tessaly::inline v1 {
namespace {

using Tests::FaultyFileSystem;
using Fate = FaultyFileSystem::Fate;
using Call = FaultyFileSystem::Call;

/// The progress of a scenario when it ended, in memory that a child process shares.
struct Progress {
  std::atomic<int> acknowledged{0};
  std::atomic<int> synchronized{0};
};

class FaultSweep : public Tests::StoreFixture {
 protected:
  using Step = UserDefaults::KeyedValues;
  /// The writes of the scenario, with a synchronization after each third one. A step of several keys is a batch.
  static const std::vector<Step>& steps() {
    static const auto& steps =
        *new std::vector<Step>{{{"a", 1}},
                               {{"b", "text"}},
                               {{"a", 2}, {"pair1", 1}, {"pair2", 1}},
                               {{"c", std::string(5000, 'x')}},
                               {{"b", std::nullopt}, {"pair1", 2}, {"pair2", 2}, {"pair3", std::string(300, 'y')}},
                               {{"d", 4}},
                               {{"a", 5}, {"pair1", std::nullopt}, {"pair2", std::nullopt}},
                               {{"e", 6}},
                               {{"pair1", 3}, {"pair2", 3}}};
    return steps;
  }

  /// Counts the calls of this thread and decides what becomes of each.
  class Counting {
   public:
    explicit Counting(std::function<Fate(int, Call)> fate)
        : thread_(std::this_thread::get_id()), files([this, fate = std::move(fate)](Call call, const std::string&) {
            return std::this_thread::get_id() == thread_ ? fate(count++, call) : Fate{};
          }) {}

   private:
    std::thread::id thread_;

   public:
    int count = 0;
    FaultyFileSystem files;
  };

  static void take(UserDefaults& store, const Step& step) {
    if (step.size() > 1) return store.setValuesForKeys(step);
    const auto& [key, value] = *step.begin();
    if (value) store.set(*value, key);
    if (!value) store.removeObject(key);
  }

  /// Whether the status named a problem before the scenario's end.
  bool run(const std::string& directory, Counting& counting, Progress& progress) {
    bool isTold = false;
    {
      Store store =
          JournaledUserDefaults::open({.folder = directory, .clock = clock_, .fileSystem = counting.files.system()});
      for (int i = 0; i < static_cast<int>(steps().size()); ++i) {
        take(*store, steps()[static_cast<std::size_t>(i)]);
        progress.acknowledged = i + 1;
        isTold = !store->status().problems.empty();
        if (i % 3 == 2 && store->synchronize()) progress.synchronized = i + 1;
      }
      isTold = !store->status().problems.empty();
      // Time passes on another thread: waits of the end must be over some time.
      std::jthread passing([this](const std::stop_token& stop) {
        while (!stop.stop_requested()) {
          clock_.advance(std::chrono::milliseconds(10));
          std::this_thread::yield();
        }
      });
      store.reset();
    }
    return isTold;
  }

  /// The fault of the values, of which at least the first steps must be there; empty if nothing is.
  static std::string complaint(const Dictionary& values, int atLeast) {
    std::map<std::string, std::vector<std::optional<PropertyList>>> allowed;
    for (const Step& step : steps()) {
      for (const auto& [key, value] : step) allowed[key] = {std::nullopt};
    }
    for (int i = 0; i < static_cast<int>(steps().size()); ++i) {
      for (const auto& [key, value] : steps()[static_cast<std::size_t>(i)]) {
        if (i < atLeast) allowed[key].clear();
        allowed[key].push_back(value);
      }
    }
    for (const auto& [key, possible] : allowed) {
      if (std::ranges::find(possible, valueOf(values, key)) == possible.end()) return "the value of " + key;
    }
    return values.size() > allowed.size() ? "a key that was never written" : "";
  }
  /// Whether a batch is there in part. Each batch with one of these keys has both.
  static bool isTorn(const Dictionary& values) { return valueOf(values, "pair1") != valueOf(values, "pair2"); }

  static std::optional<PropertyList> valueOf(const Dictionary& values, const std::string& key) {
    const auto found = values.find(key);
    return found == values.end() ? std::optional<PropertyList>() : found->second;
  }

  /// Whether the first steps are there, no batch is there in part, and nothing else is. Prints the fault.
  bool isComplete(const std::string& directory, int atLeast) {
    const Dictionary values = valuesOf(directory);
    const std::string wrong = isTorn(values) ? "a batch" : complaint(values, atLeast);
    if (!wrong.empty()) std::cerr << directory << ": " << wrong << " is wrong after " << atLeast << " steps\n";
    return wrong.empty();
  }

  Dictionary valuesOf(const std::string& directory) {
    return JournaledUserDefaults::open({.folder = directory, .clock = Tests::lastingClock()})
        ->dictionaryRepresentation();
  }
};

TEST_F(FaultSweep, EachFailingCallLosesNothingUntold) {
  Progress progress;
  Counting whole([](int, Call) { return Fate{}; });
  run(above() + "/whole", whole, progress);
  ASSERT_EQ(progress.synchronized, 9);
  constexpr std::array errors{ENOSPC, EIO, EINTR, EMFILE, EACCES, EROFS, EDQUOT};
  int faults = 0;
  int told = 0;
  for (int at = 0; at < whole.count; ++at) {
    for (std::size_t way = 0; way <= errors.size(); ++way) {
      // One way for each call, all of them under stress.
      const bool isChosen = way == static_cast<std::size_t>(at) % (errors.size() + 1);
      if (Tests::repetitions(1) == 1 && !isChosen) continue;
      const std::string directory = above() + "/" + std::to_string(at) + "-" + std::to_string(way);
      bool isMade = false;
      Counting counting([&](int number, Call call) -> Fate {
        if (number != at) return {};
        isMade = way < errors.size() || call == Call::write;
        if (way < errors.size()) return {.errorCode = errors[way]};
        return {.maximumBytes = 7};
      });
      Progress reached;
      const bool isTold = run(directory, counting, reached);
      faults += isMade ? 1 : 0;
      told += isTold ? 1 : 0;
      const Dictionary values = valuesOf(directory);
      EXPECT_FALSE(isTorn(values)) << "at call " << at << " of " << whole.count << ", way " << way;
      const std::string wrong = complaint(values, reached.acknowledged);
      EXPECT_TRUE(wrong.empty() || isTold) << wrong << " at call " << at << " of " << whole.count << ", way " << way;
      std::filesystem::remove_all(directory);
    }
  }
  std::cout << whole.count << " calls, " << faults << " faults, told in the end of " << told << " runs\n";
  EXPECT_GE(faults, whole.count * 3 / 4);
}

/// The states of the disk after the machine ended, by the name of a copy of the directory.
std::map<std::string, Tests::SynchronizedDisk::PowerCut> powerCuts(int end) {
  using Entries = Tests::SynchronizedDisk::PowerCut::Entries;
  std::map<std::string, Tests::SynchronizedDisk::PowerCut> cuts{{"-synchronized", {.entries = Entries::synchronized}},
                                                                {"-latest", {.entries = Entries::latest}}};
  constexpr std::array kinds{Entries::synchronized, Entries::latest, Entries::mixed};
  const int count = Tests::repetitions(3);
  for (int i = 0; i < count; ++i) {
    cuts["-torn-" + std::to_string(i)] = {.entries = kinds[static_cast<std::size_t>(i) % kinds.size()],
                                          .tear = static_cast<std::uint64_t>(end) * 1000 + static_cast<unsigned>(i)};
  }
  return cuts;
}

/// Runs the body in a child, because this process must not start the runtime's threads: a fork does not copy them. The
/// exit status; -1 after a signal.
int inChild(const std::function<int()>& body) {
  const pid_t process = ::fork();
  if (process == 0) ::_exit(body());
  int status = 0;
  ::waitpid(process, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

/// Memory that child processes share.
class SharedProgress {
 public:
  SharedProgress()
      : memory_(::mmap(nullptr, sizeof(Progress), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0)) {}
  ~SharedProgress() { ::munmap(memory_, sizeof(Progress)); }
  SharedProgress(const SharedProgress&) = delete;
  SharedProgress& operator=(const SharedProgress&) = delete;

  Progress& begin() { return *new (memory_) Progress; }

 private:
  void* const memory_;
};

TEST_F(FaultSweep, EndOfProcessOrMachineAtEachCallLosesNothing) {
  SharedProgress memory;
  int ends = 0;
  // Every call under stress. Under a sanitizer a child takes ten times as long.
  const int usualStride = TESSALY_IS_SANITIZED ? 15 : 3;
  const int stride = Tests::repetitions(1) == 1 ? usualStride : 1;
  for (bool hasEnded = false; !hasEnded; ends += stride) {
    auto& progress = memory.begin();
    const std::string directory = above() + "/" + std::to_string(ends);
    const int code = inChild([&] {
      Tests::SynchronizedDisk disk;
      Counting counting([&](int number, Call) -> Fate {
        if (number != ends) return {};
        for (const auto& [name, cut] : powerCuts(ends)) disk.restore(directory, directory + name, cut);
        ::_exit(3);
      });
      std::filesystem::create_directories(directory);
      run(directory, counting, progress);
      return 0;
    });
    ASSERT_TRUE(code == 0 || code == 3) << code;
    hasEnded = code == 0;
    const int verdict = inChild([&] {
      bool isRight = isComplete(directory, progress.acknowledged);
      if (hasEnded) return isRight ? 0 : 1;
      for (const auto& [name, unused] : powerCuts(ends)) {
        isRight = isComplete(directory + name, progress.synchronized) && isRight;
      }
      return isRight ? 0 : 1;
    });
    EXPECT_EQ(verdict, 0) << "ended at call " << ends << " after " << progress.acknowledged << " writes";
    std::filesystem::remove_all(above());
  }
  const auto looks = powerCuts(0).size();
  std::cout << (ends - stride) / stride << " ends, each looked at after a kill and after " << looks << " power cuts, "
            << looks - 2 << " of them with torn sectors\n";
  EXPECT_GT(ends, 100);
}

}  // namespace
}  // namespace Tessaly::inline v1
